#ifndef PERFEVENTS_PERFRECORDORDERQUEUE_H
#define PERFEVENTS_PERFRECORDORDERQUEUE_H

#include <cstddef>
#include <memory>
#include <vector>

namespace perfevents {

/// Puts the kernel records of a recording back into time order. perf writes the ring buffers of the CPUs one
/// after another in rounds, each round closed by a FINISHED_ROUND record: within a buffer the records are in time
/// order, across buffers they are not. The queue keeps copies of the records; at the end of a round it releases,
/// in time order, every record not later than the latest time seen before the previous round ended, which no
/// later round can undercut. Records of equal time keep their file order. A file without rounds is released
/// at its end, or in parts when the queue grows beyond its memory limit.
///
/// The copies go into fixed-size chunks that are reused once all their records are released, so a record is
/// copied once and held memory does not churn. Since the records of a round come as a few runs already in time
/// order (one per buffer), ordering merges those runs instead of sorting: linear time for the usual round.
class alignas(64) PerfRecordOrderQueue {
public:
    /// Receives the records in time order; the bytes (whole record, header included) are valid during the call.
    class Receiver {
    public:
        virtual ~Receiver() {}
        virtual void onOrderedRecord(const unsigned char* record, unsigned int size) = 0;
    };

    static const std::size_t DEFAULT_MEMORY_LIMIT = 256u << 20;
    static const std::size_t CHUNK_SIZE = 1u << 20;

    explicit PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit = DEFAULT_MEMORY_LIMIT);

    /// Queues a copy of a record (at most 65535 bytes, as its header's size field allows).
    void push(unsigned long long time, const unsigned char* record, unsigned int size);
    /// A FINISHED_ROUND record.
    void finishRound();
    /// Releases everything queued.
    void flush();

    std::size_t getQueuedCount() const { return entries.size() - head; }
    /// Memory the queued copies take: the chunks in use.
    std::size_t getHeldBytes() const { return (chunks.size() - freeChunks.size()) * CHUNK_SIZE; }

private:
    struct Entry {
        unsigned long long time;
        const unsigned char* bytes;
        unsigned int size;
        unsigned int chunk;
    };
    struct Chunk {
        std::unique_ptr<unsigned char[]> bytes;
        std::size_t used;
        std::size_t live; // records in it not yet released
    };
    unsigned int _chunkFor(unsigned int size);
    void _order();
    void _compact();
    void _release(unsigned long long upTo, bool all);

    Receiver& receiver;
    std::size_t memoryLimit;
    std::vector<Chunk> chunks;
    std::vector<unsigned int> freeChunks;
    unsigned int current;
    std::vector<Entry> entries; // entries[head, end) are queued; those before were released
    std::size_t head;
    std::vector<Entry> scratch;
    std::vector<std::size_t> runs;
    std::size_t orderedCount; // entries[0, orderedCount) are known to be in time order
    unsigned long long maxTime;
    unsigned long long previousRoundMax;
};

} // namespace perfevents

#endif
