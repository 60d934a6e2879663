#ifndef PERFEVENTS_PERFRECORDPIPELINE_H
#define PERFEVENTS_PERFRECORDPIPELINE_H

#include "kestrel/HandOver.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace perfevents {

/// Hands bytes from a thread of its own (the producer: reading, framing and ordering records) to the thread that
/// started it (the consumer: decoding and delivering them) in batches. The batches form a ring of a few fixed
/// buffers handed over through a kestrel::HandOver, so memory stays bounded and nothing is allocated per batch:
/// the producer fills one while the consumer works through those handed over before, and waits when all are
/// handed over. An exception of the producer reaches the consumer after all that was produced before it; a
/// consumer that fails makes the producer leave at its next hand-over and joins it.
class PerfRecordPipeline {
public:
    static const std::size_t DEFAULT_BATCH_SIZE = 32u << 10;
    static const unsigned int DEFAULT_BATCHES = 4;

    /// largestAppend: the most bytes one append may ask for; a batch takes it whole even when it is larger than the
    /// batch size (it then stands alone in its batch).
    explicit PerfRecordPipeline(std::size_t batchSize = DEFAULT_BATCH_SIZE, unsigned int batches = DEFAULT_BATCHES,
                                std::size_t largestAppend = 0);
    /// Stops and joins the producer if it still runs.
    ~PerfRecordPipeline();
    PerfRecordPipeline(const PerfRecordPipeline&) = delete;
    PerfRecordPipeline& operator=(const PerfRecordPipeline&) = delete;

    typedef std::function<void(const unsigned char* data, std::size_t size)> Consumer;

    /// Runs produce on a thread of its own and, on the calling thread, consume on every batch it hands over,
    /// until produce has ended and every batch is consumed. With threaded false, produce runs on the calling
    /// thread and hands each batch to consume at once. Exceptions of either come out here.
    void run(const std::function<void()>& produce, const Consumer& consume, bool threaded);
    /// Whether the environment allows the thread: PLOTWRIGHT_READER_THREAD=0 switches it off (emulators that
    /// cannot start threads).
    static bool isThreadWanted();

    /// Producer: room for size bytes (at most the larger of the batch size and the largest append) at the end of
    /// the batch being filled, handing that batch over first when they do not fit. The bytes belong to the batch
    /// at once.
    unsigned char* append(std::size_t size) {
        if (filling + size > batchSize && filling > 0)
            _handOver(true);
        unsigned char* at = fillingBatch + filling;
        filling += size;
        return at;
    }
    /// Producer: whether size more bytes fit into the batch being filled.
    bool hasRoom(std::size_t size) const { return filling + size <= batchSize; }
    /// Producer: hands over what has been filled and waits until the consumer has worked through all of it and
    /// waits itself, so that state the consumer reads may be changed.
    void drain();
    /// Producer: whether the consumer has stopped, so that long work without hand-overs can end early.
    bool stopping() const { return handOver.isCancelled(); }
    /// Producer: the number of the batch being filled, counted from 0.
    unsigned long long getFillingNumber() const { return fillingNumber; }
    /// The number of batches the consumer has finished: memory that batch k refers to may be reused once this
    /// count is above k (stored with release order after the consumer is done with the batch).
    const std::atomic<unsigned long long>& getFinishedCount() const { return handOver.getConsumedCount(); }

private:
    struct Cancelled {};
    void _claim();
    void _handOver(bool claimNext);
    void _produce(const std::function<void()>& produce);
    void _consume(unsigned long long number);
    void _stop();

    const std::size_t batchSize;
    std::vector<std::unique_ptr<unsigned char[]>> buffers;
    std::vector<std::size_t> sizes;
    kestrel::HandOver handOver;
    alignas(64) unsigned char* fillingBatch; // the batch the producer fills
    std::size_t filling;                     // bytes of the producer's batch filled so far (a cache line of its own)
    unsigned long long fillingNumber;
    std::thread thread;
    const Consumer* consume;
    bool direct; // the batches are consumed as they are handed over, on the producer's thread
};

} // namespace perfevents

#endif
