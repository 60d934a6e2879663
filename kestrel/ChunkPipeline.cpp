#include "kestrel/ChunkPipeline.h"

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

// No run at first: nothing may be claimed.
ChunkPipeline::ChunkPipeline() : handOver(SLOTS, 0) {}

ChunkPipeline::~ChunkPipeline() {
    if (!worker.joinable()) {
        return;
    }
    handOver.cancel();
    worker.join();
}

void ChunkPipeline::_startWorker() {
    try {
        worker = std::thread([this] { _work(); });
    } catch (const std::system_error&) {
        // No thread to be had: the runs go on alone.
    }
}

void ChunkPipeline::_runAlone(std::size_t count, const Produce& producer, const Consume& consume) {
    RowText& text = slots[0];
    for (std::size_t chunk = 0; chunk < count; ++chunk) {
        text.clear();
        producer(chunk, text);
        consume(chunk, text);
    }
}

void ChunkPipeline::_produce(unsigned long long chunk, const Produce& producer) {
    RowText& text = slots[chunk % SLOTS];
    text.clear();
    producer(static_cast<std::size_t>(chunk), text);
}

void ChunkPipeline::run(std::size_t chunks, const Produce& producer, const Consume& consume) {
    if (chunks > 1 && !worker.joinable()) {
        _startWorker();
    }
    if (chunks <= 1 || !worker.joinable()) {
        _runAlone(chunks, producer, consume);
        return;
    }

    produce = &producer;
    handOver.reset(chunks);
    // The worker must have let go of the caller's functions and data before this returns, also by an exception.
    ScopeExit finish([this] {
        handOver.close();
        produce = nullptr;
    });
    unsigned long long chunk = 0;
    for (;;) {
        const HandOver::Next next = handOver.next(chunk, true);
        if (next == HandOver::Next::READY) {
            consume(static_cast<std::size_t>(chunk), slots[chunk % SLOTS]);
            handOver.release();
        } else if (next == HandOver::Next::CLAIMED) {
            try {
                _produce(chunk, producer);
            } catch (...) {
                handOver.fail(std::current_exception());
                throw;
            }
            handOver.publish(chunk);
        } else {
            break;
        }
    }
}

void ChunkPipeline::_work() {
    unsigned long long chunk = 0;
    while (handOver.claim(chunk, true)) {
        std::exception_ptr thrown;
        try {
            _produce(chunk, *produce);
        } catch (...) {
            thrown = std::current_exception();
        }
        if (thrown) {
            handOver.fail(thrown);
        } else {
            handOver.publish(chunk);
        }
    }
}

} // namespace kestrel
