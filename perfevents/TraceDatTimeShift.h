#ifndef PERFEVENTS_TRACEDATTIMESHIFT_H
#define PERFEVENTS_TRACEDATTIMESHIFT_H

#include <cstdint>
#include <string>
#include <vector>

namespace perfevents {

/// The shift of a guest's times towards its host's clock, as a trace.dat's TIME_SHIFT option records it: per
/// CPU, samples of (guest time, offset, scaling ratio, fraction bits) taken while the guest was traced. A time is
/// corrected with the samples around it (the first two before the first sample, the last two after the last):
/// time * scaling >> fraction + offset of the earlier sample, or, when the option's flags ask for interpolation,
/// with the offset interpolated linearly between the two (rounded to the nanosecond). A CPU with one sample has
/// its offset added; a CPU without samples keeps its times. This is how trace-cmd report shows a guest's events.
class TraceDatTimeShift {
public:
    TraceDatTimeShift() = default;
    /// Reads the option's data; throws TraceDatDamage when it is damaged.
    TraceDatTimeShift(const std::string& data, bool bigEndian);

    bool isEmpty() const { return cpus.empty(); }
    std::uint64_t toHost(unsigned cpu, std::uint64_t time) const;

private:
    struct Sample {
        std::uint64_t time;
        std::int64_t offset;
        std::uint64_t scaling;
        std::uint64_t fraction;
    };

    std::vector<std::vector<Sample>> cpus;
    bool interpolate = false;
};

} // namespace perfevents

#endif
