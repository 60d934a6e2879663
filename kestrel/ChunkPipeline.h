#ifndef KESTREL_CHUNKPIPELINE_H
#define KESTREL_CHUNKPIPELINE_H

#include "kestrel/RowText.h"

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace kestrel {

/**
 * Produces the texts of a numbered run of chunks on the calling thread and one worker thread at once, and hands
 * them to the calling thread in order.
 *
 * The worker is started by the first run of more than one chunk and serves every later run; the destructor stops
 * and joins it. At most SLOTS chunks are produced ahead of the one handed on, so memory stays bounded whatever
 * the number of chunks. Every wait is a short timed wait that checks its condition again: a wake-up that gets
 * lost (as seen under emulators) costs a few milliseconds, never a hang.
 */
class ChunkPipeline {
public:
    /// Chunks that may be produced and not yet handed on.
    static constexpr int SLOTS = 4;

    /// Writes the text of chunk `chunk` into `text` (empty when called); may run on either thread.
    using Produce = std::function<void(std::size_t chunk, RowText& text)>;
    /// Takes the text of chunk `chunk`; runs on the calling thread, in chunk order.
    using Consume = std::function<void(std::size_t chunk, const RowText& text)>;

    ChunkPipeline() = default;
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
    /// How long a wait lasts before its condition is checked again.
    static constexpr int WAIT_MILLISECONDS = 2;

    void _runAlone(std::size_t count, const Produce& produce, const Consume& consume);
    void _startWorker();
    void _work();
    /// With the lock held: the next chunk may be produced.
    bool _canClaim() const { return produce && !failure && nextClaim < count && nextClaim < nextConsume + SLOTS; }
    /// Ends the current run once the worker no longer produces for it.
    void _finishRun();

    std::thread worker;
    std::mutex mutex;
    std::condition_variable changed;
    RowText slots[SLOTS];
    /// Chunk (index modulo SLOTS) whose text is complete in its slot.
    bool ready[SLOTS] = {};

    // The current run, guarded by mutex; produce is null between runs.
    const Produce* produce = nullptr;
    std::size_t count = 0;
    std::size_t nextClaim = 0;
    std::size_t nextConsume = 0;
    std::exception_ptr failure;
    bool workerProducing = false;
    bool stopping = false;
};

} // namespace kestrel

#endif
