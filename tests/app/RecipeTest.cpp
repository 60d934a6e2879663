// The recipes on real recordings of the scheduler, IRQs, block I/O and power: `plotwright -i REC` with no other file
// gives each recipe's plots, and every point is the one perf's own listing of the recording gives (time, CPU, thread,
// value), named as perf names it (threads, states, texts, devices). The thread-state timeline agrees with
// `perf sched timehist`: per thread, the time Running is its run time and the time Runnable its scheduling delay.

#include "tests/app/PlotComparison.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <unistd.h>
#include <vector>

using namespace plottest;

namespace {

const std::string RECORDINGS = std::string(PLOTWRIGHT_TEST_DATA) + "/recordings/subsystems/";

// One plotted point with its value named: the state's name, the text's, or the number in decimal.
using Named = std::tuple<int64_t, std::string>;               // absolute time in ns, name
using NamedPlots = std::map<std::string, std::vector<Named>>; // series label -> points

// The output of a conversion with the recipes, read back.
class Conversion {
public:
    Conversion(const std::string& recording, int64_t base) {
        char folder[] = "/tmp/recipe-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(folder));
        dir = folder;
        EXPECT_EQ("", run("cd " + dir + " && " + PROGRAM_PREFIX + PLOTWRIGHT_BINARY + " --strict -i " + recording +
                          " -A 1000 -C " + std::to_string(base) + " -o out.json 2>err.txt"))
            << perftest::readText(dir + "/err.txt");
        EXPECT_FALSE(output.fromFile((dir + "/out.json").c_str()).isError());
        this->base = base;
        for (int i = 0; i < output.size(); ++i) {
            kestrel::JSOM section = output[i];
            if (section["type"].stringValue("") != "dictionaries") {
                continue;
            }
            const std::string scope = section["scope"].stringValue("");
            kestrel::JSOM all = section["dictionaries"];
            for (int d = 0; d < all.size(); ++d) {
                const std::string name = *all.key(d);
                kestrel::JSOM map = all[name]["map"];
                for (int e = 0; e < map.size(); ++e) {
                    dictionaries[{scope, name}][*map.key(e)] = map[*map.key(e)]["label"].stringValue("");
                }
            }
        }
    }
    ~Conversion() { run("rm -rf " + dir); }

    // The series of a recipe's channel, told by its group and the trace points its "info" lists.
    std::vector<kestrel::JSOM> series(const std::string& group, const std::string& events) const {
        std::vector<kestrel::JSOM> found;
        for (int i = 0; i < output.size(); ++i) {
            kestrel::JSOM series = output[i];
            kestrel::JSOM info = series["info"];
            const std::string listed = info["Trace Events"].isString() ? info["Trace Events"].stringValue("")
                                                                       : info["Trace Event"].stringValue("");
            if (series["group"].stringValue("") == group && listed == events) {
                found.push_back(series);
            }
        }
        return found;
    }

    // The points of the series, by label, their values named through the state column's dictionary.
    NamedPlots named(const std::vector<kestrel::JSOM>& list) const {
        NamedPlots plots;
        for (const kestrel::JSOM& series : list) {
            kestrel::JSOM reference = series["columnDictionary"]["map"][0]["dataDictionary"];
            kestrel::JSOM columns = series["columnDictionary"]["map"];
            std::string dictionary;
            for (int c = 0; c < columns.size(); ++c) {
                if (columns[*columns.key(c)]["column"].longValue(0) == 1) {
                    dictionary = columns[*columns.key(c)]["dataDictionary"]["dictionary"].stringValue("");
                }
            }
            const int64_t origin = std::llround(series["time"].doubleValue(-1) * 1e6);
            kestrel::JSOM data = series["data"];
            auto& points = plots[series["label"].stringValue("")];
            for (int p = 0; p < data.size(); ++p) {
                const std::string value = std::to_string(data[p][1].longValue(0));
                auto names = dictionaries.find({"plotwright", dictionary});
                const bool known = names != dictionaries.end() && names->second.count(value) != 0;
                points.emplace_back(base * 1000000000 + origin + std::llround(data[p][0].doubleValue(0) * 1e6),
                                    known ? names->second.at(value) : value);
            }
        }
        return plots;
    }

