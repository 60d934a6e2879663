#ifndef VIEWER_LANEENCODER_H
#define VIEWER_LANEENCODER_H

#include "viewer/PlotSeries.h"

#include <cstdint>
#include <string>
#include <vector>

namespace viewer {

/**
 * Turns a lane's points into the page's compact binary form: blocks of points and an overview.
 *
 * Numbers are unsigned LEB128 varints (7 bits a byte, low bits first), signed ones zigzag-coded first. Times are
 * ticks of `tickNanoseconds` (the largest power of ten, up to a second, that divides every time of the lane).
 *
 * A block holds up to BLOCK_POINTS points, column by column: the first tick (signed), then the differences to
 * the previous tick; then the values, then the magnitudes, each column in its mode: MODE_INDEX (the value's
 * number in the series' value table), MODE_INTEGER (the first value signed, then signed differences) or
 * MODE_DOUBLE (8 bytes, little-endian IEEE 754).
 *
 * The overview summarises the lane in levels of equal time buckets, bucket i of a level covering
 * [firstTick + i*width, firstTick + (i+1)*width), the widths growing fourfold from level to level, up to the
 * last point (the span after it is the page's to draw). A state bucket is a varint count*2+more followed by up
 * to MAX_BUCKET_STATES (value number, share) pairs, most time first: the states other than the end state
 * present in the bucket, their share of its time in 255ths (at least 1: a state present for any time, even
 * none, is listed), `more` set when more states were present than listed. A number bucket is four 16-bit
 * little-endian numbers: minimum, maximum, first and last value of the bucket (the value held at its start
 * included), each scaled from [low, high] to [0, 65535] (minimum rounded down, maximum up).
 */
class LaneEncoder {
public:
    static const std::size_t BLOCK_POINTS = 4096;
    /// Lanes with fewer points get no overview: drawing them point by point is as quick.
    static const std::size_t OVERVIEW_MIN_POINTS = 512;
    static const int MAX_BUCKET_STATES = 4;
    enum Mode { MODE_INDEX = 0, MODE_INTEGER = 1, MODE_DOUBLE = 2 };

    struct Block {
        std::string bytes;
        std::size_t points = 0;
        std::int64_t firstTick = 0;
    };
    struct Level {
        std::string bytes;
        std::size_t buckets = 0;
    };

    /// The mode of a number column of `points` points whose values are in `table`.
    static Mode numberMode(const ValueTable& table, std::size_t points);

    /// Encodes a lane of `series`; `endState` is the end state's value number, or -1.
    LaneEncoder(const PlotSeries& series, const PlotLane& lane, Mode valueMode, Mode magnitudeMode, long long endState,
                bool line);

    std::int64_t tickNanoseconds = 1;
    std::int64_t firstTick = 0;
    std::int64_t lastTick = 0;
    std::vector<Block> blocks;
    /// Bucket width of level 0 in ticks; 0 without an overview.
    std::int64_t bucketWidth = 0;
    std::vector<Level> levels;
    /// Number lanes: the value range the overview is scaled to, and the value numbers of the least and the
    /// greatest value.
    double low = 0.0;
    double high = 0.0;
    std::uint32_t minIndex = 0;
    std::uint32_t maxIndex = 0;
    /// State lanes: (value number, ticks) of the time each state other than the end state takes up, up to the
    /// last point.
    std::vector<std::pair<std::uint32_t, std::int64_t>> totals;

    static void putVarint(std::string& out, std::uint64_t value);
    static std::uint64_t zigzag(std::int64_t value) {
        return (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63);
    }

private:
    void _blocks(const PlotSeries& series, const PlotLane& lane, Mode valueMode, Mode magnitudeMode);
    void _stateLevels(const PlotLane& lane, long long endState, std::size_t states);
    void _numberLevels(const PlotSeries& series, const PlotLane& lane, bool line);
    std::int64_t _tick(const PlotLane& lane, std::size_t i) const { return lane.times[i] / tickNanoseconds; }
};

} // namespace viewer

#endif
