#include "viewer/SinkThread.h"

#include <cstdlib>
#include <cstring>

namespace viewer {

bool SinkThread::defaultThreaded() {
    const char* setting = std::getenv("PLOTWRIGHT_VIEW_THREAD");
    return !(setting && std::strcmp(setting, "0") == 0);
}

SinkThread::SinkThread(PlotDataSink& target, bool threaded) : target(target), threaded(threaded) {
    if (threaded) {
        worker = std::thread(&SinkThread::_run, this);
    }
}

SinkThread::~SinkThread() { _stop(); }

void SinkThread::_stop() {
    if (!worker.joinable()) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    worker.join();
}

void SinkThread::_deliver(Event& event) {
    switch (event.kind) {
    case Event::BEGIN:
        target.beginDocument(event.text, event.index);
        break;
    case Event::SERIES:
        target.series(event.series);
        break;
    case Event::DICTIONARIES:
        target.dictionaries(event.text);
        break;
    case Event::END:
        target.endDocument(event.summary);
        break;
    }
}

void SinkThread::_run() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return stopping || !queue.empty(); });
        if (queue.empty() || failure) {
            if (stopping) {
                return;
            }
            queue.clear();
            continue;
        }
        std::unique_ptr<Event> event = std::move(queue.front());
        queue.pop_front();
        busy = true;
        lock.unlock();
        std::exception_ptr caught;
        try {
            _deliver(*event);
        } catch (...) {
            caught = std::current_exception();
        }
        bool wasSeries = event->kind == Event::SERIES;
        event.reset(); // the series' memory goes before the next one is taken
        lock.lock();
        busy = false;
        if (wasSeries) {
            --queuedSeries;
        }
        if (caught && !failure) {
            failure = caught;
        }
        changed.notify_all();
    }
}

void SinkThread::_push(std::unique_ptr<Event> event) {
    if (!threaded) {
        _deliver(*event);
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    bool isSeries = event->kind == Event::SERIES;
    changed.wait(lock, [&] { return failure || !isSeries || queuedSeries < MAX_QUEUED; });
    if (failure) {
        std::rethrow_exception(failure);
    }
    queuedSeries += isSeries ? 1 : 0;
    queue.push_back(std::move(event));
    changed.notify_all();
}

void SinkThread::beginDocument(const std::string& source, int indexInSource) {
    std::unique_ptr<Event> event(new Event{Event::BEGIN, source, indexInSource, PlotSeries(), DocumentSummary()});
    _push(std::move(event));
}

void SinkThread::series(PlotSeries& series) {
    std::unique_ptr<Event> event(new Event{Event::SERIES, std::string(), 0, std::move(series), DocumentSummary()});
    _push(std::move(event));
}

void SinkThread::dictionaries(const std::string& json) {
    std::unique_ptr<Event> event(new Event{Event::DICTIONARIES, json, 0, PlotSeries(), DocumentSummary()});
    _push(std::move(event));
}

void SinkThread::endDocument(const DocumentSummary& summary) {
    std::unique_ptr<Event> event(new Event{Event::END, std::string(), 0, PlotSeries(), summary});
    _push(std::move(event));
}

void SinkThread::finish() {
    if (!threaded) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return failure || (queue.empty() && !busy); });
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace viewer