    // A thread's name in the thread dictionary.
    std::string thread(int64_t tid) const {
        auto names = dictionaries.find({"", "common_tid"});
        if (names == dictionaries.end() || names->second.count(std::to_string(tid)) == 0) {
            return std::string();
        }
        return names->second.at(std::to_string(tid));
    }

private:
    std::string dir;
    int64_t base = 0;
    kestrel::JSOM output;
    std::map<std::pair<std::string, std::string>, std::map<std::string, std::string>> dictionaries;
};

// The listing and the whole second its times count from.
struct Listing {
    explicit Listing(const std::string& name) : lines(perftest::readScript(RECORDINGS + name + ".script.txt")) {
        EXPECT_FALSE(lines.empty()) << name;
        base = lines.empty() ? 0 : static_cast<int64_t>(lines.front().time / 1000000000);
    }
    std::vector<perftest::ScriptLine> lines;
    int64_t base;
};

// A text member of a trace line ("name=virtio1-req.0", "prev_state=R+").
std::string member(const perftest::ScriptLine& line, const std::string& key) {
    std::smatch match;
    const std::regex pattern("(^|\\s)" + key + "=(\\S+)");
    return std::regex_search(line.trace, match, pattern) ? match[2].str() : std::string();
}

// What the thread-state recipe shows a thread leaving a CPU in, from perf's letters (see the notes on kernel values).
std::string leavingState(const std::string& letters) {
    static const std::map<std::string, std::string> names = {{"R", "Runnable (preempted)"},
                                                             {"R+", "Runnable (preempted)"},
                                                             {"S", "Sleeping"},
                                                             {"D", "Uninterruptible"},
                                                             {"T", "Stopped"},
                                                             {"t", "Traced"},
                                                             {"X", "-1"},
                                                             {"Z", "-1"},
                                                             {"P", "Parked"},
                                                             {"I", "Idle"}};
    return names.count(letters) != 0 ? names.at(letters) : letters;
}

// Compares named plots: each label's points in time order; returns the first differences.
std::string compare(const NamedPlots& expected, const NamedPlots& actual) {
    std::string problems;
    std::set<std::string> labels;
    for (const auto& plot : expected)
        labels.insert(plot.first);
    for (const auto& plot : actual)
        labels.insert(plot.first);
    for (const std::string& label : labels) {
        std::vector<Named> want = expected.count(label) ? expected.at(label) : std::vector<Named>();
        std::vector<Named> got = actual.count(label) ? actual.at(label) : std::vector<Named>();
        std::sort(want.begin(), want.end());
        std::sort(got.begin(), got.end());
        if (want == got)
            continue;
        const auto differ = std::mismatch(want.begin(), want.end(), got.begin(), got.end());
        problems += "\n  " + label + ": perf " + std::to_string(want.size()) + " points, converted " +
                    std::to_string(got.size());
        if (differ.first != want.end())
            problems += "; perf has " + std::to_string(std::get<0>(*differ.first)) + " " + std::get<1>(*differ.first);
        if (differ.second != got.end())
            problems +=
                "; converted " + std::to_string(std::get<0>(*differ.second)) + " " + std::get<1>(*differ.second);
    }
    return problems;
}

// The points perf's listing gives a channel: for each line of the trace points, the series label and the value.
NamedPlots fromListing(const Listing& listing,
                       const std::function<void(const perftest::ScriptLine&, NamedPlots&)>& add) {
    NamedPlots plots;
    for (const perftest::ScriptLine& line : listing.lines)
        add(line, plots);
    return plots;
}

std::string cpu(int64_t number) {
    return "CPU " + std::to_string(number);
}

} // namespace

