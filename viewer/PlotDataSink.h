#ifndef VIEWER_PLOTDATASINK_H
#define VIEWER_PLOTDATASINK_H

#include "viewer/PlotSeries.h"

#include <string>

namespace viewer {

/**
 * Receives plot data documents from the PlotDataReader, piece by piece, as they are read.
 *
 * For each document: beginDocument, then its series and dictionaries objects in document order, then
 * endDocument. A series arrives complete, with its points; the reader forgets it afterwards, so a receiver that
 * needs it later takes it over (it may move from it).
 */
class PlotDataSink {
public:
    /// What the reader learnt of a whole document.
    struct DocumentSummary {
        long long points = 0;
        int series = 0;
        /// Absolute time of the earliest and the latest point of all series; both 0 without points.
        double startTime = 0.0;
        double endTime = 0.0;
        bool anyPoint = false;
    };

    virtual ~PlotDataSink() = default;
    /// A document begins: `source` names the input, `indexInSource` counts the documents in it from 0.
    virtual void beginDocument(const std::string& source, int indexInSource) = 0;
    virtual void series(PlotSeries& series) = 0;
    /// A "dictionaries" object, as compact JSON text (checked: its "dictionaries" and their maps are objects).
    virtual void dictionaries(const std::string& json) = 0;
    virtual void endDocument(const DocumentSummary& summary) = 0;
};

} // namespace viewer

#endif
