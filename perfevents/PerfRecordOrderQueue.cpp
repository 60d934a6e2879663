#include "perfevents/PerfRecordOrderQueue.h"

#include <algorithm>
#include <cstring>

namespace perfevents {

PerfRecordOrderQueue::PerfRecordOrderQueue(Receiver& receiver, std::size_t memoryLimit)
    : receiver(receiver), memoryLimit(memoryLimit), sequence(0), maxTime(0), previousRoundMax(0) {}

void PerfRecordOrderQueue::push(unsigned long long time, const unsigned char* record, unsigned int size) {
    const std::size_t at = arena.size();
    arena.resize(at + size);
    std::memcpy(arena.data() + at, record, size);
    entries.push_back(Entry{time, sequence++, at, size});
    if (time > maxTime)
        maxTime = time;
    if (arena.size() > memoryLimit) {
        // Too much held back: release the earlier half. A record that comes later with an earlier time is
        // still delivered, only out of order.
        std::vector<unsigned long long> times;
        times.reserve(entries.size());
        for (const Entry& entry : entries)
            times.push_back(entry.time);
        std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
        _release(times[times.size() / 2], false);
    }
}

void PerfRecordOrderQueue::finishRound() {
    _release(previousRoundMax, false);
    previousRoundMax = maxTime;
}

void PerfRecordOrderQueue::flush() {
    _release(0, true);
}

void PerfRecordOrderQueue::_release(unsigned long long upTo, bool all) {
    if (entries.empty())
        return;
    auto earlier = [](const Entry& a, const Entry& b) {
        return a.time < b.time || (a.time == b.time && a.sequence < b.sequence);
    };
    // Records of one buffer come in time order; a round of a single buffer needs no sorting.
    if (!std::is_sorted(entries.begin(), entries.end(), earlier))
        std::sort(entries.begin(), entries.end(), earlier);
    std::size_t count = entries.size();
    if (!all) {
        auto split = std::upper_bound(entries.begin(), entries.end(), upTo,
                                      [](unsigned long long time, const Entry& entry) { return time < entry.time; });
        count = static_cast<std::size_t>(split - entries.begin());
    }
    for (std::size_t i = 0; i < count; ++i)
        receiver.onOrderedRecord(arena.data() + entries[i].offset, entries[i].size);
    if (count == entries.size()) {
        entries.clear();
        arena.clear();
        return;
    }
    // Keep the rest, packed into the spare arena, in their time order (sequence numbers keep ties stable).
    spare.clear();
    kept.clear();
    for (std::size_t i = count; i < entries.size(); ++i) {
        Entry entry = entries[i];
        const std::size_t at = spare.size();
        spare.insert(spare.end(), arena.data() + entry.offset, arena.data() + entry.offset + entry.size);
        entry.offset = at;
        kept.push_back(entry);
    }
    arena.swap(spare);
    entries.swap(kept);
}

} // namespace perfevents