TEST(RecipeTest, SchedulerRecipeAsPerfDecodesIt) {
    for (const char* name : {"sched", "sched-waking"}) {
        SCOPED_TRACE(name);
        const Listing listing(name);
        const Conversion converted(RECORDINGS + name + ".data", listing.base);

        // Thread names: every thread perf names in its listing has the name of its last sample there, forked
        // threads that never ran exec included.
        std::map<int64_t, std::string> lastName;
        for (const perftest::ScriptLine& line : listing.lines)
            if (line.tid > 0)
                lastName[line.tid] = line.comm;
        std::size_t named = 0;
        for (const auto& thread : lastName) {
            EXPECT_EQ(thread.second.substr(0, 15), converted.thread(thread.first)) << "thread " << thread.first;
            named += !converted.thread(thread.first).empty();
        }
        EXPECT_GT(named, 5u);
        auto threadLabel = [&converted](int64_t tid) {
            const std::string name = converted.thread(tid);
            return name.empty() ? std::to_string(tid) : name;
        };

        // The task on each CPU, named by the thread dictionary; the idle task is named so.
        const NamedPlots cpuTask = fromListing(listing, [](const perftest::ScriptLine& line, NamedPlots& plots) {
            if (line.event == "sched:sched_switch")
                plots[cpu(line.cpu)].emplace_back(line.time, line.fields.at("next_pid") == 0
                                                                 ? std::string("idle task")
                                                                 : std::to_string(line.fields.at("next_pid")));
        });
        EXPECT_EQ("", compare(cpuTask, converted.named(converted.series("Scheduler", "sched:sched_switch"))));

        // Thread states: a switch ends the state of the thread leaving (the state it leaves in) and starts the
        // thread switched to Running; a wakeup makes a thread Runnable; thread 0 is left out.
        const NamedPlots states = fromListing(listing, [&](const perftest::ScriptLine& line, NamedPlots& plots) {
            if (line.event == "sched:sched_switch") {
                if (line.fields.at("prev_pid") != 0)
                    plots[threadLabel(line.fields.at("prev_pid"))].emplace_back(
                        line.time, leavingState(member(line, "prev_state")));
                if (line.fields.at("next_pid") != 0)
                    plots[threadLabel(line.fields.at("next_pid"))].emplace_back(line.time, "Running");
            } else if ((line.event == "sched:sched_wakeup" || line.event == "sched:sched_waking" ||
                        line.event == "sched:sched_wakeup_new") &&
                       line.fields.at("pid") != 0) {
                plots[threadLabel(line.fields.at("pid"))].emplace_back(line.time, "Runnable");
            }
        });
        const std::string events = "sched:sched_switch, sched:sched_wakeup, sched:sched_waking, sched:sched_wakeup_new";
        EXPECT_EQ("", compare(states, converted.named(converted.series("Threads", events))));

        // The CPU each woken thread is sent to.
        for (const char* wakeup : {"sched:sched_wakeup", "sched:sched_waking"}) {
            const NamedPlots cpus = fromListing(listing, [&](const perftest::ScriptLine& line, NamedPlots& plots) {
                if (line.event == wakeup)
                    plots[threadLabel(line.fields.at("pid"))].emplace_back(
                        line.time, std::to_string(line.fields.at("target_cpu")));
            });
            EXPECT_EQ("", compare(cpus, converted.named(converted.series("Wakeups", wakeup)))) << wakeup;
        }
    }
}

