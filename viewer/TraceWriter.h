#ifndef VIEWER_TRACEWRITER_H
#define VIEWER_TRACEWRITER_H

#include "kestrel/JsomWriter.h"
#include "viewer/DictionaryResolver.h"
#include "viewer/PlotDocument.h"

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
 * of the document. Every number series becomes a counter of its group's process with one sample ("C") per
 * point. Processes and threads are named by metadata events ("M") and sorted in document order. Times are in
 * microseconds from the earliest series origin of all documents.
 */
class TraceWriter {
public:
    /// Counts of what was written, for the caller's report.
    struct Counts {
        long long spans = 0;
        long long samples = 0;
        int processes = 0;
        int threads = 0;
        int counters = 0;
    };

    static Counts write(std::ostream& out, const std::vector<PlotDocument>& documents);

private:
    TraceWriter(kestrel::JsomWriter& writer, double origin) : writer(writer), origin(origin) {}

    int _process(int document, const std::string& name);
    int _thread(int pid, const std::string& name);
    void _span(int pid, int tid, const std::string& name, double start, double end, long long value,
               const std::string& magnitudeName, const kestrel::JSONData* magnitude);
    void _sample(int pid, const std::string& name, const std::string& key, double time, const kestrel::JSONData* value);
    std::string _counterName(int pid, const std::string& label, const std::string& column);
    void _writeStateSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid, double end);
    void _writeNumberSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid);

    kestrel::JsomWriter& writer;
    double origin;
    Counts counts;
    std::map<std::pair<int, std::string>, int> processes;
    std::map<int, std::set<std::string>> counterNames;
};

} // namespace viewer

#endif
