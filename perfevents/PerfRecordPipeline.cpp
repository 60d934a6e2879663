#include "perfevents/PerfRecordPipeline.h"

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace perfevents {

PerfRecordPipeline::PerfRecordPipeline(std::size_t batchSize, unsigned int batches)
    : batchSize(batchSize), sizes(batches < 2 ? 2 : batches, 0), fillingBatch(nullptr), filling(0), handed(0),
      returned(0), finishedCount(0), taking(false), finished(false), cancelled(false), sleeping(0), direct(nullptr) {
    for (std::size_t i = 0; i < sizes.size(); ++i)
        buffers.emplace_back(new unsigned char[batchSize]);
    fillingBatch = buffers[0].get();
}

PerfRecordPipeline::~PerfRecordPipeline() {
    _stop();
}

bool PerfRecordPipeline::isThreadWanted() {
    const char* value = std::getenv("PLOTWRIGHT_READER_THREAD");
    return value == nullptr || std::strcmp(value, "0") != 0;
}

void PerfRecordPipeline::run(const std::function<void()>& produce, const Consumer& consume, bool threaded) {
    if (threaded) {
        _start(produce);
        const unsigned char* data = nullptr;
        std::size_t size = 0;
        try {
            while (_next(data, size))
                consume(data, size);
        } catch (...) {
            _stop(); // the thread ends before anything it uses goes away
            throw;
        }
        return;
    }
    direct = &consume;
    struct Reset {
        const Consumer*& direct;
        ~Reset() { direct = nullptr; }
    } reset{direct};
    try {
        produce();
    } catch (...) {
        // What was produced before the failure is delivered first, as with the thread.
        if (filling > 0)
            _handOver(false);
        throw;
    }
    if (filling > 0)
        _handOver(false);
}

template <typename Condition> void PerfRecordPipeline::_wait(std::unique_lock<std::mutex>& lock, Condition condition) {
    while (!condition()) {
        ++sleeping;
        changed.wait_for(lock, std::chrono::milliseconds(2));
        --sleeping;
    }
}

void PerfRecordPipeline::_wake() {
    // A wake-up costs a system call (and on a virtual machine an interrupt to the other processor): only when
    // someone sleeps.
    if (sleeping > 0)
        changed.notify_all();
}

void PerfRecordPipeline::_start(std::function<void()> produce) {
    thread = std::thread([this, produce] { _run(produce); });
}

void PerfRecordPipeline::_run(const std::function<void()>& produce) {
    std::exception_ptr thrown;
    try {
        produce();
        if (filling > 0)
            _handOver(false);
    } catch (const Cancelled&) {
    } catch (...) {
        thrown = std::current_exception();
        if (filling > 0)
            _handOver(false);
    }
    std::lock_guard<std::mutex> lock(mutex);
    error = thrown;
    finished = true;
    _wake();
}

void PerfRecordPipeline::_handOver(bool waitForRoom) {
    if (direct != nullptr) {
        const std::size_t size = filling;
        filling = 0; // also when consume throws: the batch is not delivered twice
        (*direct)(fillingBatch, size);
        ++handed;
        ++returned;
        finishedCount.store(returned, std::memory_order_release);
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    sizes[handed % sizes.size()] = filling;
    ++handed;
    filling = 0;
    fillingBatch = buffers[handed % sizes.size()].get(); // written once the batch is given back, if it is out
    _wake();
    if (waitForRoom) {
        _wait(lock, [this] { return cancelled || handed - returned < sizes.size(); });
        if (cancelled)
            throw Cancelled();
    }
}

void PerfRecordPipeline::drain() {
    if (filling > 0)
        _handOver(false);
    if (direct != nullptr)
        return;
    std::unique_lock<std::mutex> lock(mutex);
    _wait(lock, [this] { return cancelled || (returned == handed && !taking); });
    if (cancelled)
        throw Cancelled();
}

bool PerfRecordPipeline::_next(const unsigned char*& data, std::size_t& size) {
    std::unique_lock<std::mutex> lock(mutex);
    if (taking) {
        taking = false;
        ++returned;
        finishedCount.store(returned, std::memory_order_release);
        _wake();
    }
    _wait(lock, [this] { return handed > returned || finished; });
    if (handed > returned) {
        taking = true;
        data = buffers[returned % sizes.size()].get();
        size = sizes[returned % sizes.size()];
        return true;
    }
    lock.unlock();
    _stop();
    if (error)
        std::rethrow_exception(error);
    return false;
}

void PerfRecordPipeline::_stop() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        cancelled = true;
        _wake();
    }
    if (thread.joinable())
        thread.join();
}

} // namespace perfevents
