#include "viewer/TraceWriter.h"

#include "kestrel/JSOM.h"

#include "ViewerTestDocuments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using kestrel::JSOM;
using viewer::PlotDataReader;
using viewer::TraceWriter;

namespace {

struct Event {
    std::string ph;
    std::string name;
    double ts;
    double dur;
    int pid;
    int tid;
    JSOM args;
};

// Writes the text's documents as a trace and reads the trace back with the project's parser.
std::vector<Event> traceOf(const std::string& text, TraceWriter::Counts& counts, std::string* json = nullptr) {
    std::ostringstream out;
    TraceWriter trace(out);
    PlotDataReader::readText(text, "two.json", trace);
    counts = trace.finish();
    if (json) {
        *json = out.str();
    }
    JSOM parsed;
    EXPECT_FALSE(parsed.fromString(out.str()).isError()) << out.str();
    JSOM events = parsed["traceEvents"];
    std::vector<Event> result;
    for (int i = 0; i < events.size(); ++i) {
        JSOM e = events[i];
        result.push_back(Event{e["ph"].stringValue(""), e["name"].stringValue(""),
                               static_cast<double>(e["ts"].doubleValue(-1)),
                               static_cast<double>(e["dur"].doubleValue(-1)), static_cast<int>(e["pid"].longValue(0)),
                               static_cast<int>(e["tid"].longValue(0)), e["args"]});
    }
    return result;
}

// The "M" name events: "process_name" by pid, "thread_name" by tid.
std::map<int, std::string> names(const std::vector<Event>& events, const char* kind) {
    std::map<int, std::string> found;
    for (const Event& e : events) {
        if (e.ph == "M" && e.name == kind) {
            found[kind[0] == 'p' ? e.pid : e.tid] = e.args["name"].stringValue("");
        }
    }
    return found;
}

} // namespace

TEST(TraceWriterTest, OneCompleteEventPerStateSpanAndOneSamplePerPoint) {
    TraceWriter::Counts counts;
    std::vector<Event> events = traceOf(VIEWER_TEST_DOCUMENT, counts);

    EXPECT_EQ((std::map<int, std::string>{{1, "CPUs"}, {2, "Tasks"}}), names(events, "process_name"));
    // Subplot keys become threads in ascending key order, named through the key column's dictionary.
    EXPECT_EQ((std::map<int, std::string>{{1, "CPU 0"}, {2, "Waits: sh"}, {3, "Waits: ls"}}),
              names(events, "thread_name"));

    std::vector<Event> spans;
    std::vector<Event> samples;
    for (const Event& e : events) {
        if (e.ph == "X" || e.ph == "C") {
            (e.ph == "X" ? spans : samples).push_back(e);
        }
    }
    ASSERT_EQ(6u, spans.size());
    EXPECT_EQ(6, counts.spans);
    ASSERT_EQ(2u, samples.size());
    EXPECT_EQ(2, counts.samples);

    // CPU 0: states named through common_pid -> common_tid; the last span lasts to the document's last point
    // (0.75 s, a number series'), times in microseconds from the series origin.
    const char* cpuNames[] = {"sh", "0", "ls"};
    const double cpuStarts[] = {0, 250000, 500000};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(1, spans[i].tid);
        EXPECT_EQ(cpuNames[i], spans[i].name);
        EXPECT_DOUBLE_EQ(cpuStarts[i], spans[i].ts);
        EXPECT_DOUBLE_EQ(250000, spans[i].dur);
    }
    EXPECT_EQ(7, spans[0].args["value"].longValue(-1));

    // Waits: key 7 has one span to the end; key 9 two, the first up to its own next point, with magnitudes.
    EXPECT_EQ(2, spans[3].tid);
    EXPECT_DOUBLE_EQ(250000, spans[3].ts);
    EXPECT_DOUBLE_EQ(500000, spans[3].dur);
    EXPECT_EQ(3, spans[4].tid);
    EXPECT_EQ("1", spans[4].name);
    EXPECT_DOUBLE_EQ(125000, spans[4].ts);
    EXPECT_DOUBLE_EQ(250000, spans[4].dur);
    EXPECT_DOUBLE_EQ(2.5, static_cast<double>(spans[4].args["delay"].doubleValue(0)));
    EXPECT_EQ(2, spans[5].args["value"].longValue(-1));
    EXPECT_DOUBLE_EQ(375000, spans[5].dur);

    EXPECT_EQ("Prio", samples[0].name);
    EXPECT_EQ(1, samples[0].pid);
    EXPECT_EQ(120, samples[0].args["next_prio"].longValue(-1));
    EXPECT_DOUBLE_EQ(750000, samples[1].ts);
}

TEST(TraceWriterTest, EndStatesAreNothingAndDocumentsKeepTheirOwnProcesses) {
    const std::string first = R"([
        {"label": "CPU 0", "group": "g", "time": 10, "type": "long", "data": [[0, 1]],
         "columnDictionary": {"type": "map", "map": {"prio": {"column": 1}}}},
        {"label": "CPU 0", "group": "g", "time": 10, "type": "long", "data": [[0, 2]],
         "columnDictionary": {"type": "map", "map": {"pid": {"column": 1}}}},
        {"label": "CPU 0", "group": "g", "time": 10, "type": "long", "data": [[0, 18446744073709551615]]},
        {"label": "t", "time": 10, "type": "state", "data": [[1, 5], [1, 6]]},
        {"label": "irq", "time": 10, "type": "state", "endState": 224,
         "data": [[0, 224], [0.5, 33], [0.500006, 224], [0.75, 34], [0.8, 224]]}])";
    const std::string second = R"([{"label": "CPU 0", "group": "g", "time": 8, "type": "long", "data": [[0.5, 4]]}])";
    TraceWriter::Counts counts;
    std::string json;
    std::vector<Event> events = traceOf(first + second, counts, &json);

    EXPECT_EQ(
        (std::map<int, std::string>{{1, "g [two.json #1]"}, {2, "(no group) [two.json #1]"}, {3, "g [two.json #2]"}}),
        names(events, "process_name"));
    std::vector<std::string> counters;
    std::vector<std::string> spans;
    for (const Event& e : events) {
        if (e.ph == "C") {
            counters.push_back(e.name + "@" + std::to_string(e.pid) + "@" + std::to_string(static_cast<long>(e.ts)));
        } else if (e.ph == "X") {
            spans.push_back(e.name + "@" + std::to_string(static_cast<long>(e.ts)) + "+" +
                            std::to_string(static_cast<long>(e.dur)));
        }
    }
    // Times count from the earliest origin of all documents (8 s).
    EXPECT_EQ(
        (std::vector<std::string>{"CPU 0@1@2000000", "CPU 0 (pid)@1@2000000", "CPU 0 #2@1@2000000", "CPU 0@3@500000"}),
        counters);
    EXPECT_NE(std::string::npos, json.find("18446744073709551615")); // written exactly
    // Two points at the same time make a span of length 0 and one to the document's end; the end state's
    // spans are nothing: only the IRQs 33 (6 us) and 34 are slices.
    EXPECT_EQ((std::vector<std::string>{"5@3000000+0", "6@3000000+0", "33@2500000+6", "34@2750000+50000"}), spans);
}
