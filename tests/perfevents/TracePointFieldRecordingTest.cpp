// Reads every trace point sample of a real recording through the readers of the sched event database and
// compares the values with an independent decoding of the same file (perf script output).

#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/TracePointFieldStore.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace perfevents;

namespace {

// One sample: time, pid, tid, cpu and the integer fields by name.
struct Sample {
    uint64_t time = 0;
    int64_t pid = 0, tid = 0, cpu = 0;
    std::string event;
    std::map<std::string, int64_t> fields;
};

using Reader = std::unique_ptr<NumericTracePointField>;

class Collector : public PerfEventDataListener {
public:
    explicit Collector(const TracePointFieldStore& store) : store(store) {
        type.reset(store.createNumericField("common", "common_type"));
        tid.reset(store.createNumericField("common", "common_tid"));
        cpu.reset(store.createNumericField("common", "common_cpu"));
        pid.reset(store.createNumericField("common", "common_pid"));
        add("sched:sched_switch", {"prev_pid", "prev_prio", "next_pid", "next_prio"});
        add("sched:sched_wakeup", {"pid", "prio", "target_cpu"});
        add("sched:sched_process_fork", {"child_pid"});
        add("sched:sched_process_exit", {"pid", "prio"});
    }

    void add(const char* event, std::vector<std::string> names) {
        names_[store.getEventID(event)] = event;
        for (const std::string& name : names) {
            Reader& reader = readers[store.getEventID(event)][name];
            reader.reset(store.createNumericField(event, name.c_str()));
            EXPECT_NE(nullptr, reader) << name;
        }
    }

    void onEventData(const PerfEventData& record) override {
        if (record.getType() != PerfEventData::TYPE_SAMPLE) {
            return;
        }
        const auto& sample = static_cast<const PerfEventDataSample&>(record);
        const unsigned char* raw = sample.getRawData();
        Sample s;
        s.time = sample.getTime();
        int32_t id = type->getInt32(sample, raw);
        s.event = names_.count(id) ? names_[id] : std::to_string(id);
        s.pid = pid->getInt64(sample, raw);
        s.tid = tid->getInt64(sample, raw);
        s.cpu = cpu->getInt64(sample, raw);
        for (const auto& field : readers[id]) {
            s.fields[field.first] = field.second->getInt64(sample, raw);
        }
        samples.push_back(s);
    }
    void onClose() override {}

    const TracePointFieldStore& store;
    Reader type, tid, cpu, pid;
    std::map<int32_t, std::string> names_;
    std::map<int32_t, std::map<std::string, Reader>> readers;
    std::vector<Sample> samples;
};

} // namespace

TEST(TracePointFieldRecording, SchedSamplesMatchTheIndependentDecoding) {
    TracePointFieldStore store;
    ASSERT_EQ(0, store.loadEventDatabase(PLOTWRIGHT_TEST_DATA "/eventdb/sched.json"));
    Collector collector(store);
    ASSERT_TRUE(collector.type && collector.tid && collector.cpu && collector.pid);
    std::ifstream input;
    ASSERT_TRUE(PerfRecordFileReader::openPerfRecordFile(input, PLOTWRIGHT_TEST_DATA "/recordings/sched.data"));
    PerfRecordFileReader(input, true).parseEvents(collector);

    std::vector<perftest::ScriptLine> script =
        perftest::readScript(PLOTWRIGHT_TEST_DATA "/recordings/sched.script.txt");
    ASSERT_EQ(186u, script.size());
    ASSERT_EQ(script.size(), collector.samples.size());
    // The script lists the samples in time order; the file holds them per cpu buffer.
    std::stable_sort(collector.samples.begin(), collector.samples.end(),
                     [](const Sample& a, const Sample& b) { return a.time < b.time; });

    std::map<std::string, int> counts;
    for (size_t i = 0; i < script.size(); ++i) {
        const perftest::ScriptLine& expected = script[i];
        const Sample& got = collector.samples[i];
        SCOPED_TRACE("sample " + std::to_string(i) + " " + expected.event);
        ASSERT_EQ(expected.time, got.time);
        EXPECT_EQ(expected.event, got.event);
        EXPECT_EQ(expected.pid, got.pid);
        EXPECT_EQ(expected.tid, got.tid);
        EXPECT_EQ(expected.cpu, got.cpu);
        for (const auto& field : got.fields) {
            ASSERT_EQ(1u, expected.fields.count(field.first)) << field.first;
            EXPECT_EQ(expected.fields.at(field.first), field.second) << field.first;
        }
        ++counts[got.event];
    }
    EXPECT_EQ(121, counts["sched:sched_switch"]);
    EXPECT_EQ(44, counts["sched:sched_wakeup"]);
}
