// Plots written on the command line (--plot), converted with no configuration, channel file or event database,
// match perf's own decoding of real recordings point for point, and give the same bytes as the hand-written channel
// file with the database plotwright-eventdb writes; every mistake in a plot is one line that names the bad word.

#include "tests/app/PlotComparison.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

using namespace plottest;

namespace {

const std::string RECORDINGS = std::string(PLOTWRIGHT_TEST_DATA) + "/recordings/";

struct Plot {
    std::string text;
    std::string channel; // the same plot, written by hand
    std::string event, field, pivot;
    // Whether perf's line counts, and the pivot value of it.
    std::function<bool(const perftest::ScriptLine&)> keep;
    std::function<int64_t(const perftest::ScriptLine&)> key;
};

const std::vector<Plot> PLOTS = {
    {"sched:sched_switch.next_pid per common_tid",
     R"({"id": "plot1", "name": "sched:sched_switch.next_pid", "detail": {"type": "varnel2", "algorithm": "numberplot",
         "events": ["sched:sched_switch"], "pivotField": "common_tid", "valueField": "next_pid"}})",
     "sched:sched_switch", "next_pid", "common_tid", [](const perftest::ScriptLine&) { return true; },
     [](const perftest::ScriptLine& line) { return static_cast<int64_t>(static_cast<uint32_t>(line.tid)); }},
    {"number sched:sched_wakeup.target_cpu per pid where prio < 120 || -target_cpu ^ 2 == -1 as Woken",
     R"({"id": "plot2", "name": "Woken", "detail": {"type": "varnel2", "algorithm": "numberplot",
         "events": ["sched:sched_wakeup"], "pivotField": "pid", "pivotNames": "threads", "pivotPrefix": "Woken",
         "valueField": "target_cpu",
         "filterFormula": "$0 120 < $1 2 pow -1 * -1 == ||", "filterFields": ["prio", "target_cpu"]}})",
     "sched:sched_wakeup", "target_cpu", "pid",
     [](const perftest::ScriptLine& line) { return line.fields.at("prio") < 120 || line.fields.at("target_cpu") == 1; },
     [](const perftest::ScriptLine& line) { return line.fields.at("pid"); }},
};

class PlotOptionTest : public testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/plotoption-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(folder));
        dir = folder;
    }
    void TearDown() override { run("rm -rf " + dir); }

    std::string plotwright(const std::string& arguments, const std::string& out) {
        return run("cd " + dir + " && " + PROGRAM_PREFIX + PLOTWRIGHT_BINARY + " " + arguments + " -o " + out +
                   " >/dev/null 2>" + dir + "/err.txt");
    }

    std::string dir;
};

