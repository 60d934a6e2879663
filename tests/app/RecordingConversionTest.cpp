// Real recordings made in every way perf 6 writes trace points (compressed, piped, mixed events, per-event call
// graphs, read values, out of time order, cut short, killed) are converted by the program, and every trace point
// sample must come out as perf script decodes it: its time to the nanosecond, cpu, pid, tid and a plotted field.

#include "kestrel/JSOM.h"
#include "tests/app/PlotComparison.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using namespace plottest;

const std::string RECORDINGS = std::string(PLOTWRIGHT_TEST_DATA) + "/recordings/perf6/";
const std::string SWITCH = "sched:sched_switch", WAKEUP = "sched:sched_wakeup";

// The plotted field of each trace point; every trace point also gets a channel of its cpu and one of its pid, all
// pivoted by thread id.
const std::map<std::string, std::string> PLOTTED = {{SWITCH, "next_pid"}, {WAKEUP, "pid"}};
const char* const CPU = "common_cpu";
const char* const PID = "common_tgid"; // an ancillary field added to the database: the sample's process id

struct Case {
    std::string name;
    std::string input;               // the recording; "|" before it: piped to the program's standard input
    std::string listing;             // perf script's decoding of it
    std::vector<std::string> events; // the trace points whose samples the file holds
    bool cutShort;                   // the program must say that data is missing
};

const std::vector<Case> CASES = {
    {"plain", "plain.data", "plain", {SWITCH, WAKEUP}, false},
    {"zstd-compressed", "compressed.data", "compressed", {SWITCH, WAKEUP}, false},
    {"pipe mode from a file", "pipe.data", "pipe", {SWITCH, WAKEUP}, false},
    {"pipe mode from standard input", "|pipe.data", "pipe", {SWITCH, WAKEUP}, false},
    {"counter listed first", "mixed.data", "mixed", {SWITCH}, false},
    {"call graph on one event", "callgraph.data", "callgraph", {SWITCH, WAKEUP}, false},
    {"read value", "readone.data", "readone", {SWITCH}, false},
    // The group's member is only read: perf script lists its counts as samples made of the leader's raw data.
    {"read group", "readgroup.data", "readgroup", {SWITCH}, false},
    {"out of time order", "order.data", "order", {SWITCH, WAKEUP}, false},
    {"killed: data size 0", "killed.data", "killed", {SWITCH, WAKEUP}, false},
    {"cut inside a sample", "", "plain-cut", {SWITCH, WAKEUP}, true}, // plain.data cut in the set-up
};

// Where plain.data is cut for the cut-short case: inside a sample record, half of the samples before it.
const std::size_t CUT_AT = 47524;

