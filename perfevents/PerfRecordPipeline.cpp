#include "perfevents/PerfRecordPipeline.h"

#include <cstdlib>
#include <cstring>

namespace perfevents {

PerfRecordPipeline::PerfRecordPipeline(std::size_t batchSize, unsigned int batches, std::size_t largestAppend)
    : batchSize(batchSize), sizes(batches < 2 ? 2 : batches, 0), handOver(static_cast<unsigned int>(sizes.size())),
      fillingBatch(nullptr), filling(0), fillingNumber(0), consume(nullptr), direct(false) {
    for (std::size_t i = 0; i < sizes.size(); ++i)
        buffers.emplace_back(new unsigned char[largestAppend > batchSize ? largestAppend : batchSize]);
}

PerfRecordPipeline::~PerfRecordPipeline() {
    _stop();
}

bool PerfRecordPipeline::isThreadWanted() {
    const char* value = std::getenv("PLOTWRIGHT_READER_THREAD");
    return value == nullptr || std::strcmp(value, "0") != 0;
}

void PerfRecordPipeline::run(const std::function<void()>& produce, const Consumer& consumer, bool threaded) {
    consume = &consumer;
    direct = !threaded;
    struct Reset {
        const Consumer*& consume;
        ~Reset() { consume = nullptr; }
    } reset{consume};
    if (direct) {
        _produce(produce);
        return;
    }
    thread = std::thread([this, produce] { _produce(produce); });
    try {
        unsigned long long number = 0;
        while (handOver.next(number, false) == kestrel::HandOver::Next::READY) {
            _consume(number);
            handOver.release();
        }
    } catch (...) {
        _stop(); // the thread ends before anything it uses goes away
        throw;
    }
    _stop();
}

void PerfRecordPipeline::_produce(const std::function<void()>& produce) {
    std::exception_ptr thrown;
    try {
        _claim();
        produce();
        _handOver(false); // the last batch, also an empty one
    } catch (const Cancelled&) {
    } catch (...) {
        thrown = std::current_exception();
        // What was produced before the failure is delivered first.
        if (fillingBatch != nullptr)
            _handOver(false);
    }
    if (direct) {
        if (thrown)
            std::rethrow_exception(thrown);
        return;
    }
    handOver.finish(thrown);
}

void PerfRecordPipeline::_claim() {
    unsigned long long number = 0;
    if (!handOver.claim(number, true))
        throw Cancelled();
    fillingNumber = number;
    fillingBatch = buffers[number % buffers.size()].get();
    filling = 0;
}

void PerfRecordPipeline::_consume(unsigned long long number) {
    (*consume)(buffers[number % buffers.size()].get(), sizes[number % sizes.size()]);
}

void PerfRecordPipeline::_handOver(bool claimNext) {
    const unsigned long long number = fillingNumber;
    sizes[number % sizes.size()] = filling;
    fillingBatch = nullptr;
    handOver.publish(number);
    if (direct) {
        unsigned long long taken = 0;
        handOver.next(taken, false);
        struct Release {
            kestrel::HandOver& handOver;
            ~Release() { handOver.release(); } // also when consume throws: the batch is not delivered twice
        } release{handOver};
        _consume(taken);
    }
    if (claimNext)
        _claim();
}

void PerfRecordPipeline::drain() {
    if (filling > 0)
        _handOver(true);
    if (!direct && !handOver.drain())
        throw Cancelled();
}

void PerfRecordPipeline::_stop() {
    handOver.cancel();
    if (thread.joinable())
        thread.join();
}

} // namespace perfevents
