#ifndef PERFEVENTS_TRACEDATCPUMERGE_H
#define PERFEVENTS_TRACEDATCPUMERGE_H

#include "perfevents/TraceDatCpuStream.h"

#include <memory>
#include <vector>

namespace perfevents {

/// Merges the events of every CPU into one sequence in time order, as perf's records are delivered: a heap of
/// the CPUs keyed by the time of their next event; of events with the same time, the CPU listed first goes
/// first.
class TraceDatCpuMerge {
public:
    explicit TraceDatCpuMerge(std::vector<std::unique_ptr<TraceDatCpuStream>> streams);

    /// Moves to the next event of all CPUs and returns its CPU's stream (positioned on it), or null at the end.
    TraceDatCpuStream* next();

    const std::vector<std::unique_ptr<TraceDatCpuStream>>& getStreams() const { return streams; }

private:
    bool _before(std::size_t a, std::size_t b) const;
    void _push(std::size_t index);
    std::size_t _pop();

    std::vector<std::unique_ptr<TraceDatCpuStream>> streams;
    std::vector<std::size_t> heap;
    TraceDatCpuStream* current = nullptr;
    std::size_t currentIndex = 0;
    bool started = false;
};

} // namespace perfevents

#endif