class RecordingConversionTest : public testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/recconv-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(folder));
        dir = folder;
        std::string database = perftest::readText(RECORDINGS + "events.json");
        const std::string cpu = "\"common_cpu\":";
        ASSERT_NE(std::string::npos, database.find(cpu));
        database.insert(database.find(cpu), "\"" + std::string(PID) + "\":{\"type\":\"__ancillary_pid\"},");
        std::ofstream(dir + "/events.json") << database;
        std::ofstream(dir + "/plotwright.conf")
            << R"({"eventDatabase": ")" << dir << R"(/events.json", "log": {"default": "WARN"}})";
        std::ofstream channels(dir + "/channels.json");
        channels << "[";
        const char* separator = "";
        for (const auto& plotted : PLOTTED) {
            for (const std::string& field : {std::string(CPU), std::string(PID), plotted.second}) {
                channels << separator << R"({"id": ")" << plotted.first << ":" << field
                         << R"(", "detail": {"type": "varnel2", "algorithm": "numberplot", "events": [")"
                         << plotted.first << R"("], "valueField": ")" << field << R"(", "pivotField": "common_tid"}})";
                separator = ",";
            }
        }
        channels << "]";
        const perfdatawriter::Bytes plain = perftest::readFile(RECORDINGS + "plain.data");
        ASSERT_GT(plain.size(), CUT_AT);
        std::ofstream(dir + "/cut.data", std::ios::binary)
            .write(reinterpret_cast<const char*>(plain.data()), static_cast<std::streamsize>(CUT_AT));
    }
    void TearDown() override { run("rm -rf " + dir); }

    // Converts with clock times in milliseconds since the whole second `base`, so that the six decimals of the
    // output keep every nanosecond. Returns the plots by trace point, field and thread; the log goes to log.
    Plots convert(const Case& c, int64_t base, int64_t& origin, std::string& log) {
        const bool piped = !c.input.empty() && c.input[0] == '|';
        const std::string input = c.input.empty() ? dir + "/cut.data" : RECORDINGS + c.input.substr(piped);
        EXPECT_EQ("", run((piped ? "cat " + input + " | " : "") + PROGRAM_PREFIX + PLOTWRIGHT_BINARY + " -c " + dir +
                          "/plotwright.conf -l " + dir + "/channels.json -o " + dir + "/out.json -A 1000 -C " +
                          std::to_string(base) + " -i " + (piped ? "-" : input) + " >" + dir + "/log.txt 2>&1"));
        log = perftest::readText(dir + "/log.txt");
        kestrel::JSOM output;
        EXPECT_FALSE(output.fromFile((dir + "/out.json").c_str()).isError()) << log;
        Plots plots;
        origin = -1;
        std::size_t early = 0;
        for (int i = 0; i < output.size(); ++i) {
            kestrel::JSOM series = output[i];
            if (!series["pivot"].isObject())
                continue;
            const int64_t seriesOrigin = std::llround(series["time"].doubleValue(-1) * 1e6);
            EXPECT_TRUE(origin == -1 || origin == seriesOrigin) << "series with different clock origins";
            origin = seriesOrigin;
            auto& points =
                plots[{series["info"]["Trace Event"].stringValue(""), series["info"]["Trace Field"].stringValue("")}]
                     [series["pivot"]["common_tid"].longValue(-1)];
            kestrel::JSOM data = series["data"];
            for (int p = 0; p < data.size(); ++p) {
                const int64_t time = std::llround(data[p][0].doubleValue(0) * 1e6);
                early += time < 0;
                points.emplace_back(base * 1000000000 + seriesOrigin + time, data[p][1].longValue(-1));
            }
        }
        EXPECT_EQ(0u, early) << "points before the clock origin";
        return plots;
    }

    std::string dir;
};

// The samples perf script lists, as the channels must plot them.
Plots expectedPlots(const std::vector<perftest::ScriptLine>& lines, const std::vector<std::string>& events) {
    Plots plots;
    for (const perftest::ScriptLine& line : lines) {
        if (std::find(events.begin(), events.end(), line.event) == events.end())
            continue;
        // Thread and process ids are unsigned 32-bit values in the sample; perf prints them signed.
        const int64_t tid = static_cast<uint32_t>(line.tid);
        const int64_t time = static_cast<int64_t>(line.time);
        plots[{line.event, CPU}][tid].emplace_back(time, line.cpu);
        plots[{line.event, PID}][tid].emplace_back(time, static_cast<uint32_t>(line.pid));
        const std::string& field = PLOTTED.at(line.event);
        plots[{line.event, field}][tid].emplace_back(time, line.fields.at(field));
    }
    return plots;
}

// The WARN messages of a log, without the time and the object addresses.
std::set<std::string> warnings(const std::string& log) {
    std::set<std::string> found;
    std::istringstream lines(log);
    const std::regex address("0x[0-9a-f]+ ");
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find(" WARN ");
        if (at != std::string::npos)
            found.insert(std::regex_replace(line.substr(at), address, ""));
    }
    return found;
}

