#ifndef TESTS_VIEWER_VIEWERTESTDOCUMENTS_H
#define TESTS_VIEWER_VIEWERTESTDOCUMENTS_H

#include "viewer/PlotDataReader.h"

#include <string>
#include <vector>

// A small plot data document in the converter's layout: a state series whose states are thread ids named
// through a scoped dictionary that extends the unscoped thread names, a state series with subplot keys and
// magnitudes whose column names come from the shared column dictionary, and a number series.
static const char* const VIEWER_TEST_DOCUMENT = R"([
 {"label": "CPU 0", "columnDictionary": {"type": "map", "extends": {"scope": "plotwright", "dictionary": "cols"},
   "map": {"next_pid": {"column": 1, "dataDictionary": {"scope": "plotwright", "dictionary": "common_pid"}}}},
  "group": "CPUs", "time": 100.5, "type": "state", "data": [[0, 7], [0.25, 0], [0.5, 9]]},
 {"label": "Waits", "columnDictionary": {"type": "map", "extends": {"scope": "plotwright", "dictionary": "cols"},
   "map": {"state": {"column": 1}, "inner_pivot": {"column": 2,
     "dataDictionary": {"scope": "plotwright", "dictionary": "common_tid"}}, "delay": {"column": 3}}},
  "group": "Tasks", "time": 100.5, "type": "state-key-value",
  "data": [[0.125, 1, 9, 2.5], [0.25, 1, 7, 3], [0.375, 2, 9, 0]]},
 {"label": "Prio", "columnDictionary": {"type": "map", "map": {"next_prio": {"column": 1}}},
  "group": "CPUs", "time": 100.5, "type": "long", "data": [[0, 120], [0.75, 100]]},
 {"type": "dictionaries", "scope": "plotwright", "dictionaries": {
   "cols": {"type": "map", "map": {"inner_pivot": {"label": "Subplot"}, "state": {"label": "State"}}},
   "common_tid": {"type": "map", "extends": {"dictionary": "common_tid"}, "map": {}},
   "common_pid": {"type": "map", "extends": {"scope": "plotwright", "dictionary": "common_tid"}, "map": {}}}},
 {"type": "dictionaries", "dictionaries": {
   "common_tid": {"type": "map", "map": {"7": {"label": "sh"}, "9": {"pid": 7, "label": "ls"}, "12": "cat"}}}}
])";

// Keeps what the reader hands over, document by document.
struct CollectedDocument {
    std::string source;
    int indexInSource = 0;
    std::vector<viewer::PlotSeries> series;
    std::vector<std::string> dictionaries;
    viewer::PlotDataSink::DocumentSummary summary;
};

class CollectingSink : public viewer::PlotDataSink {
public:
    std::vector<CollectedDocument> documents;

    void beginDocument(const std::string& source, int indexInSource) override {
        documents.emplace_back();
        documents.back().source = source;
        documents.back().indexInSource = indexInSource;
    }
    void series(viewer::PlotSeries& series) override { documents.back().series.push_back(std::move(series)); }
    void dictionaries(const std::string& json) override { documents.back().dictionaries.push_back(json); }
    void endDocument(const DocumentSummary& summary) override { documents.back().summary = summary; }

    static std::vector<CollectedDocument> read(const std::string& text, const std::string& source = "test.json") {
        CollectingSink sink;
        viewer::PlotDataReader::readText(text, source, sink);
        return std::move(sink.documents);
    }
};

#endif