TEST(RecipeTest, AnOlderKernelsPreemptionFlagIsNamedToo) {
    // A trace.dat of an older ARM kernel, which flags a preempted task with 4096 where recent kernels use 256:
    // every thread state still has a name, and preempted tasks are Runnable (preempted).
    const Conversion older(std::string(PLOTWRIGHT_TEST_DATA) + "/tracedat/armirq.dat", 1464);
    std::map<std::string, int> names;
    for (const auto& thread : older.named(older.series(
             "Threads", "sched:sched_switch, sched:sched_wakeup, sched:sched_waking, sched:sched_wakeup_new"))) {
        for (const Named& point : thread.second) {
            ++names[std::get<1>(point)];
        }
    }
    EXPECT_GT(names["Runnable (preempted)"], 0);
    EXPECT_GT(names["Running"], 0);
    for (const auto& name : names) {
        EXPECT_TRUE(name.first == "-1" || !std::isdigit(static_cast<unsigned char>(name.first[0]))) << name.first;
    }
}

TEST(RecipeTest, ThreadStatesAgreeWithPerfSchedTimehist) {
    const Listing listing("schedrecord");
    const Conversion converted(RECORDINGS + "schedrecord.data", listing.base);
    // perf sched timehist: one line per switch away from a task, with its wait time (off the CPU until woken or, when
    // preempted, until switched to again), scheduling delay (from the wakeup) and run time in milliseconds to the
    // microsecond; the totals per thread.
    std::map<int64_t, double> runTime, delay, offCpu;
    std::map<int64_t, int> switches;
    std::ifstream timehist(RECORDINGS + "schedrecord.timehist.txt");
    const std::regex row(R"(^\s*\d+\.\d+\s+\[\d+\]\s+.*\[(\d+)\]\s+([\d.]+)\s+([\d.]+)\s+([\d.]+)\s*$)");
    for (std::string text; std::getline(timehist, text);) {
        std::smatch match;
        if (std::regex_match(text, match, row)) {
            const int64_t tid = std::stoll(match[1].str());
            delay[tid] += std::stod(match[3].str());
            offCpu[tid] += std::stod(match[2].str());
            runTime[tid] += std::stod(match[4].str());
            ++switches[tid];
        }
    }
    ASSERT_GT(switches.size(), 20u);

    // perf counts a thread's run from the CPU's previous switch, whoever it switched to: where the recording lacks a
    // switch to the thread (perf loses events on this machine's idle CPUs), the two tell different stories. The
    // threads compared are those whose every switch away follows the CPU's switch to them, and that no wakeup finds
    // running.
    std::map<int64_t, bool> complete;
    std::map<int64_t, int64_t> cpuRunning;
    std::map<int64_t, bool> running;
    for (const perftest::ScriptLine& line : listing.lines) {
        if (line.event == "sched:sched_switch") {
            const int64_t prev = line.fields.at("prev_pid"), next = line.fields.at("next_pid");
            const bool seen = cpuRunning.count(line.cpu) != 0 && cpuRunning[line.cpu] == prev;
            complete[prev] = (complete.count(prev) == 0 || complete[prev]) && seen;
            cpuRunning[line.cpu] = next;
            running[prev] = false;
            running[next] = true;
        } else if (line.event == "sched:sched_waking" && running[line.fields.at("pid")]) {
            complete[line.fields.at("pid")] = false;
        }
    }

    // The converted timeline's time in each state, in ms, counting the spans that a later point of the thread ends.
    const std::string events = "sched:sched_switch, sched:sched_wakeup, sched:sched_waking, sched:sched_wakeup_new";
    const std::vector<kestrel::JSOM> series = converted.series("Threads", events);
    ASSERT_FALSE(series.empty());
    std::size_t compared = 0;
    for (const kestrel::JSOM& thread : series) {
        const int64_t tid = thread["pivot"]["prev_pid"].longValue(-1);
        if (switches.count(tid) == 0 || !complete[tid])
            continue;
        double running = 0, runnable = 0, off = 0, waiting = 0;
        bool ranBefore = false;
        kestrel::JSOM data = thread["data"];
        for (int p = 0; p + 1 < data.size(); ++p) {
            const double span = data[p + 1][0].doubleValue(0) - data[p][0].doubleValue(0); // in ms after -A 1000
            const long long state = data[p][1].longValue(-1);
            running += state == 512 ? span : 0;
            runnable += state == 0 ? span : 0;
            // perf counts the wait of a thread when it runs again, and none before it first runs.
            ranBefore = ranBefore || state == 512;
            waiting += state != 512 && ranBefore ? span : 0;
            if (data[p + 1][1].longValue(-1) == 512) {
                off += waiting;
                waiting = 0;
            }
        }
        // Within 1 us per switch, and the 1 us to which timehist rounds each line.
        const double tolerance = 0.002 * switches[tid];
        EXPECT_NEAR(runTime[tid], running, tolerance) << "run time of thread " << tid;
        EXPECT_NEAR(offCpu[tid], off, tolerance) << "time off the CPU of thread " << tid;
        EXPECT_NEAR(delay[tid], runnable, tolerance) << "scheduling delay of thread " << tid;
        ++compared;
    }
    EXPECT_GT(compared, 15u);
}

