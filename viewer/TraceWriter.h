#ifndef VIEWER_TRACEWRITER_H
#define VIEWER_TRACEWRITER_H

#include "kestrel/JsomWriter.h"
#include "viewer/DictionaryResolver.h"
#include "viewer/PlotDataSink.h"

#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace viewer {

/**
 * Writes plot data documents as one Trace Event Format document (JSON object form), as trace viewers read it.
 *
 * Every group of a document becomes a process; every state series a thread of its group's process, named by
 * the series' label (a series with subplot keys one thread per key, in ascending key order, named by the label
 * and the key's name), holding one complete event ("X") per state span, named by the state's name with the
 * value in "args". A span lasts from a point to the next point of its thread, the last one to the latest point
 * of the document; the span after a point in the series' "endState" is nothing and gets no event. Every number
 * series becomes a counter of its group's process with one sample ("C") per point. Processes and threads are
 * named by metadata events ("M") and sorted in document order. Times are in microseconds from the earliest
 * series origin of all documents.
 *
 * The series are kept (their points compactly, about 12 bytes each) until finish(), which writes the trace:
 * names come from dictionaries at the end of a document, and times count from the earliest origin of all.
 */
class TraceWriter : public PlotDataSink {
public:
    /// Counts of what was written, for the caller's report.
    struct Counts {
        long long spans = 0;
        long long samples = 0;
        int processes = 0;
        int threads = 0;
        int counters = 0;
    };

    explicit TraceWriter(std::ostream& out) : out(out) {}

    void beginDocument(const std::string& source, int indexInSource) override;
    void series(PlotSeries& series) override;
    void dictionaries(const std::string& json) override;
    void endDocument(const DocumentSummary& summary) override;
    /// Writes the trace of every document read.
    Counts finish();

private:
    struct Document {
        std::string source;
        int indexInSource = 0;
        std::vector<PlotSeries> series;
        std::vector<std::string> dictionaries;
        DocumentSummary summary;
    };

    int _process(int document, const std::string& name);
    int _thread(int pid, const std::string& name);
    void _span(int pid, int tid, const std::string& name, double start, double end, const std::string& value,
               const std::string& magnitudeName, const std::string* magnitude);
    void _sample(int pid, const std::string& name, const std::string& key, double time, const std::string& value);
    std::string _counterName(int pid, const std::string& label, const std::string& column);
    void _writeStateSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid, double end);
    void _writeNumberSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid);

    std::ostream& out;
    std::vector<Document> documents;
    kestrel::JsomWriter* writer = nullptr;
    double origin = 0.0;
    Counts counts;
    std::map<std::pair<int, std::string>, int> processes;
    std::map<int, std::set<std::string>> counterNames;
};

} // namespace viewer

#endif
