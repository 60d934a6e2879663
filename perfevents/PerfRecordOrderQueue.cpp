#include "perfevents/PerfRecordOrderQueue.h"

#include <algorithm>
#include <cstring>

namespace perfevents {

PerfRecordOrderQueue::PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit)
    : receiver(receiver), memoryLimit(memoryLimit), current(0), head(0), orderedCount(0), maxTime(0),
      previousRoundMax(0) {}

unsigned int PerfRecordOrderQueue::_chunkFor(unsigned int size) {
    if (!chunks.empty() && chunks[current].used + size <= CHUNK_SIZE)
        return current;
    // The current chunk is full: it is freed by the release of its last record from now on.
    if (!chunks.empty() && chunks[current].live == 0) {
        chunks[current].used = 0;
        return current;
    }
    if (!freeChunks.empty()) {
        current = freeChunks.back();
        freeChunks.pop_back();
    } else {
        chunks.push_back(Chunk{std::unique_ptr<unsigned char[]>(new unsigned char[CHUNK_SIZE]), 0, 0});
        current = static_cast<unsigned int>(chunks.size() - 1);
    }
    chunks[current].used = 0;
    return current;
}

void PerfRecordOrderQueue::push(unsigned long long time, const unsigned char* record, unsigned int size) {
    const unsigned int at = _chunkFor(size);
    Chunk& chunk = chunks[at];
    unsigned char* copy = chunk.bytes.get() + chunk.used;
    std::memcpy(copy, record, size);
    chunk.used += size;
    ++chunk.live;
    entries.push_back(Entry{time, copy, size, at});
    if (time > maxTime)
        maxTime = time;
    if (getHeldBytes() > memoryLimit) {
        // Too much held back: release the earlier half. A record that comes later with an earlier time is
        // still delivered, only out of order.
        std::vector<unsigned long long> times;
        times.reserve(entries.size() - head);
        for (std::size_t i = head; i < entries.size(); ++i)
            times.push_back(entries[i].time);
        std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
        _release(times[times.size() / 2], false);
        // The records kept may still be spread over most chunks: pack them, or every later record would find
        // the queue over its limit again.
        if (getHeldBytes() > memoryLimit / 4 * 3)
            _compact();
    }
}

void PerfRecordOrderQueue::_compact() {
    std::vector<Chunk> old;
    old.swap(chunks);
    freeChunks.clear();
    current = 0;
    for (std::size_t i = head; i < entries.size(); ++i) {
        Entry& entry = entries[i];
        const unsigned int at = _chunkFor(entry.size);
        Chunk& chunk = chunks[at];
        unsigned char* copy = chunk.bytes.get() + chunk.used;
        std::memcpy(copy, entry.bytes, entry.size);
        chunk.used += entry.size;
        ++chunk.live;
        entry.bytes = copy;
        entry.chunk = at;
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
        receiver.onOrderedRecord(entry.bytes, entry.size);
        Chunk& chunk = chunks[entry.chunk];
        if (--chunk.live == 0 && entry.chunk != current) {
            chunk.used = 0;
            freeChunks.push_back(entry.chunk);
        }
    }
    // The released entries stay in front until they far outnumber the queued ones: moving the queued ones down
    // after every round would copy most of them again and again.
    head += count;
    if (head == entries.size()) {
        entries.clear();
        head = 0;
    } else if (head >= 4 * (entries.size() - head)) {
        entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(head));
        head = 0;
    }
    orderedCount = entries.size();
}

} // namespace perfevents
