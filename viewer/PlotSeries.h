#ifndef VIEWER_PLOTSERIES_H
#define VIEWER_PLOTSERIES_H

#include "viewer/ValueTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace viewer {

/**
 * One row of a series: all its points, or those of one subplot key, in time order.
 *
 * Times are whole nanoseconds relative to the series' "time", read exactly from their decimal text (a time with
 * more decimals is rounded to the nanosecond). Values and magnitudes are numbers of the series' value tables.
 */
struct PlotLane {
    /// The subplot key's number in the series' key table; 0 without keys.
    std::uint32_t key = 0;
    std::vector<std::int64_t> times;
    std::vector<std::uint32_t> values;
    /// Empty without a magnitude column.
    std::vector<std::uint32_t> magnitudes;

    std::size_t size() const { return times.size(); }
};

/**
 * One series object of a plot data document, read and checked, with its points split into lanes.
 *
 * The members the page and the trace show are kept as compact JSON texts ("info", "hints", "columnDictionary",
 * "pivot"), the points as lanes: one without subplot keys, one per key (in ascending key order) with them.
 */
struct PlotSeries {
    /// Position among the document's series objects, from 0.
    int index = 0;
    std::string type;
    std::string label;
    std::string group;
    /// Absolute time (seconds) of the points' time 0: the series' "time".
    double origin = 0.0;
    /// A state series ("state", "state-key", "state-value", "state-key-value"); otherwise a number series.
    bool isState = false;
    bool hasKey = false;
    bool hasMagnitude = false;
    /// "endState" as canonical text, empty without one.
    std::string endState;
    /// The value of the "pivot" object's first member, exactly as written; empty without a pivot.
    std::string pivotKey;
    /// Compact JSON texts of these members; empty when absent or not an object.
    std::string info;
    std::string hints;
    std::string columnDictionary;
    std::string pivot;

    ValueTable values;
    ValueTable keys;
    ValueTable magnitudes;
    std::vector<PlotLane> lanes;

    /// Numbers in a point: time and value, plus the key and the magnitude where present.
    int columns() const { return 2 + (hasKey ? 1 : 0) + (hasMagnitude ? 1 : 0); }
    /// Column numbers (as the column dictionary counts, from 1) of the key and of the magnitude.
    int keyColumn() const { return 2; }
    int magnitudeColumn() const { return hasKey ? 3 : 2; }
    /// All points of all lanes.
    std::size_t points() const {
        std::size_t total = 0;
        for (const PlotLane& lane : lanes) {
            total += lane.size();
        }
        return total;
    }
};

} // namespace viewer

#endif
