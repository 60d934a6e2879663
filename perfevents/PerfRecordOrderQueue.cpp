#include "perfevents/PerfRecordOrderQueue.h"

#include <algorithm>
#include <cstring>

namespace perfevents {

PerfRecordOrderQueue::PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit, PerfRecordBlockPool* shared)
    : receiver(receiver), memoryLimit(memoryLimit), ownPool(shared == nullptr ? new PerfRecordBlockPool() : nullptr),
      pool(shared == nullptr ? ownPool.get() : shared), current(PerfRecordBlockPool::NO_BLOCK), used(0), head(0),
      orderedCount(0), maxTime(0), previousRoundMax(0) {}

PerfRecordOrderQueue::~PerfRecordOrderQueue() {
    for (std::size_t i = head; i < entries.size(); ++i)
        pool->unpin(entries[i].block);
    if (current != PerfRecordBlockPool::NO_BLOCK)
        pool->unpin(current);
}

const unsigned char* PerfRecordOrderQueue::_copy(const unsigned char* record, unsigned int size, unsigned int& block) {
    if (current == PerfRecordBlockPool::NO_BLOCK || used + size > pool->getBlockSize()) {
        // The block copied to so far is freed by the release of its last record from now on.
        if (current != PerfRecordBlockPool::NO_BLOCK)
            pool->unpin(current);
        current = pool->acquire();
        used = 0;
    }
    unsigned char* copy = pool->bytes(current) + used;
    std::memcpy(copy, record, size);
    used += size;
    pool->pin(current);
    block = current;
    return copy;
}

void PerfRecordOrderQueue::push(unsigned long long time, const unsigned char* record, unsigned int size) {
    unsigned int block = 0;
    const unsigned char* copy = _copy(record, size, block);
    _add(Entry{time, copy, size, block});
}

void PerfRecordOrderQueue::_releaseHalf() {
    // Too much held back: release the earlier half. A record that comes later with an earlier time is still
    // delivered, only out of order.
    std::vector<unsigned long long> times;
    times.reserve(entries.size() - head);
    for (std::size_t i = head; i < entries.size(); ++i)
        times.push_back(entries[i].time);
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    _release(times[times.size() / 2], false);
    // The records kept may still be spread over most blocks: pack them, or every later record would find the
    // queue over its limit again.
    if (getHeldBytes() > memoryLimit / 4 * 3)
        _compact();
}

void PerfRecordOrderQueue::_compact() {
    if (current != PerfRecordBlockPool::NO_BLOCK)
        pool->unpin(current);
    current = PerfRecordBlockPool::NO_BLOCK;
    for (std::size_t i = head; i < entries.size(); ++i) {
        Entry& entry = entries[i];
        const unsigned int old = entry.block;
        entry.bytes = _copy(entry.bytes, entry.size, entry.block);
        pool->unpin(old);
    }
}

void PerfRecordOrderQueue::finishRound() {
    _release(previousRoundMax, false);
    previousRoundMax = maxTime;
}

void PerfRecordOrderQueue::flush() {
    _release(0, true);
}

void PerfRecordOrderQueue::_order() {
    // Cut the entries into runs already in time order; the ordered prefix is one run.
    runs.clear();
    runs.push_back(head);
    std::size_t i = std::max(orderedCount, head + 1);
    for (; i < entries.size(); ++i)
        if (entries[i].time < entries[i - 1].time)
            runs.push_back(i);
    runs.push_back(entries.size());
    // Merge neighbouring runs pairwise until one is left. std::merge takes from the first run on equal times,
    // and the first run holds the earlier records of the file, so records of equal time keep their file order.
    scratch.resize(entries.size());
    while (runs.size() > 2) {
        std::size_t kept = 0;
        std::size_t r = 0;
        for (; r + 2 < runs.size(); r += 2) {
            std::merge(entries.begin() + runs[r], entries.begin() + runs[r + 1], entries.begin() + runs[r + 1],
                       entries.begin() + runs[r + 2], scratch.begin() + runs[r],
                       [](const Entry& a, const Entry& b) { return a.time < b.time; });
            runs[kept++] = runs[r];
        }
        if (r + 2 == runs.size()) { // an odd run left over: copied as it is
            std::copy(entries.begin() + runs[r], entries.begin() + runs[r + 1], scratch.begin() + runs[r]);
            runs[kept++] = runs[r];
        }
        runs[kept++] = entries.size();
        runs.resize(kept);
        entries.swap(scratch);
        scratch.resize(entries.size());
    }
    orderedCount = entries.size();
}

void PerfRecordOrderQueue::_release(unsigned long long upTo, bool all) {
    if (entries.size() == head)
        return;
    _order();
    std::size_t count = entries.size() - head;
    if (!all) {
        auto split = std::upper_bound(entries.begin() + static_cast<std::ptrdiff_t>(head), entries.end(), upTo,
                                      [](unsigned long long time, const Entry& entry) { return time < entry.time; });
        count = static_cast<std::size_t>(split - entries.begin()) - head;
    }
    for (std::size_t i = head; i < head + count; ++i) {
        const Entry& entry = entries[i];
        receiver.onOrderedRecord(entry.bytes, entry.size, entry.block);
        pool->unpin(entry.block);
    }
    // The released entries stay in front until they outnumber the queued ones. Moving the queued ones down after
    // every release could copy most of them again and again; moving them once as many have been released keeps
    // that to one copy per release at most, and the entries within the processor's cache.
    head += count;
    if (head == entries.size()) {
        entries.clear();
        head = 0;
    } else if (head >= entries.size() - head) {
        entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(head));
        head = 0;
    }
    orderedCount = entries.size();
}

} // namespace perfevents
