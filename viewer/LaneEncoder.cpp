#include "viewer/LaneEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace viewer {

namespace {

const std::int64_t SECOND = 1000000000;
// Levels are made until one has fewer buckets than this: coarser ones would not be needed by any view.
const std::size_t FEWEST_BUCKETS = 256;

void putDouble(std::string& out, double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 8; ++i) {
        out += static_cast<char>((bits >> (8 * i)) & 0xFF);
    }
}

void putUint16(std::string& out, unsigned value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>((value >> 8) & 0xFF);
}

} // namespace

void LaneEncoder::putVarint(std::string& out, std::uint64_t value) {
    while (value >= 0x80) {
        out += static_cast<char>((value & 0x7F) | 0x80);
        value >>= 7;
    }
    out += static_cast<char>(value);
}

LaneEncoder::Mode LaneEncoder::numberMode(const ValueTable& table, std::size_t points) {
    if (table.size() <= 65536 && table.size() <= points / 2 + 16) {
        return MODE_INDEX;
    }
    return table.allSafeIntegers() ? MODE_INTEGER : MODE_DOUBLE;
}

LaneEncoder::LaneEncoder(const PlotSeries& series, const PlotLane& lane, Mode valueMode, Mode magnitudeMode,
                         long long endState, bool line) {
    std::size_t n = lane.size();
    if (n == 0) {
        return;
    }
    tickNanoseconds = SECOND;
    for (std::int64_t time : lane.times) {
        while (tickNanoseconds > 1 && time % tickNanoseconds != 0) {
            tickNanoseconds /= 10;
        }
    }
    firstTick = _tick(lane, 0);
    lastTick = _tick(lane, n - 1);
    _blocks(series, lane, valueMode, magnitudeMode);
    if (series.isState) {
        _stateLevels(lane, endState, series.values.size());
    } else {
        _numberLevels(series, lane, line);
    }
}

void LaneEncoder::_blocks(const PlotSeries& series, const PlotLane& lane, Mode valueMode, Mode magnitudeMode) {
    auto putColumn = [](std::string& out, const std::vector<std::uint32_t>& column, const ValueTable& table, Mode mode,
                        std::size_t from, std::size_t to) {
        std::int64_t previous = 0;
        for (std::size_t i = from; i < to; ++i) {
            const ValueTable::Entry& entry = table[column[i]];
            switch (mode) {
            case MODE_INDEX:
                putVarint(out, column[i]);
                break;
            case MODE_INTEGER:
                putVarint(out, zigzag(entry.integer - previous));
                previous = entry.integer;
                break;
            case MODE_DOUBLE:
                putDouble(out, entry.number);
                break;
            }
        }
    };
    std::size_t n = lane.size();
    for (std::size_t from = 0; from < n; from += BLOCK_POINTS) {
        std::size_t to = std::min(n, from + BLOCK_POINTS);
        Block block;
        block.points = to - from;
        block.firstTick = _tick(lane, from);
        putVarint(block.bytes, zigzag(block.firstTick));
        for (std::size_t i = from + 1; i < to; ++i) {
            putVarint(block.bytes, static_cast<std::uint64_t>(_tick(lane, i) - _tick(lane, i - 1)));
        }
        putColumn(block.bytes, lane.values, series.values, valueMode, from, to);
        if (series.hasMagnitude) {
            putColumn(block.bytes, lane.magnitudes, series.magnitudes, magnitudeMode, from, to);
        }
        blocks.push_back(std::move(block));
    }
}

