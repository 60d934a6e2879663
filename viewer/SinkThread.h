#ifndef VIEWER_SINKTHREAD_H
#define VIEWER_SINKTHREAD_H

#include "viewer/PlotDataSink.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace viewer {

/**
 * Hands what the reader reads to another sink on a thread of its own, in the same order, so that reading the
 * next series and writing the last one share two cores.
 *
 * At most MAX_QUEUED series wait at a time (the reader waits beyond that), so memory stays within a few series.
 * A failure of the receiving sink is thrown again to the reader at its next call, and by finish(). Without
 * `threaded` (PLOTWRIGHT_VIEW_THREAD=0 in the environment) the calls go straight through.
 */
class SinkThread : public PlotDataSink {
public:
    static const std::size_t MAX_QUEUED = 2;

    explicit SinkThread(PlotDataSink& target, bool threaded = defaultThreaded());
    /// Stops the thread; what was not yet handed over is dropped.
    ~SinkThread() override;
    SinkThread(const SinkThread&) = delete;
    SinkThread& operator=(const SinkThread&) = delete;

    void beginDocument(const std::string& source, int indexInSource) override;
    void series(PlotSeries& series) override;
    void dictionaries(const std::string& json) override;
    void endDocument(const DocumentSummary& summary) override;
    /// Waits until the target has received everything; throws what it threw.
    void finish();

    /// Threaded unless PLOTWRIGHT_VIEW_THREAD=0 is set.
    static bool defaultThreaded();

private:
    struct Event {
        enum Kind { BEGIN, SERIES, DICTIONARIES, END } kind;
        std::string text;
        int index = 0;
        PlotSeries series;
        DocumentSummary summary;
    };

    void _push(std::unique_ptr<Event> event);
    void _run();
    void _deliver(Event& event);
    void _stop();

    PlotDataSink& target;
    bool threaded;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Event>> queue;
    std::size_t queuedSeries = 0;
    bool busy = false;
    bool stopping = false;
    std::exception_ptr failure;
    std::thread worker;
};

} // namespace viewer

#endif
