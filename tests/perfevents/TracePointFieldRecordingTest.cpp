// Reads every trace point sample of a real recording through the readers of the sched event database and
// compares the values with an independent decoding of the same file (perf script output).

#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/TracePointFieldStore.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

using namespace perfevents;

namespace {

struct Decoded {
    uint64_t time = 0;
    int32_t type = -1;
    int64_t tid = -1;
    int64_t cpu = -1;
    int64_t commonPid = -1;
    std::map<std::string, int64_t> fields;
};

struct ScriptLine {
    uint64_t time;
    int64_t pid;
    int64_t tid;
    int64_t cpu;
    std::string event;
    std::map<std::string, int64_t> numbers; // the key=value pairs whose value is an integer
};

const std::map<std::string, std::vector<std::string>> EVENT_FIELDS = {
    {"sched:sched_switch", {"prev_pid", "prev_prio", "prev_state", "next_pid", "next_prio"}},
    {"sched:sched_wakeup", {"pid", "prio", "target_cpu"}},
    {"sched:sched_process_fork", {"parent_pid", "child_pid"}},
    {"sched:sched_process_exit", {"pid", "prio", "group_dead"}},
};

class Collector : public PerfEventDataListener {
public:
    explicit Collector(const TracePointFieldStore& store)
        : commonType(store.createNumericField("common", "common_type")),
          commonTid(store.createNumericField("common", "common_tid")),
          commonCpu(store.createNumericField("common", "common_cpu")),
          commonPid(store.createNumericField("common", "common_pid")) {
        for (const auto& event : EVENT_FIELDS) {
            int32_t id = store.getEventID(event.first.c_str());
            for (const std::string& name : event.second) {
                readers[id][name].reset(store.createNumericField(event.first.c_str(), name.c_str()));
            }
        }
    }

    void onEventData(const PerfEventData& record) override {
        if (record.getType() != PerfEventData::TYPE_SAMPLE) {
            return;
        }
        const auto& sample = static_cast<const PerfEventDataSample&>(record);
        const unsigned char* raw = sample.getRawData();
        Decoded d;
        d.time = sample.getTime();
        d.type = commonType->getInt32(sample, raw);
        d.tid = commonTid->getInt64(sample, raw);
        d.cpu = commonCpu->getInt64(sample, raw);
        d.commonPid = commonPid->getInt64(sample, raw);
        for (const auto& field : readers[d.type]) {
            if (field.second) {
                d.fields[field.first] = field.second->getInt64(sample, raw);
            }
        }
        samples.push_back(d);
    }
    void onClose() override {}

    std::unique_ptr<NumericTracePointField> commonType, commonTid, commonCpu, commonPid;
    std::map<int32_t, std::map<std::string, std::unique_ptr<NumericTracePointField>>> readers;
    std::vector<Decoded> samples;
};

std::vector<ScriptLine> readScript(const std::string& path) {
    std::vector<ScriptLine> lines;
    std::ifstream in(path);
    const std::regex lineForm(R"(^\s*.*?\s+(\d+)/(\d+)\s+\[(\d+)\]\s+(\d+)\.(\d{9}):\s+(\S+):\s(.*)$)");
    const std::regex pair(R"((\w+)=(-?\d+)(?=\s|$))");
    std::string text;
    while (std::getline(in, text)) {
        std::smatch m;
        if (!std::regex_match(text, m, lineForm)) {
            ADD_FAILURE() << "unexpected script line: " << text;
            continue;
        }
        ScriptLine line{std::stoull(m[4].str()) * 1000000000ull + std::stoull(m[5].str()),
                        std::stoll(m[1].str()),
                        std::stoll(m[2].str()),
                        std::stoll(m[3].str()),
                        m[6].str(),
                        {}};
        std::string fields = m[7].str();
        for (auto it = std::sregex_iterator(fields.begin(), fields.end(), pair); it != std::sregex_iterator(); ++it) {
            line.numbers[(*it)[1].str()] = std::stoll((*it)[2].str());
        }
        lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST(TracePointFieldRecording, SchedSamplesMatchTheIndependentDecoding) {
    TracePointFieldStore store;
    ASSERT_EQ(0, store.loadEventDatabase(PLOTWRIGHT_TEST_DATA "/eventdb/sched.json"));
    Collector collector(store);
    ASSERT_NE(nullptr, collector.commonType);
    ASSERT_NE(nullptr, collector.commonTid);
    ASSERT_NE(nullptr, collector.commonCpu);

    std::ifstream input;
    ASSERT_TRUE(PerfRecordFileReader::openPerfRecordFile(input, PLOTWRIGHT_TEST_DATA "/recordings/sched.data"));
    PerfRecordFileReader reader(input, true);
    reader.parseEvents(collector);

    std::vector<ScriptLine> script = readScript(PLOTWRIGHT_TEST_DATA "/recordings/sched.script.txt");
    ASSERT_EQ(186u, script.size());
    ASSERT_EQ(script.size(), collector.samples.size());
    // The script lists the samples in time order; the file holds them per cpu buffer.
    std::stable_sort(collector.samples.begin(), collector.samples.end(),
                     [](const Decoded& a, const Decoded& b) { return a.time < b.time; });

    std::map<std::string, int> compared;
    for (size_t i = 0; i < script.size(); ++i) {
        const ScriptLine& expected = script[i];
        const Decoded& got = collector.samples[i];
        SCOPED_TRACE("sample " + std::to_string(i) + " " + expected.event);
        ASSERT_EQ(expected.time, got.time);
        EXPECT_EQ(store.getEventID(expected.event.c_str()), got.type);
        EXPECT_EQ(expected.tid, got.tid);
        EXPECT_EQ(expected.cpu, got.cpu);
        EXPECT_EQ(expected.pid, got.commonPid);
        for (const auto& number : expected.numbers) {
            auto found = got.fields.find(number.first);
            if (found != got.fields.end()) {
                EXPECT_EQ(number.second, found->second) << number.first;
                ++compared[expected.event + "/" + number.first];
            }
        }
    }
    EXPECT_EQ(121, compared["sched:sched_switch/prev_pid"]);
    EXPECT_EQ(121, compared["sched:sched_switch/next_pid"]);
    EXPECT_EQ(121, compared["sched:sched_switch/prev_prio"]);
    EXPECT_EQ(44, compared["sched:sched_wakeup/pid"]);
    EXPECT_EQ(44, compared["sched:sched_wakeup/target_cpu"]);
    EXPECT_EQ(10, compared["sched:sched_process_fork/child_pid"]);
}
