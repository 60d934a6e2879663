#include "kestrel/ChunkPipeline.h"

#include <chrono>
#include <system_error>

namespace kestrel {

namespace {

/// Runs a function when the scope is left, also by an exception.
template <class F> class ScopeExit {
public:
    explicit ScopeExit(F f) : f(f) {}
    ~ScopeExit() { f(); }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

private:
    F f;
};

} // namespace

ChunkPipeline::~ChunkPipeline() {
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

void ChunkPipeline::_startWorker() {
    try {
        worker = std::thread([this] { _work(); });
    } catch (const std::system_error&) {
        // No thread to be had: the runs go on alone.
    }
}

void ChunkPipeline::_runAlone(std::size_t count, const Produce& produce, const Consume& consume) {
    RowText& text = slots[0];
    for (std::size_t chunk = 0; chunk < count; ++chunk) {
        text.clear();
        produce(chunk, text);
        consume(chunk, text);
    }
}

void ChunkPipeline::run(std::size_t chunks, const Produce& producer, const Consume& consume) {
    if (chunks > 1 && !worker.joinable()) {
        _startWorker();
    }
    if (chunks <= 1 || !worker.joinable()) {
        _runAlone(chunks, producer, consume);
        return;
    }

    // The worker must have let go of the caller's functions and data before this returns, also by an exception;
    // declared before the lock, so that the lock is released first.
    ScopeExit finish([this] { _finishRun(); });
    std::unique_lock<std::mutex> lock(mutex);
    produce = &producer;
    count = chunks;
    nextClaim = 0;
    nextConsume = 0;
    failure = nullptr;
    for (bool& flag : ready) {
        flag = false;
    }
    lock.unlock();
    changed.notify_all();

    lock.lock();
    while (nextConsume < count) {
        const std::size_t next = nextConsume;
        if (ready[next % SLOTS]) {
            lock.unlock();
            consume(next, slots[next % SLOTS]);
            lock.lock();
            ready[next % SLOTS] = false;
            ++nextConsume;
            lock.unlock();
            changed.notify_all(); // a slot is free again
            lock.lock();
        } else if (failure) {
            std::rethrow_exception(failure);
        } else if (_canClaim()) {
            const std::size_t chunk = nextClaim++;
            lock.unlock();
            RowText& text = slots[chunk % SLOTS];
            text.clear();
            producer(chunk, text);
            lock.lock();
            ready[chunk % SLOTS] = true;
        } else {
            changed.wait_for(lock, std::chrono::milliseconds(WAIT_MILLISECONDS));
        }
    }
}

void ChunkPipeline::_finishRun() {
    std::unique_lock<std::mutex> lock(mutex);
    produce = nullptr;
    while (workerProducing) {
        changed.wait_for(lock, std::chrono::milliseconds(WAIT_MILLISECONDS));
    }
    failure = nullptr;
}

void ChunkPipeline::_work() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        if (!_canClaim()) {
            changed.wait_for(lock, std::chrono::milliseconds(WAIT_MILLISECONDS));
            continue;
        }
        const std::size_t chunk = nextClaim++;
        const Produce& producer = *produce;
        workerProducing = true;
        lock.unlock();
        std::exception_ptr thrown;
        try {
            RowText& text = slots[chunk % SLOTS];
            text.clear();
            producer(chunk, text);
        } catch (...) {
            thrown = std::current_exception();
        }
        lock.lock();
        workerProducing = false;
        if (thrown) {
            failure = thrown;
        } else {
            ready[chunk % SLOTS] = true;
        }
        lock.unlock();
        changed.notify_all();
        lock.lock();
    }
}

} // namespace kestrel
