#include "viewer/TraceWriter.h"

#include "kestrel/JsomWriter.h"
#include "viewer/DictionaryResolver.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

using kestrel::JsomWriter;

namespace viewer {

namespace {

const double MICROSECONDS = 1e6;
const int TIME_PRECISION = 3;

// {"name": ..., "ph": "M", "pid": ..., ["tid": ...,] "args": {key: value}} with a text or a number value.
void metadata(JsomWriter& writer, const char* name, int pid, int tid, const char* key, const std::string* text,
              long long number) {
    writer.startObject();
    writer.appendLabel("name", true);
    writer.appendString(name, static_cast<int>(std::char_traits<char>::length(name)), true);
    writer.appendLabel("ph", true);
    writer.appendString("M", 1, true);
    writer.appendLabel("pid", true);
    writer.appendInt(pid);
    if (tid > 0) {
        writer.appendLabel("tid", true);
        writer.appendInt(tid);
    }
    writer.appendLabel("args", true);
    writer.startObject();
    writer.appendLabel(key, true);
    if (text) {
        writer.appendString(*text, false);
    } else {
        writer.appendLong(number);
    }
    writer.endObject();
    writer.endObject();
}

// A number of the value tables, exactly as read (a canonical JSON number).
void appendNumber(JsomWriter& writer, const std::string& text) {
    writer.appendJsonValue(text.data(), static_cast<int>(text.size()));
}

double seconds(const PlotSeries& series, std::int64_t nanoseconds) {
    return series.origin + static_cast<double>(nanoseconds) * 1e-9;
}

} // namespace

void TraceWriter::beginDocument(const std::string& source, int indexInSource) {
    documents.emplace_back();
    documents.back().source = source;
    documents.back().indexInSource = indexInSource;
}

void TraceWriter::series(PlotSeries& series) { documents.back().series.push_back(std::move(series)); }

void TraceWriter::dictionaries(const std::string& json) { documents.back().dictionaries.push_back(json); }

void TraceWriter::endDocument(const DocumentSummary& summary) { documents.back().summary = summary; }

int TraceWriter::_process(int document, const std::string& name) {
    auto found = processes.find(std::make_pair(document, name));
    if (found != processes.end()) {
        return found->second;
    }
    int pid = ++counts.processes;
    processes[std::make_pair(document, name)] = pid;
    metadata(*writer, "process_name", pid, 0, "name", &name, 0);
    metadata(*writer, "process_sort_index", pid, 0, "sort_index", nullptr, pid);
    return pid;
}

int TraceWriter::_thread(int pid, const std::string& name) {
    int tid = ++counts.threads;
    metadata(*writer, "thread_name", pid, tid, "name", &name, 0);
    metadata(*writer, "thread_sort_index", pid, tid, "sort_index", nullptr, tid);
    return tid;
}

void TraceWriter::_span(int pid, int tid, const std::string& name, double start, double end, const std::string& value,
                        const std::string& magnitudeName, const std::string* magnitude) {
    JsomWriter& w = *writer;
    w.startObject();
    w.appendLabel("name", true);
    w.appendString(name, false);
    w.appendLabel("ph", true);
    w.appendString("X", 1, true);
    w.appendLabel("ts", true);
    w.appendDouble((start - origin) * MICROSECONDS, TIME_PRECISION);
    w.appendLabel("dur", true);
    w.appendDouble(std::max(0.0, end - start) * MICROSECONDS, TIME_PRECISION);
    w.appendLabel("pid", true);
    w.appendInt(pid);
    w.appendLabel("tid", true);
    w.appendInt(tid);
    w.appendLabel("args", true);
    w.startObject();
    w.appendLabel("value", true);
    appendNumber(w, value);
    if (magnitude) {
        w.appendLabel(magnitudeName.c_str(), static_cast<int>(magnitudeName.size()), false);
        appendNumber(w, *magnitude);
    }
    w.endObject();
    w.endObject();
    ++counts.spans;
}

void TraceWriter::_sample(int pid, const std::string& name, const std::string& key, double time,
                          const std::string& value) {
    JsomWriter& w = *writer;
    w.startObject();
    w.appendLabel("name", true);
    w.appendString(name, false);
    w.appendLabel("ph", true);
    w.appendString("C", 1, true);
    w.appendLabel("ts", true);
    w.appendDouble((time - origin) * MICROSECONDS, TIME_PRECISION);
    w.appendLabel("pid", true);
    w.appendInt(pid);
    w.appendLabel("args", true);
    w.startObject();
    w.appendLabel(key.c_str(), static_cast<int>(key.size()), false);
    appendNumber(w, value);
    w.endObject();
    w.endObject();
    ++counts.samples;
}

// A counter name not yet used in the process: counters of one process are told apart by name only.
std::string TraceWriter::_counterName(int pid, const std::string& label, const std::string& column) {
    std::set<std::string>& used = counterNames[pid];
    std::string name = label;
    if (used.count(name) && !column.empty()) {
        name = label + " (" + column + ")";
    }
    for (int n = 2; used.count(name); ++n) {
        name = label + " #" + std::to_string(n);
    }
    used.insert(name);
    ++counts.counters;
    return name;
}

void TraceWriter::_writeStateSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid, double end) {
    kestrel::JSOM columnDictionary;
    if (!series.columnDictionary.empty()) {
        columnDictionary.fromString(series.columnDictionary);
    }
    const kestrel::JSONData* columns = columnDictionary.node();
    DictionaryResolver::Column state = resolver.column(columns, 1);
    DictionaryResolver::Column key;
    if (series.hasKey) {
        key = resolver.column(columns, series.keyColumn());
    }
    std::string magnitudeName = "magnitude";
    if (series.hasMagnitude) {
        DictionaryResolver::Column magnitude = resolver.column(columns, series.magnitudeColumn());
        if (!magnitude.name.empty() && magnitude.name != "value") {
            magnitudeName = magnitude.name;
        }
    }
    long long endState = series.endState.empty() ? -1 : series.values.find(series.endState);
    // State names once per value, not once per span.
    std::vector<std::string> names(series.values.size());
    for (std::uint32_t v = 0; v < series.values.size(); ++v) {
        names[v] = resolver.name(state, series.values[v].text);
    }
    for (const PlotLane& lane : series.lanes) {
        std::string name = series.hasKey ? series.label + ": " + resolver.name(key, series.keys[lane.key].text)
                                         : series.label;
        int tid = _thread(pid, name);
        std::size_t n = lane.size();
        for (std::size_t i = 0; i < n; ++i) {
            std::uint32_t v = lane.values[i];
            if (static_cast<long long>(v) == endState) {
                continue; // nothing until the next point
            }
            double start = seconds(series, lane.times[i]);
            double spanEnd = i + 1 < n ? seconds(series, lane.times[i + 1]) : std::max(end, start);
            _span(pid, tid, names[v], start, spanEnd, series.values[v].text, magnitudeName,
                  series.hasMagnitude ? &series.magnitudes[lane.magnitudes[i]].text : nullptr);
        }
    }
}

