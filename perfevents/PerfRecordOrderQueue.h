#ifndef PERFEVENTS_PERFRECORDORDERQUEUE_H
#define PERFEVENTS_PERFRECORDORDERQUEUE_H

#include "perfevents/PerfRecordBlockPool.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace perfevents {

/// Puts the kernel records of a recording back into time order. perf writes the ring buffers of the CPUs one
/// after another in rounds, each round closed by a FINISHED_ROUND record: within a buffer the records are in time
/// order, across buffers they are not. The queue holds the records (see below where); at the end of a round it
/// releases, in time order, every record not later than the latest time seen before the previous round ended,
/// which no later round can undercut. Records of equal time keep their file order. A file without rounds is released
/// at its end, or in parts when the queue grows beyond its memory limit.
///
/// Records that lie in a block of the pool the queue shares with the framer stay where they are: the queue pins
/// the block. Other records are copied into blocks of the queue's own. Either way, a block is reused once no
/// record in it is queued and no one else needs it (PerfRecordReadingThread says when the delivering thread is done
/// with it), so held memory does not churn. Since the records of a round come as a few runs already in time order
/// (one per buffer), ordering merges those runs instead of sorting: linear time for the usual round.
class alignas(64) PerfRecordOrderQueue {
public:
    /// Receives the records in time order; the bytes (whole record, header included) lie in the pool block given
    /// and are valid during the call, and after it for as long as the receiver has the block referred to.
    class Receiver {
    public:
        virtual ~Receiver() {}
        virtual void onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int block) = 0;
    };

    static const std::size_t DEFAULT_MEMORY_LIMIT = 256u << 20;
    static const std::size_t CHUNK_SIZE = PerfRecordBlockPool::DEFAULT_BLOCK_SIZE;

    /// pool: the blocks shared with the framer; without one the queue has a pool of its own.
    explicit PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit = DEFAULT_MEMORY_LIMIT,
                                  PerfRecordBlockPool* pool = nullptr);
    ~PerfRecordOrderQueue();
    PerfRecordOrderQueue(const PerfRecordOrderQueue&) = delete;
    PerfRecordOrderQueue& operator=(const PerfRecordOrderQueue&) = delete;

    /// Queues a copy of a record that lies elsewhere (at most 65535 bytes, as its header's size field allows).
    void push(unsigned long long time, const unsigned char* record, unsigned int size);
    /// Queues a record that lies in the given block of the pool, where it stays.
    void push(unsigned long long time, const unsigned char* record, unsigned int size, unsigned int block) {
        pool->pin(block);
        _add(Entry{time, record, size, block});
    }
    /// A FINISHED_ROUND record.
    void finishRound();
    /// Releases everything queued.
    void flush();

    std::size_t getQueuedCount() const { return entries.size() - head; }
    /// Memory the queued records hold: the pinned blocks of the pool.
    std::size_t getHeldBytes() const { return pool->getPinnedBytes(); }

private:
    struct Entry {
        unsigned long long time;
        const unsigned char* bytes;
        unsigned int size;
        unsigned int block;
    };
    void _add(const Entry& entry) {
        entries.push_back(entry);
        if (entry.time > maxTime)
            maxTime = entry.time;
        if (getHeldBytes() > memoryLimit)
            _releaseHalf();
    }
    const unsigned char* _copy(const unsigned char* record, unsigned int size, unsigned int& block);
    void _releaseHalf();
    void _order();
    void _compact();
    void _release(unsigned long long upTo, bool all);

    Receiver& receiver;
    std::size_t memoryLimit;
    std::unique_ptr<PerfRecordBlockPool> ownPool;
    PerfRecordBlockPool* pool;
    unsigned int current;       // the block copies go to
    std::size_t used;           // bytes of it taken
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