TEST(RecipeTest, IrqBlockAndPowerRecipesAsPerfDecodesThem) {
    {
        const Listing listing("irq");
        const Conversion converted(RECORDINGS + "irq.data", listing.base);
        // The hard IRQ on each CPU, named by its handler; the softirq, named by its vector as perf names it.
        const NamedPlots hard = fromListing(listing, [](const perftest::ScriptLine& line, NamedPlots& plots) {
            if (line.event == "irq:irq_handler_entry")
                plots[cpu(line.cpu)].emplace_back(line.time, member(line, "name"));
            else if (line.event == "irq:irq_handler_exit")
                plots[cpu(line.cpu)].emplace_back(line.time, "-1");
        });
        ASSERT_FALSE(hard.empty());
        EXPECT_EQ("", compare(hard, converted.named(
                                        converted.series("Hard IRQs", "irq:irq_handler_entry, irq:irq_handler_exit"))));
        const NamedPlots soft = fromListing(listing, [](const perftest::ScriptLine& line, NamedPlots& plots) {
            const std::string action = line.trace.substr(line.trace.find("action=") + 7);
            if (line.event == "irq:softirq_entry")
                plots[cpu(line.cpu)].emplace_back(line.time, action.substr(0, action.find(']')));
            else if (line.event == "irq:softirq_exit")
                plots[cpu(line.cpu)].emplace_back(line.time, "-1");
        });
        EXPECT_EQ("",
                  compare(soft, converted.named(converted.series("Softirqs", "irq:softirq_entry, irq:softirq_exit"))));
    }
    {
        // The size of each request issued, per device, labelled major:minor as perf prints it ("254,0").
        const Listing listing("block");
        const Conversion converted(RECORDINGS + "block.data", listing.base);
        const NamedPlots sizes = fromListing(listing, [](const perftest::ScriptLine& line, NamedPlots& plots) {
            if (line.event != "block:block_rq_issue")
                return;
            std::istringstream words(line.trace);
            std::string device, flags, bytes;
            words >> device >> flags >> bytes;
            device[device.find(',')] = ':';
            plots["device " + device].emplace_back(line.time, bytes);
        });
        ASSERT_FALSE(sizes.empty());
        EXPECT_EQ("", compare(sizes, converted.named(converted.series("Block I/O", "block:block_rq_issue"))));
    }
    {
        // The idle state of each CPU; the exit value 4294967295 is -1, the end state: no span.
        const Listing listing("power");
        const Conversion converted(RECORDINGS + "power.data", listing.base);
        const NamedPlots idle = fromListing(listing, [](const perftest::ScriptLine& line, NamedPlots& plots) {
            if (line.event == "power:cpu_idle")
                plots[cpu(line.fields.at("cpu_id"))].emplace_back(
                    line.time, std::to_string(static_cast<int32_t>(line.fields.at("state"))));
        });
        ASSERT_FALSE(idle.empty());
        EXPECT_EQ("", compare(idle, converted.named(converted.series("CPU idle states", "power:cpu_idle"))));
    }
}