void TraceWriter::_writeNumberSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid) {
    kestrel::JSOM columnDictionary;
    if (!series.columnDictionary.empty()) {
        columnDictionary.fromString(series.columnDictionary);
    }
    DictionaryResolver::Column value = resolver.column(columnDictionary.node(), 1);
    std::string key = value.name.empty() ? "value" : value.name;
    std::string name = _counterName(pid, series.label, value.name);
    for (const PlotLane& lane : series.lanes) {
        for (std::size_t i = 0; i < lane.size(); ++i) {
            _sample(pid, name, key, seconds(series, lane.times[i]), series.values[lane.values[i]].text);
        }
    }
}

TraceWriter::Counts TraceWriter::finish() {
    bool anySeries = false;
    std::map<std::string, int> perSource;
    for (const Document& document : documents) {
        ++perSource[document.source];
        for (const PlotSeries& series : document.series) {
            origin = anySeries ? std::min(origin, series.origin) : series.origin;
            anySeries = true;
        }
    }
    JsomWriter jsonWriter(&out);
    writer = &jsonWriter;
    jsonWriter.startObject();
    jsonWriter.appendLabel("displayTimeUnit", true);
    jsonWriter.appendString("ms", 2, true);
    jsonWriter.appendLabel("otherData", true);
    jsonWriter.startObject();
    jsonWriter.appendLabel("timeOrigin", true);
    jsonWriter.appendDouble(origin, 6);
    jsonWriter.endObject();
    jsonWriter.appendLabel("traceEvents", true);
    jsonWriter.startArray();
    for (std::size_t d = 0; d < documents.size(); ++d) {
        Document& document = documents[d];
        DictionaryResolver resolver(document.dictionaries);
        // With several documents, a group's process also names the document it belongs to.
        std::string suffix;
        if (documents.size() > 1) {
            suffix = " [" + document.source;
            if (perSource[document.source] > 1) {
                suffix += " #" + std::to_string(document.indexInSource + 1);
            }
            suffix += "]";
        }
        for (PlotSeries& series : document.series) {
            int pid = _process(static_cast<int>(d), (series.group.empty() ? "(no group)" : series.group) + suffix);
            if (series.isState) {
                _writeStateSeries(resolver, series, pid, document.summary.endTime);
            } else {
                _writeNumberSeries(resolver, series, pid);
            }
            series = PlotSeries(); // written: its memory goes
        }
    }
    jsonWriter.end();
    writer = nullptr;
    return counts;
}

} // namespace viewer