void LaneEncoder::_stateLevels(const PlotLane& lane, long long endState, std::size_t states) {
    std::size_t n = lane.size();
    // Time per state up to the last point, for the legend.
    std::vector<std::int64_t> time(states, -1);
    std::vector<std::uint32_t> touched;
    for (std::size_t i = 0; i + 1 < n; ++i) {
        std::uint32_t v = lane.values[i];
        if (static_cast<long long>(v) == endState) {
            continue;
        }
        if (time[v] < 0) {
            time[v] = 0;
            touched.push_back(v);
        }
        time[v] += _tick(lane, i + 1) - _tick(lane, i);
    }
    for (std::uint32_t v : touched) {
        totals.emplace_back(v, time[v]);
        time[v] = -1;
    }
    touched.clear();

    std::int64_t range = lastTick - firstTick;
    if (n < OVERVIEW_MIN_POINTS || range <= 0) {
        return;
    }
    std::int64_t target = static_cast<std::int64_t>((n + 7) / 8);
    bucketWidth = std::max<std::int64_t>(1, (range + target) / target);
    // Level 0 from the spans; every further level from all entryStates of the level below, four buckets at a time,
    // so that the work is the points once plus what the buckets hold.
    std::vector<std::uint32_t> offsets, nextOffsets;
    std::vector<std::uint32_t> entryStates, nextEntryStates;
    std::vector<std::int64_t> entryTimes, nextEntryTimes;
    for (std::int64_t width = bucketWidth;; width *= 4) {
        Level level;
        level.buckets = static_cast<std::size_t>(range / width + 1);
        nextOffsets.clear();
        nextEntryStates.clear();
        nextEntryTimes.clear();
        auto emit = [&]() {
            nextOffsets.push_back(static_cast<std::uint32_t>(nextEntryStates.size()));
            for (std::uint32_t v : touched) {
                nextEntryStates.push_back(v);
                nextEntryTimes.push_back(time[v]);
            }
            std::size_t count = touched.size();
            std::size_t kept = std::min<std::size_t>(count, MAX_BUCKET_STATES);
            std::partial_sort(touched.begin(), touched.begin() + static_cast<std::ptrdiff_t>(kept), touched.end(),
                              [&](std::uint32_t a, std::uint32_t b) { return time[a] > time[b]; });
            putVarint(level.bytes, kept * 2 + (count > kept ? 1 : 0));
            for (std::size_t k = 0; k < kept; ++k) {
                std::uint32_t v = touched[k];
                putVarint(level.bytes, v);
                double share = std::ceil(static_cast<double>(time[v]) * 255.0 / static_cast<double>(width));
                level.bytes += static_cast<char>(static_cast<unsigned char>(std::max(1.0, std::min(255.0, share))));
            }
            for (std::uint32_t v : touched) {
                time[v] = -1;
            }
            touched.clear();
        };
        auto add = [&](std::uint32_t v, std::int64_t t) {
            if (time[v] < 0) {
                time[v] = 0;
                touched.push_back(v);
            }
            time[v] += t;
        };
        if (width == bucketWidth) {
            std::size_t current = 0;
            for (std::size_t i = 0; i + 1 < n; ++i) {
                std::uint32_t v = lane.values[i];
                if (static_cast<long long>(v) == endState) {
                    continue;
                }
                std::int64_t start = _tick(lane, i) - firstTick;
                std::int64_t end = _tick(lane, i + 1) - firstTick;
                std::size_t first = static_cast<std::size_t>(start / width);
                std::size_t last = std::min(level.buckets - 1, static_cast<std::size_t>(end / width));
                for (std::size_t b = first; b <= last; ++b) {
                    std::int64_t bucketStart = static_cast<std::int64_t>(b) * width;
                    std::int64_t overlap = std::min(end, bucketStart + width) - std::max(start, bucketStart);
                    if (overlap <= 0 && b != first) {
                        continue; // ends on the bucket's start
                    }
                    for (; current < b; ++current) {
                        emit();
                    }
                    add(v, std::max<std::int64_t>(0, overlap));
                }
            }
            for (; current < level.buckets; ++current) {
                emit();
            }
        } else {
            std::size_t below = offsets.size();
            for (std::size_t b = 0; b < level.buckets; ++b) {
                for (std::size_t j = 4 * b; j < 4 * b + 4 && j < below; ++j) {
                    std::uint32_t to = j + 1 < below ? offsets[j + 1] : static_cast<std::uint32_t>(entryStates.size());
                    for (std::uint32_t e = offsets[j]; e < to; ++e) {
                        add(entryStates[e], entryTimes[e]);
                    }
                }
                emit();
            }
        }
        offsets.swap(nextOffsets);
        entryStates.swap(nextEntryStates);
        entryTimes.swap(nextEntryTimes);
        levels.push_back(std::move(level));
        if (levels.back().buckets < FEWEST_BUCKETS || width > range / 4) {
            break;
        }
    }
}

