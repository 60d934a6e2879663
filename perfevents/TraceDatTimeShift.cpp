#include "perfevents/TraceDatTimeShift.h"

#include "perfevents/TraceDatInput.h"

#include <sstream>

namespace perfevents {

namespace {
const std::uint32_t FLAG_INTERPOLATE = 1;
const std::uint32_t MAX_CPUS = 1u << 16;

// a / b rounded to the nearest integer, halves away from zero; b > 0.
__int128 divideRounded(__int128 a, __int128 b) {
    return a >= 0 ? (a + b / 2) / b : -((-a + b / 2) / b);
}
} // namespace

TraceDatTimeShift::TraceDatTimeShift(const std::string& data, bool bigEndian) {
    std::istringstream stream(data);
    TraceDatInput in(stream, data.size(), bigEndian);
    in.u64("the peer of the time shift");
    interpolate = (in.u32("the flags of the time shift") & FLAG_INTERPOLATE) != 0;
    const std::uint32_t count = in.u32("the CPU count of the time shift");
    if (count > MAX_CPUS)
        throw TraceDatDamage("the time shift names " + std::to_string(count) + " CPUs");
    for (std::uint32_t cpu = 0; cpu < count; ++cpu) {
        const std::string what = "the time shift of CPU " + std::to_string(cpu);
        const std::uint32_t samples = in.u32(what);
        if (samples > in.remaining() / 24)
            throw TraceDatDamage(what + " runs past the end of its option");
        std::vector<Sample> list(samples, Sample{0, 0, 1, 0});
        for (Sample& sample : list)
            sample.time = in.u64(what);
        for (Sample& sample : list)
            sample.offset = static_cast<std::int64_t>(in.u64(what));
        for (Sample& sample : list)
            sample.scaling = in.u64(what);
        cpus.push_back(list);
    }
    // Newer writers add the fraction bits of each scaling ratio, per CPU.
    for (std::uint32_t cpu = 0; cpu < count && in.remaining() >= 4; ++cpu) {
        const std::string what = "the fraction bits of the time shift of CPU " + std::to_string(cpu);
        const std::uint32_t samples = in.u32(what);
        for (std::uint32_t i = 0; i < samples; ++i) {
            const std::uint64_t fraction = in.u64(what);
            if (i < cpus[cpu].size())
                cpus[cpu][i].fraction = fraction < 64 ? fraction : 63;
        }
    }
}

std::uint64_t TraceDatTimeShift::toHost(unsigned cpu, std::uint64_t time) const {
    if (cpu >= cpus.size() || cpus[cpu].empty())
        return time;
    const std::vector<Sample>& samples = cpus[cpu];
    if (samples.size() == 1)
        return time + static_cast<std::uint64_t>(samples[0].offset);
    // The samples around the time: the first two before the first, the last two from the last on.
    std::size_t low = 0, high = samples.size() - 1;
    if (time >= samples[high].time) {
        low = high - 1;
    } else if (time >= samples[0].time) {
        while (high - low > 1) {
            const std::size_t middle = low + (high - low) / 2;
            (samples[middle].time <= time ? low : high) = middle;
        }
    } else {
        high = 1;
    }
    const Sample& first = samples[low];
    const Sample& second = samples[low + 1];
    __int128 offset = first.offset;
    if (interpolate && second.time > first.time)
        offset += divideRounded((static_cast<__int128>(time) - first.time) * (second.offset - first.offset),
                                static_cast<__int128>(second.time - first.time));
    const unsigned __int128 scaled = (static_cast<unsigned __int128>(time) * first.scaling) >> first.fraction;
    return static_cast<std::uint64_t>(static_cast<__int128>(scaled) + offset);
}

} // namespace perfevents
