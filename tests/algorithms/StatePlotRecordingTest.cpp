#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include "kestrel/JSOM.h"
#include "tests/perfevents/PerfTestFiles.h"

namespace {

struct Switch {
    double time;
    long long nextPid;
};

// Every context switch that `perf script` lists for a CPU is a point of that CPU's series, at the same time and
// with next_pid as its state; the series holds nothing else.
TEST(StatePlotRecordingTest, TaskPerCpuMatchesPerfScript) {
    const std::string data = PLOTWRIGHT_TEST_DATA;
    char folder[] = "/tmp/stateplot-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    const std::string dir = folder;
    {
        std::ofstream config(dir + "/plotwright.conf");
        config << R"({"eventDatabase": ")" << data << R"(/eventdb/sched.json", "log": {"level": "OFF"}})";
        std::ofstream channels(dir + "/channels.json");
        channels << R"([{"id": "cpu", "name": "Task per CPU", "detail": {"type": "varnel2",
            "algorithm": "stateplot", "events": ["sched:sched_switch"], "pivotField": "common_cpu",
            "eventConfigs": [{"eventIndex": 0, "stateField": "next_pid"}]}}])";
    }
    // PLOTWRIGHT_EMULATOR runs the program in a cross build; it is empty otherwise.
    const std::string command = std::string(PLOTWRIGHT_EMULATOR) + " " + PLOTWRIGHT_BINARY + " -c " + dir +
                                "/plotwright.conf -i " + data + "/recordings/sched.data -l " + dir +
                                "/channels.json -o " + dir + "/out.json";
    ASSERT_EQ(0, std::system(command.c_str()));

    kestrel::JSOM output;
    const bool loaded = !output.fromFile((dir + "/out.json").c_str()).isError();
    for (const char* name : {"/plotwright.conf", "/channels.json", "/out.json"}) {
        unlink((dir + name).c_str());
    }
    rmdir(folder);
    ASSERT_TRUE(loaded);

    std::map<long long, std::vector<Switch>> expected;
    for (const perftest::ScriptLine& line : perftest::readScript(data + "/recordings/sched.script.txt")) {
        if (line.event == "sched:sched_switch") {
            expected[line.cpu].push_back({static_cast<double>(line.time) * 1e-9, line.fields.at("next_pid")});
        }
    }
    ASSERT_EQ(2u, expected.size());
    size_t seriesCount = 0;
    for (int i = 0; i < output.size(); ++i) {
        kestrel::JSOM series = output[i];
        if (!series["pivot"].isObject()) {
            continue;
        }
        ++seriesCount;
        long long cpu = series["pivot"]["common_cpu"].longValue(-1);
        ASSERT_EQ(1u, expected.count(cpu)) << cpu;
        const std::vector<Switch>& switches = expected[cpu];
        kestrel::JSOM points = series["data"];
        ASSERT_EQ(static_cast<int>(switches.size()), points.size()) << "cpu " << cpu;
        const double origin = static_cast<double>(series["time"].doubleValue(0));
        for (int p = 0; p < points.size(); ++p) {
            // Times are written with six decimals, the origin as well: allow for both roundings.
            const double time = origin + static_cast<double>(points[p][0].doubleValue(0));
            EXPECT_NEAR(switches[p].time, time, 1.5e-6) << "cpu " << cpu << " point " << p;
            EXPECT_EQ(switches[p].nextPid, points[p][1].longValue(-1)) << "cpu " << cpu << " point " << p;
        }
    }
    EXPECT_EQ(2u, seriesCount);
}

} // namespace
