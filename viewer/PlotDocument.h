#ifndef VIEWER_PLOTDOCUMENT_H
#define VIEWER_PLOTDOCUMENT_H

#include "kestrel/JSOM.h"
#include "viewer/PlotSeries.h"

#include <string>
#include <vector>

namespace viewer {

/**
 * One plot data document (the top-level array the converter writes), read and checked.
 *
 * `root` holds the tree; the series and dictionary pointers lead into it. Copies share the tree. Documents are
 * not assigned: assigning a kestrel::JSOM copies the tree into the target's place instead of sharing it.
 */
struct PlotDocument {
    /// Takes a reference on the tree.
    explicit PlotDocument(kestrel::JSONData* tree) : root(tree) {}
    PlotDocument(const PlotDocument&) = default;
    PlotDocument(PlotDocument&&) = default;
    PlotDocument& operator=(const PlotDocument&) = delete;

    /// The file the document came from, as named on the command line.
    std::string source;
    /// Position of the document in its file (appended output holds several), from 0.
    int indexInSource = 0;
    kestrel::JSOM root;
    /// The series objects, in document order.
    std::vector<PlotSeries> series;
    /// The "dictionaries" objects, in document order.
    std::vector<const kestrel::JSONData*> dictionaries;
    /// Total number of points in all series.
    long long points = 0;
    /// Absolute time of the earliest and the latest point of all series; both 0 without points.
    double startTime = 0.0;
    double endTime = 0.0;
};

} // namespace viewer

#endif