TEST_F(RecordingConversionTest, EveryTracePointSampleAsPerfScriptDecodesIt) {
    std::set<std::string> plainWarnings;
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        const std::vector<perftest::ScriptLine> lines = perftest::readScript(RECORDINGS + c.listing + ".script.txt");
        ASSERT_FALSE(lines.empty());
        uint64_t earliest = lines.front().time, earliestTracePoint = UINT64_MAX;
        for (const perftest::ScriptLine& line : lines) {
            earliest = std::min(earliest, line.time);
            if (std::find(c.events.begin(), c.events.end(), line.event) != c.events.end())
                earliestTracePoint = std::min(earliestTracePoint, line.time);
        }
        const int64_t base = static_cast<int64_t>(earliest / 1000000000);

        int64_t origin = 0;
        std::string log;
        const Plots actual = convert(c, base, origin, log);
        const Plots expected = expectedPlots(lines, c.events);
        ASSERT_EQ(3 * c.events.size(), expected.size());
        std::string problems;
        for (const auto& plot : expected) {
            const std::string problem =
                comparePlots(plot.second, actual.count(plot.first) ? actual.at(plot.first) : Plots::mapped_type());
            if (!problem.empty())
                problems += "\n" + plot.first.first + " " + plot.first.second + ": " + problem;
        }
        for (const auto& plot : actual) {
            if (!expected.count(plot.first))
                problems += "\n" + plot.first.first + " " + plot.first.second + " has points";
        }
        if (!problems.empty())
            ADD_FAILURE() << c.name << ":" << problems;

        // Times count from the earliest sample, whichever comes first in the file.
        const int64_t absoluteOrigin = base * 1000000000 + origin;
        if (origin != -1) {
            EXPECT_LE(static_cast<int64_t>(earliest), absoluteOrigin);
            EXPECT_GE(static_cast<int64_t>(earliestTracePoint), absoluteOrigin);
        }

        // No error; the cut recording says what the whole one does not.
        EXPECT_EQ(std::string::npos, log.find(" ERROR ")) << log;
        if (c.name == "plain")
            plainWarnings = warnings(log);
        if (c.cutShort) {
            const std::set<std::string> cut = warnings(log);
            EXPECT_FALSE(std::includes(plainWarnings.begin(), plainWarnings.end(), cut.begin(), cut.end()))
                << "the cut is not reported: " << log;
        }
    }
}

// The out-of-order recording is one: perf's dump of its samples in file order has samples later in the file and
// earlier in time than others, some even earlier than the file's first sample, and they are the samples listed.
TEST(RecordingOrderTest, SamplesOutOfTimeOrderInTheFile) {
    std::ifstream dump(RECORDINGS + "order.fileorder.txt");
    std::vector<uint64_t> times;
    uint64_t latest = 0, offset = 0, cpu = 0, time = 0;
    std::size_t late = 0, beforeFirst = 0;
    while (dump >> offset >> cpu >> time) {
        late += time < latest;
        beforeFirst += !times.empty() && time < times.front();
        latest = std::max(latest, time);
        times.push_back(time);
    }
    EXPECT_EQ(95u, times.size());
    EXPECT_EQ(53u, late);
    EXPECT_EQ(12u, beforeFirst);
    std::vector<uint64_t> listed;
    for (const perftest::ScriptLine& line : perftest::readScript(RECORDINGS + "order.script.txt"))
        listed.push_back(line.time);
    std::sort(times.begin(), times.end());
    EXPECT_EQ(listed, times);
}

// plotwright-eventdb reads the trace point formats from compressed and pipe-mode recordings, also from standard
// input, and finds what it finds in a plain one.
TEST(RecordingEventDatabaseTest, FormatsOfEveryWayOfRecording) {
    const std::string binary = PLOTWRIGHT_BINARY;
    const std::string eventdb = PROGRAM_PREFIX + binary.substr(0, binary.rfind('/')) + "/plotwright-eventdb";
    const std::string expected = perftest::readText(RECORDINGS + "events.json");
    ASSERT_FALSE(expected.empty());
    const std::string out = testing::TempDir() + std::to_string(getpid()) + "-events.json";
    for (const char* name :
         {"plain.data", "compressed.data", "pipe.data", "callgraph.data", "readgroup.data", "|pipe.data"}) {
        const std::string source = name;
        SCOPED_TRACE(source);
        const std::string command =
            source[0] == '|' ? "cat " + source.substr(1) + " | " + eventdb + " -" : eventdb + " " + source;
        EXPECT_EQ("", run("cd " + RECORDINGS + " && " + command + " >" + out + " 2>&1"));
        EXPECT_EQ(expected, perftest::readText(out));
    }
    std::remove(out.c_str());
}

} // namespace
