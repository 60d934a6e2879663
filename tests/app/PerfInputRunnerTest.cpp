#include "app/PerfInputRunner.h"
#include "app/ProcessDictionary.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Singleton.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/TracePointFieldStore.h"
#include "tools/perfdatawriter/PerfDataWriter.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

using perfdatawriter::Bytes;

const char* const DATABASE = R"({
  "common": {"fields": {
    "common_type": {"offset": 0, "size": 2, "cast": "uint16_t"},
    "common_tid": {"type": "__ancillary_tid"}
  }},
  "events": {"test:ev": {"id": 7, "fields": {"value": {"offset": 8, "size": 4, "cast": "int32_t"}}}}
})";

const char* const CHANNELS = R"([
  {"id": "x", "name": "other", "detail": {"type": "counter", "algorithm": "numberplot"}},
  {"id": "v", "name": "values", "detail": {"type": "varnel2", "algorithm": "numberplot", "events": ["test:ev"],
   "valueField": "value", "pivotField": "common_tid"}}
])";

Bytes raw(uint16_t type, int32_t value, size_t size = 12) {
    Bytes bytes(12, 0);
    memcpy(bytes.data(), &type, sizeof(type));
    memcpy(bytes.data() + 8, &value, sizeof(value));
    bytes.resize(size);
    return bytes;
}

void addSample(perfdatawriter::PerfDataWriter& file, uint32_t tid, double seconds, const Bytes& data) {
    perfdatawriter::Sample sample;
    sample.pid = tid;
    sample.tid = tid;
    sample.time = static_cast<uint64_t>(seconds * 1e9);
    sample.raw = data;
    file.addSample(sample);
}

// Converts a small recording: comm records (one renamed, names with " (deleted)"), an mmap record, samples of
// two trace points, and samples whose raw data cannot hold the trace point id.
std::string convert(double clockStart, unsigned long long* skipped = nullptr) {
    perfdatawriter::PerfDataWriter file;
    perfdatawriter::Attribute attribute;
    attribute.config = 7;
    attribute.sampleType = 0x487; // IP, TID, TIME, CPU, RAW
    file.addAttribute(attribute);
    file.addEventType(7, "test:ev");
    file.addComm(100, 100, "proc (deleted)");
    file.addComm(100, 101, "old (deleted) (deleted)");
    file.addMmap(100, 100, 0x1000, 0x1000, 0, "/bin/proc");
    addSample(file, 101, 1.0, raw(7, 5));
    addSample(file, 101, 1.2, raw(7, 1, 1));
    addSample(file, 101, 1.3, Bytes());
    addSample(file, 100, 1.4, raw(8, 99));
    file.addComm(200, 101, "renamed");
    addSample(file, 100, 2.5, raw(7, -6));
    // One file per process and run, so that tests running in parallel do not share it.
    const std::string path =
        testing::TempDir() + "runner-" + std::to_string(getpid()) + "-" + std::to_string(clockStart) + ".data";
    EXPECT_TRUE(file.writeTo(path));

    kestrel::Singleton<ProcessDictionary>::Instance().clear();
    perfevents::TracePointFieldStore fields;
    kestrel::JSOM database;
    database.fromString(DATABASE);
    fields.setEventDatabase(database);
    kestrel::JSOM channels;
    channels.fromString(CHANNELS);
    kestrel::TimeConverter timeConverter;
    timeConverter.setup(clockStart, 0.0, 1.0, 0.0, 0.0);
    std::ifstream input(path, std::ios::in | std::ios::binary);
    unlink(path.c_str());
    std::ostringstream out;
    {
        kestrel::JsomWriter writer(&out);
        PerfInputRunner runner(channels, &input, fields, &timeConverter, &writer);
        EXPECT_EQ(1u, runner.getAlgorithmCount());
        if (skipped != nullptr) {
            *skipped = runner.getSkippedSamples();
        }
    }
    return out.str();
}

} // namespace

TEST(PerfInputRunnerTest, FeedsSamplesToAlgorithmsAndNamesThreadsFromCommRecords) {
    unsigned long long skipped = 0;
    const std::string out = convert(0.0, &skipped);
    EXPECT_EQ(2u, skipped);
    // The first accepted sample is the clock origin; series and dictionaries follow in one array.
    EXPECT_EQ('[', out.front());
    EXPECT_EQ(']', out.back());
    EXPECT_NE(std::string::npos, out.find(R"({"label":"proc","pivot":{"common_tid":100})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("time":1,"type":"long","data":[[1.5,-6]]})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"({"label":"renamed","pivot":{"common_tid":101})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("time":1,"type":"long","data":[[0,5]]})")) << out;
    // The renamed thread keeps the pid of its first comm record.
    EXPECT_NE(std::string::npos, out.find(R"("map":{"100":{"label":"proc"},"101":{"pid":100,"label":"renamed"}}})"))
        << out;
    EXPECT_LT(out.find("\"renamed\""), out.find("\"dictionaries\""));
}

TEST(PerfInputRunnerTest, ClockStartDropsEarlierSamplesButNotCommRecords) {
    const std::string out = convert(2.0);
    EXPECT_EQ(std::string::npos, out.find(R"("common_tid":101})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("time":2,"type":"long","data":[[0.5,-6]]})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("101":{"pid":100,"label":"renamed"})")) << out;
}
