#ifndef KESTREL_CHUNKPIPELINE_H
#define KESTREL_CHUNKPIPELINE_H

#include "kestrel/HandOver.h"
#include "kestrel/RowText.h"

#include <cstddef>
#include <functional>
#include <thread>

namespace kestrel {

/**
 * Produces the texts of a numbered run of chunks on the calling thread and one worker thread at once, and hands
 * them to the calling thread in order, through a kestrel::HandOver of SLOTS slots.
 *
 * The worker is started by the first run of more than one chunk and serves every later run; the destructor stops
 * and joins it. At most SLOTS chunks are produced ahead of the one handed on, so memory stays bounded whatever
 * the number of chunks.
 */
class ChunkPipeline {
public:
    /// Chunks that may be produced and not yet handed on.
    static constexpr int SLOTS = 4;

    /// Writes the text of chunk `chunk` into `text` (empty when called); may run on either thread.
    using Produce = std::function<void(std::size_t chunk, RowText& text)>;
    /// Takes the text of chunk `chunk`; runs on the calling thread, in chunk order.
    using Consume = std::function<void(std::size_t chunk, const RowText& text)>;

    ChunkPipeline();
    ~ChunkPipeline();
    ChunkPipeline(const ChunkPipeline&) = delete;
    ChunkPipeline& operator=(const ChunkPipeline&) = delete;

    /**
     * Produces and consumes chunks 0 to count - 1. A single chunk, or a run without a worker (one that could not be
     * started), is done on this thread alone. An exception thrown by produce on either thread, or by consume, ends
     * the run after the worker has let go of it and is thrown on to the caller.
     */
    void run(std::size_t count, const Produce& produce, const Consume& consume);

    /// True once the worker thread runs.
    bool hasWorker() const { return worker.joinable(); }

private:
    void _runAlone(std::size_t count, const Produce& produce, const Consume& consume);
    void _startWorker();
    void _work();
    void _produce(unsigned long long chunk, const Produce& producer);

    std::thread worker;
    HandOver handOver;
    RowText slots[SLOTS];
    // The producer of the current run, null between runs. The worker reads it only for a chunk it has claimed, and
    // the hand-over's lock orders that read after the run's start and before its end.
    const Produce* produce = nullptr;
};

} // namespace kestrel

#endif
