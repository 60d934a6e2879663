#ifndef PERFEVENTS_PERFRECORDORDERQUEUE_H
#define PERFEVENTS_PERFRECORDORDERQUEUE_H

#include <cstddef>
#include <vector>

namespace perfevents {

/// Puts the kernel records of a recording back into time order. perf writes the ring buffers of the CPUs one
/// after another in rounds, each round closed by a FINISHED_ROUND record: within a buffer the records are in time
/// order, across buffers they are not. The queue keeps copies of the records; at the end of a round it releases,
/// in time order, every record not later than the latest time seen before the previous round ended, which no
/// later round can undercut. Records of equal time keep their file order. A file without rounds is released
/// at its end, or in parts when the queue grows beyond its memory limit.
class PerfRecordOrderQueue {
public:
    /// Receives the records in time order; the bytes (whole record, header included) are valid during the call.
    class Receiver {
    public:
        virtual ~Receiver() {}
        virtual void onOrderedRecord(const unsigned char* record, unsigned int size) = 0;
    };

    static const std::size_t DEFAULT_MEMORY_LIMIT = 256u << 20;

    explicit PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit = DEFAULT_MEMORY_LIMIT);

    void push(unsigned long long time, const unsigned char* record, unsigned int size);
    /// A FINISHED_ROUND record.
    void finishRound();
    /// Releases everything queued.
    void flush();

    std::size_t getQueuedCount() const { return entries.size(); }

private:
    struct Entry {
        unsigned long long time;
        unsigned long long sequence;
        std::size_t offset;
        unsigned int size;
    };
    void _release(unsigned long long upTo, bool all);

    Receiver& receiver;
    std::size_t memoryLimit;
    std::vector<unsigned char> arena;
    std::vector<unsigned char> spare;
    std::vector<Entry> entries;
    std::vector<Entry> kept;
    unsigned long long sequence;
    unsigned long long maxTime;
    unsigned long long previousRoundMax;
};

} // namespace perfevents

#endif