TEST_F(PlotOptionTest, PlotsFromTheCommandLineAreThoseOfTheChannelFileAndOfPerf) {
    const std::vector<perftest::ScriptLine> lines = perftest::readScript(RECORDINGS + "perf6/plain.script.txt");
    ASSERT_FALSE(lines.empty());
    const int64_t base = static_cast<int64_t>(lines.front().time / 1000000000);
    const std::string times = " -A 1000 -C " + std::to_string(base);
    std::string plots, channels = "[";
    for (const Plot& plot : PLOTS) {
        plots += " --plot '" + plot.text + "'";
        channels += (channels.size() > 1 ? "," : "") + plot.channel;
    }
    std::ofstream(dir + "/channels.json") << channels << "]";
    EXPECT_EQ("", run(PROGRAM_PREFIX + programPath("plotwright-eventdb") + " -o " + dir + "/events.json " + RECORDINGS +
                      "perf6/plain.data"));
    std::ofstream(dir + "/by-hand.conf") << R"({"eventDatabase": "events.json"})";

    // No configuration at all; a file, and a recording written to a pipe on standard input.
    EXPECT_EQ("", plotwright("-i " + RECORDINGS + "perf6/plain.data" + plots + times, "plots.json"));
    EXPECT_EQ("", perftest::readText(dir + "/err.txt"));
    EXPECT_EQ("", run("cd " + dir + " && cat " + RECORDINGS + "perf6/pipe.data | " + PROGRAM_PREFIX +
                      PLOTWRIGHT_BINARY + " -i -" + plots + " -o piped.json"));
    EXPECT_EQ("", plotwright("-c by-hand.conf -l channels.json -i " + RECORDINGS + "perf6/plain.data" + times,
                             "by-hand.json"));
    const std::string fromPlots = perftest::readText(dir + "/plots.json");
    ASSERT_FALSE(fromPlots.empty());
    EXPECT_EQ(perftest::readText(dir + "/by-hand.json"), fromPlots);
    EXPECT_NE("", perftest::readText(dir + "/piped.json"));

    // Android's layout: the database comes from the tracing data inside the first record of the data section.
    const perfdatawriter::Bytes android = perftest::androidRecording(31);
    std::ofstream(dir + "/android.data", std::ios::binary)
        .write(reinterpret_cast<const char*>(android.data()), static_cast<std::streamsize>(android.size()));
    EXPECT_EQ("", plotwright("-i android.data --plot 'sched:sched_switch.next_pid'", "android.json"));
    kestrel::JSOM androidOutput;
    ASSERT_FALSE(androidOutput.fromFile((dir + "/android.json").c_str()).isError());
    EXPECT_EQ(31, androidOutput[0]["data"].size());
    EXPECT_EQ(2030, androidOutput[0]["data"][30][1].longValue(-1));

    kestrel::JSOM output;
    ASSERT_FALSE(output.fromFile((dir + "/plots.json").c_str()).isError());
    for (const Plot& plot : PLOTS) {
        SCOPED_TRACE(plot.text);
        std::map<int64_t, std::vector<Point>> expected;
        for (const perftest::ScriptLine& line : lines) {
            if (line.event == plot.event && plot.keep(line)) {
                expected[plot.key(line)].emplace_back(
                    line.time, line.fields.count(plot.field) != 0 ? line.fields.at(plot.field) : -1);
            }
        }
        ASSERT_FALSE(expected.empty());
        const Plots actual = documentPlots(output, plot.pivot.c_str(), base);
        ASSERT_EQ(1u, actual.count({plot.event, plot.field}));
        EXPECT_EQ("", comparePlots(expected, actual.at({plot.event, plot.field})));
    }
}

