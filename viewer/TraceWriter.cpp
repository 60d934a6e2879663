#include "viewer/TraceWriter.h"

#include "kestrel/JsomWriter.h"
#include "viewer/DictionaryResolver.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

using kestrel::JsomWriter;
using kestrel::JSONData;

namespace viewer {

namespace {

const double MICROSECONDS = 1e6;
const int TIME_PRECISION = 3;

struct StatePoint {
    double time; // absolute, seconds
    long long state;
    const JSONData* magnitude;
};

void appendNumber(JsomWriter& writer, const JSONData* number) {
    if (number->getType() == JSONData::TYPE_LONG) {
        writer.appendLong(number->longValue());
    } else {
        writer.appendDouble(number->doubleValue(), 6);
    }
}

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

} // namespace

int TraceWriter::_process(int document, const std::string& name) {
    auto found = processes.find(std::make_pair(document, name));
    if (found != processes.end()) {
        return found->second;
    }
    int pid = ++counts.processes;
    processes[std::make_pair(document, name)] = pid;
    metadata(writer, "process_name", pid, 0, "name", &name, 0);
    metadata(writer, "process_sort_index", pid, 0, "sort_index", nullptr, pid);
    return pid;
}

int TraceWriter::_thread(int pid, const std::string& name) {
    int tid = ++counts.threads;
    metadata(writer, "thread_name", pid, tid, "name", &name, 0);
    metadata(writer, "thread_sort_index", pid, tid, "sort_index", nullptr, tid);
    return tid;
}

void TraceWriter::_span(int pid, int tid, const std::string& name, double start, double end, long long value,
                        const std::string& magnitudeName, const JSONData* magnitude) {
    writer.startObject();
    writer.appendLabel("name", true);
    writer.appendString(name, false);
    writer.appendLabel("ph", true);
    writer.appendString("X", 1, true);
    writer.appendLabel("ts", true);
    writer.appendDouble((start - origin) * MICROSECONDS, TIME_PRECISION);
    writer.appendLabel("dur", true);
    writer.appendDouble(std::max(0.0, end - start) * MICROSECONDS, TIME_PRECISION);
    writer.appendLabel("pid", true);
    writer.appendInt(pid);
    writer.appendLabel("tid", true);
    writer.appendInt(tid);
    writer.appendLabel("args", true);
    writer.startObject();
    writer.appendLabel("value", true);
    writer.appendLong(value);
    if (magnitude) {
        writer.appendLabel(magnitudeName.c_str(), static_cast<int>(magnitudeName.size()), false);
        appendNumber(writer, magnitude);
    }
    writer.endObject();
    writer.endObject();
    ++counts.spans;
}

void TraceWriter::_sample(int pid, const std::string& name, const std::string& key, double time,
                          const JSONData* value) {
    writer.startObject();
    writer.appendLabel("name", true);
    writer.appendString(name, false);
    writer.appendLabel("ph", true);
    writer.appendString("C", 1, true);
    writer.appendLabel("ts", true);
    writer.appendDouble((time - origin) * MICROSECONDS, TIME_PRECISION);
    writer.appendLabel("pid", true);
    writer.appendInt(pid);
    writer.appendLabel("args", true);
    writer.startObject();
    writer.appendLabel(key.c_str(), static_cast<int>(key.size()), false);
    appendNumber(writer, value);
    writer.endObject();
    writer.endObject();
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
    DictionaryResolver::Column state = resolver.column(series.columnDictionary, 1);
    DictionaryResolver::Column key;
    if (series.hasKey) {
        key = resolver.column(series.columnDictionary, series.keyColumn());
    }
    std::string magnitudeName = "magnitude";
    if (series.hasMagnitude) {
        DictionaryResolver::Column magnitude = resolver.column(series.columnDictionary, series.magnitudeColumn());
        if (!magnitude.name.empty() && magnitude.name != "value") {
            magnitudeName = magnitude.name;
        }
    }
    // One row per subplot key (a single row without keys), each in time order.
    std::map<long long, std::vector<StatePoint>> rows;
    const JSONData* data = series.data;
    for (int i = 0; i < data->length(); ++i) {
        const JSONData* point = data->getByIndex(i);
        long long rowKey = series.hasKey ? point->getByIndex(2)->longValue() : 0;
        rows[rowKey].push_back(StatePoint{series.origin + static_cast<double>(point->getByIndex(0)->doubleValue()),
                                          point->getByIndex(1)->longValue(),
                                          series.hasMagnitude ? point->getByIndex(series.magnitudeColumn()) : nullptr});
    }
    if (rows.empty() && !series.hasKey) {
        rows[0]; // a state series without points still gets its (empty) track
    }
    auto earlier = [](const StatePoint& a, const StatePoint& b) { return a.time < b.time; };
    for (auto& row : rows) {
        std::vector<StatePoint>& points = row.second;
        if (!std::is_sorted(points.begin(), points.end(), earlier)) {
            std::stable_sort(points.begin(), points.end(), earlier);
        }
        std::string name = series.hasKey ? series.label + ": " + resolver.name(key, row.first) : series.label;
        int tid = _thread(pid, name);
        for (size_t i = 0; i < points.size(); ++i) {
            double spanEnd = i + 1 < points.size() ? points[i + 1].time : std::max(end, points[i].time);
            _span(pid, tid, resolver.name(state, points[i].state), points[i].time, spanEnd, points[i].state,
                  magnitudeName, points[i].magnitude);
        }
    }
}

void TraceWriter::_writeNumberSeries(const DictionaryResolver& resolver, const PlotSeries& series, int pid) {
    DictionaryResolver::Column value = resolver.column(series.columnDictionary, 1);
    std::string key = value.name.empty() ? "value" : value.name;
    std::string name = _counterName(pid, series.label, value.name);
    const JSONData* data = series.data;
    for (int i = 0; i < data->length(); ++i) {
        const JSONData* point = data->getByIndex(i);
        _sample(pid, name, key, series.origin + static_cast<double>(point->getByIndex(0)->doubleValue()),
                point->getByIndex(1));
    }
}

TraceWriter::Counts TraceWriter::write(std::ostream& out, const std::vector<PlotDocument>& documents) {
    double origin = 0.0;
    bool anySeries = false;
    std::map<std::string, int> perSource;
    for (const PlotDocument& document : documents) {
        ++perSource[document.source];
        for (const PlotSeries& series : document.series) {
            origin = anySeries ? std::min(origin, series.origin) : series.origin;
            anySeries = true;
        }
    }
    JsomWriter writer(&out);
    writer.startObject();
    writer.appendLabel("displayTimeUnit", true);
    writer.appendString("ms", 2, true);
    writer.appendLabel("otherData", true);
    writer.startObject();
    writer.appendLabel("timeOrigin", true);
    writer.appendDouble(origin, 6);
    writer.endObject();
    writer.appendLabel("traceEvents", true);
    writer.startArray();
    TraceWriter trace(writer, origin);
    for (size_t d = 0; d < documents.size(); ++d) {
        const PlotDocument& document = documents[d];
        DictionaryResolver resolver(document);
        // With several documents, a group's process also names the document it belongs to.
        std::string suffix;
        if (documents.size() > 1) {
            suffix = " [" + document.source;
            if (perSource[document.source] > 1) {
                suffix += " #" + std::to_string(document.indexInSource + 1);
            }
            suffix += "]";
        }
        for (const PlotSeries& series : document.series) {
            int pid =
                trace._process(static_cast<int>(d), (series.group.empty() ? "(no group)" : series.group) + suffix);
            if (series.isState) {
                trace._writeStateSeries(resolver, series, pid, document.endTime);
            } else {
                trace._writeNumberSeries(resolver, series, pid);
            }
        }
    }
    writer.end();
    return trace.counts;
}

} // namespace viewer
