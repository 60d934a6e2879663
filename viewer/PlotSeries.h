#ifndef VIEWER_PLOTSERIES_H
#define VIEWER_PLOTSERIES_H

#include "kestrel/JSONData.h"

#include <string>

namespace viewer {

/**
 * One series object of a plot data document, as the reader checked it.
 *
 * The pointers lead into the document's tree, which the owning PlotDocument keeps alive. Every point of `data`
 * is an array of at least `columns()` numbers whose first one (the time, relative to `origin`) is finite.
 */
struct PlotSeries {
    const kestrel::JSONData* object = nullptr;
    const kestrel::JSONData* data = nullptr;
    /// "columnDictionary", or null.
    const kestrel::JSONData* columnDictionary = nullptr;
    /// Position among the document's non-dictionary objects.
    int index = 0;
    std::string type;
    std::string label;
    std::string group;
    /// Absolute time (seconds) of the points' time 0: the series' "time".
    double origin = 0.0;
    /// A state series ("state", "state-key", "state-value", "state-key-value"); otherwise a number series.
    bool isState = false;
    /// The third column is a subplot key (inner pivot).
    bool hasKey = false;
    /// A magnitude column follows the state (and the key).
    bool hasMagnitude = false;

    /// Numbers in a point: time and value, plus the key and the magnitude where present.
    int columns() const { return 2 + (hasKey ? 1 : 0) + (hasMagnitude ? 1 : 0); }
    /// Column number (as the column dictionary counts, from 1) of the key and of the magnitude.
    int keyColumn() const { return 2; }
    int magnitudeColumn() const { return hasKey ? 3 : 2; }
};

} // namespace viewer

#endif