TEST_F(PlotOptionTest, EveryMistakeInAPlotIsOneLineThatNamesIt) {
    const std::pair<const char*, const char*> mistakes[] = {
        {"sched:nothing.x", "unknown trace point \"sched:nothing\""},
        {"sched:sched_switch.nope", "field \"nope\": sched:sched_switch has no field \"nope\" in the event database"},
        {"", "no EVENT.FIELD to plot (such as sched:sched_switch.next_pid)"},
        {"sched:sched_switch",
         "expected EVENT.FIELD (such as sched:sched_switch.next_pid), found \"sched:sched_switch\""},
        {"state sched:sched_switch.next_pid where", "\"where\" needs a condition"},
        {"sched:sched_switch.next_pid per", "\"per\" needs a field"},
        {"sched:sched_switch.next_pid as", "\"as\" needs a label"},
        {"sched:sched_switch.next_pid per next_pid per prev_pid", "\"per\" is given twice"},
        {"sched:sched_switch.next_pid where (prev_pid > 0",
         "where (prev_pid > 0: expected \")\", found end of the expression"},
        {"sched:sched_switch.next_pid where prev_pid >", "where prev_pid >: a value is missing after \">\""},
        {"sched:sched_switch.next_pid where prev_pid ~ 3", "where prev_pid ~ 3: unexpected character \"~\""},
        {"sched:sched_switch.next_pid where 3x > 1", "where 3x > 1: \"3x\" is neither a number nor a name"},
        {"sched:sched_switch.next_pid where prev_pid prev_prio", "where prev_pid prev_prio: unexpected \"prev_prio\""},
        {"sched:sched_switch.next_pid where foo(1)",
         "where foo(1): unknown function \"foo\" (known: min, max, abs, ceil, floor, round)"},
        {"sched:sched_switch.next_pid where min(prev_pid) > 1",
         "where min(prev_pid) > 1: expected \",\" between the arguments of min, found \")\""},
        {"sched:sched_switch.next_pid where `end > 1", "where `end > 1: a name in backquotes is not closed: `end > 1"},
        {"sched:sched_switch.next_pid where nothing > 1",
         "where: field \"nothing\": sched:sched_switch has no field \"nothing\" in the event database"},
        {"sched:sched_switch.next_pid where prev_comm > 0",
         "where: field \"prev_comm\": field \"prev_comm\" of sched:sched_switch (char[16]) has no reader: arrays and "
         "variable-length fields cannot be read as numbers"},
        {"sched:sched_switch.prev_comm",
         "field \"prev_comm\": field \"prev_comm\" of sched:sched_switch is a text (char[16]): a number plot needs a "
         "number (a state plot shows texts: write \"state sched:sched_switch.prev_comm\")"},
        {"sched:sched_switch.next_pid end 3",
         "\"end\" applies to state plots only (write \"state sched:sched_switch.next_pid ...\")"},
        {"state sched:sched_switch.next_pid end x", "\"end\" needs a whole number, found \"x\""},
        {"sched:sched_switch.next_pid as \"Task", "a text in double quotes is not closed: \"Task"},
        {"sched:sched_switch.next_pid as two words", "\"as\" takes one word or a text in double quotes, found "
                                                     "\"words\" after \"two\""},
        {"sched:sched_switch.next_pid bogus", "unexpected \"bogus\" (expected per, where, end, as or group)"},
    };
    // Deep nesting is refused, not followed until the stack runs out.
    const std::string deep = "sched:sched_switch.next_pid where " + std::string(100, '(') + "1" + std::string(100, ')');
    for (const auto& mistake : mistakes) {
        SCOPED_TRACE(mistake.first);
        EXPECT_NE("", plotwright("-i " + RECORDINGS + "sched.data --plot '" + mistake.first + "'", "out.json"));
        EXPECT_EQ(std::string("plotwright: --plot '") + mistake.first + "': " + mistake.second + "\n",
                  perftest::readText(dir + "/err.txt"));
        EXPECT_EQ(-1, access((dir + "/out.json").c_str(), F_OK)) << "an output was written";
    }
    EXPECT_NE("", plotwright("-i " + RECORDINGS + "sched.data --plot '" + deep + "'", "out.json"));
    EXPECT_NE(std::string::npos, perftest::readText(dir + "/err.txt").find("nested too deeply"));

    // A field named like a keyword is written in backquotes; --print-channels shows the channel file a plot makes.
    EXPECT_EQ("", run("cd " + dir + " && " + PROGRAM_PREFIX + PLOTWRIGHT_BINARY + " -i " + RECORDINGS +
                      "sched.data --plot 'state sched:sched_switch.`prev_state` per prev_pid where `prev_state` " +
                      "> 0 end -1 group \"Blocked \\\"tasks\\\"\"' --print-channels >printed.json"));
    kestrel::JSOM printed;
    ASSERT_FALSE(printed.fromFile((dir + "/printed.json").c_str()).isError());
    EXPECT_EQ("plot1", printed[0]["id"].stringValue(""));
    EXPECT_EQ("Blocked \"tasks\"", printed[0]["detail"]["group"].stringValue(""));
    EXPECT_EQ(-1, printed[0]["detail"]["endState"].longValue(0));
    EXPECT_EQ("$0 0 >", printed[0]["detail"]["eventConfigs"][0]["filterFormula"].stringValue(""));
    EXPECT_EQ("prev_state", printed[0]["detail"]["eventConfigs"][0]["filterFields"][0].stringValue(""));
}

} // namespace