void LaneEncoder::_numberLevels(const PlotSeries& series, const PlotLane& lane, bool line) {
    std::size_t n = lane.size();
    auto value = [&](std::size_t i) { return series.values[lane.values[i]].number; };
    minIndex = maxIndex = lane.values[0];
    low = high = value(0);
    for (std::size_t i = 1; i < n; ++i) {
        double v = value(i);
        if (v < low) {
            low = v;
            minIndex = lane.values[i];
        }
        if (v > high) {
            high = v;
            maxIndex = lane.values[i];
        }
    }
    std::int64_t range = lastTick - firstTick;
    if (n < OVERVIEW_MIN_POINTS || range <= 0) {
        return;
    }
    double scale = high > low ? 65535.0 / (high - low) : 0.0;
    auto scaled = [&](double v, int rounding) {
        double q = (v - low) * scale;
        q = rounding < 0 ? std::floor(q) : rounding > 0 ? std::ceil(q) : std::floor(q + 0.5);
        return static_cast<unsigned>(std::max(0.0, std::min(65535.0, q)));
    };
    auto at = [&](std::size_t i, std::int64_t tick) {
        // The line's value at `tick`, between point i-1 and point i.
        double t0 = static_cast<double>(_tick(lane, i - 1)), t1 = static_cast<double>(_tick(lane, i));
        double v0 = value(i - 1), v1 = value(i);
        return t1 > t0 ? v0 + (v1 - v0) * ((static_cast<double>(tick) - t0) / (t1 - t0)) : v1;
    };
    std::int64_t target = static_cast<std::int64_t>((n + 7) / 8);
    bucketWidth = std::max<std::int64_t>(1, (range + target) / target);
    // Level 0 from the points, each further level from four buckets of the level below: (minimum, maximum,
    // first, last) of a bucket follow from those of its four parts.
    std::vector<double> summary, next;
    for (std::int64_t width = bucketWidth;; width *= 4) {
        Level level;
        level.buckets = static_cast<std::size_t>(range / width + 1);
        next.assign(level.buckets * 4, 0.0);
        if (width == bucketWidth) {
            std::size_t i = 0;
            double held = value(0);
            for (std::size_t b = 0; b < level.buckets; ++b) {
                std::int64_t start = firstTick + static_cast<std::int64_t>(b) * width;
                std::int64_t end = start + width;
                double first = line && i > 0 && i < n ? at(i, start) : held;
                if (i < n && _tick(lane, i) == start) {
                    first = value(i);
                }
                double least = first, most = first;
                while (i < n && _tick(lane, i) < end) {
                    held = value(i++);
                    least = std::min(least, held);
                    most = std::max(most, held);
                }
                double last = line && i > 0 && i < n ? at(i, end) : held;
                next[4 * b] = std::min(least, last);
                next[4 * b + 1] = std::max(most, last);
                next[4 * b + 2] = first;
                next[4 * b + 3] = last;
            }
        } else {
            std::size_t below = summary.size() / 4;
            for (std::size_t b = 0; b < level.buckets; ++b) {
                std::size_t j = 4 * b, to = std::min(below, j + 4);
                double least = summary[4 * j], most = summary[4 * j + 1];
                for (std::size_t k = j + 1; k < to; ++k) {
                    least = std::min(least, summary[4 * k]);
                    most = std::max(most, summary[4 * k + 1]);
                }
                next[4 * b] = least;
                next[4 * b + 1] = most;
                next[4 * b + 2] = summary[4 * j + 2];
                next[4 * b + 3] = summary[4 * (to - 1) + 3];
            }
        }
        summary.swap(next);
        level.bytes.reserve(level.buckets * 8);
        for (std::size_t b = 0; b < level.buckets; ++b) {
            putUint16(level.bytes, scaled(summary[4 * b], -1));
            putUint16(level.bytes, scaled(summary[4 * b + 1], 1));
            putUint16(level.bytes, scaled(summary[4 * b + 2], 0));
            putUint16(level.bytes, scaled(summary[4 * b + 3], 0));
        }
        levels.push_back(std::move(level));
        if (levels.back().buckets < FEWEST_BUCKETS || width > range / 4) {
            break;
        }
    }
}

} // namespace viewer
