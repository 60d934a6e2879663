// The real recordings decode as perf itself decodes them, and damaged copies of them never crash the reader.

#include "perfevents/PerfRecordFileReader.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cstring>
#include <map>
#include <sstream>
#include <unistd.h>

using perfevents::PerfRecordFileReader;
using perftest::Collector;
using perftest::ScriptLine;

namespace {

const std::string RECORDINGS = std::string(PLOTWRIGHT_TEST_DATA) + "/recordings/";

template <typename T> T rawAt(const std::vector<unsigned char>& raw, std::size_t offset) {
    T value{};
    if (offset + sizeof(T) <= raw.size())
        std::memcpy(&value, raw.data() + offset, sizeof(T));
    return value;
}

void walk(const std::string& path, bool decode, Collector& collector) {
    std::ifstream input;
    ASSERT_TRUE(PerfRecordFileReader::openPerfRecordFile(input, path));
    PerfRecordFileReader reader(input, decode);
    reader.parseEvents(collector);
}

} // namespace

TEST(PerfRecordingsTest, SamplesAndCommsAgreeWithPerfScript) {
    for (const char* name : {"single", "sched", "callchain"}) {
        SCOPED_TRACE(name);
        const std::vector<ScriptLine> script = perftest::readScript(RECORDINGS + name + ".script.txt");
        Collector collector;
        walk(RECORDINGS + name + ".data", true, collector);
        EXPECT_EQ(1, collector.closes);
        ASSERT_EQ(script.size(), collector.samples.size());
        ASSERT_FALSE(collector.comms.empty());

        // perf prints samples sorted by time; the file holds them in per-cpu runs.
        std::vector<perftest::SeenSample> samples = collector.samples;
        std::stable_sort(samples.begin(), samples.end(),
                         [](const perftest::SeenSample& a, const perftest::SeenSample& b) { return a.time < b.time; });
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const perftest::SeenSample& sample = samples[i];
            const ScriptLine& line = script[i];
            EXPECT_EQ(line.time, sample.time) << "sample " << i;
            EXPECT_EQ(line.pid, sample.pid) << "sample " << i;
            EXPECT_EQ(line.tid, sample.tid) << "sample " << i;
            EXPECT_EQ(static_cast<unsigned long long>(line.cpu), sample.cpu) << "sample " << i;
            // The raw data: common_pid, and for a switch the previous task's name and pid.
            EXPECT_EQ(static_cast<int>(sample.tid), rawAt<int>(sample.raw, 4));
            if (line.event == "sched:sched_switch") {
                EXPECT_EQ(line.fields.at("prev_pid"), rawAt<int>(sample.raw, 24));
                const std::string prevComm = line.trace.substr(line.trace.find("prev_comm=") + 10);
                EXPECT_EQ(prevComm.substr(0, prevComm.find(" prev_pid=")),
                          std::string(reinterpret_cast<const char*>(sample.raw.data()) + 8));
            }
        }
        // The latest comm record of a thread gives the name perf shows for its last sample.
        std::map<int64_t, std::string> lastShown, lastNamed;
        for (const ScriptLine& line : script)
            lastShown[line.tid] = line.comm;
        for (const perftest::SeenComm& comm : collector.comms)
            lastNamed[comm.tid] = comm.comm;
        std::size_t checked = 0;
        for (const auto& named : lastNamed) {
            if (lastShown.count(named.first)) {
                EXPECT_EQ(lastShown[named.first], named.second) << "tid " << named.first;
                ++checked;
            }
        }
        EXPECT_GT(checked, 0u);
    }
}

TEST(PerfRecordingsTest, RawModeDeliversEveryRecord) {
    Collector decoded, raw;
    walk(RECORDINGS + "sched.data", true, decoded);
    walk(RECORDINGS + "sched.data", false, raw);
    EXPECT_EQ(1, raw.closes);
    // 186 samples, 80 comm, 79 fork, 11 exit, 1 mmap decode; the mmap2 and perf's own records do not.
    EXPECT_EQ(186u + 80 + 79 + 11 + 1, decoded.types.size());
    EXPECT_EQ(504u, raw.types.size());
    for (unsigned int type : raw.types)
        EXPECT_EQ(0u, type);
}

TEST(PerfRecordingsTest, DamagedCopiesNeverCrashTheReader) {
    perftest::QuietLogs quiet;
    for (const char* name : {"single", "sched", "callchain"}) {
        SCOPED_TRACE(name);
        const perfdatawriter::Bytes original = perftest::readFile(RECORDINGS + name + ".data");
        ASSERT_GT(original.size(), 1000u);
        const std::size_t dataOffset = rawAt<std::uint64_t>(original, 40);
        // The reader reads nothing after the data section, so damage there would change nothing.
        const std::size_t end = std::min<std::size_t>(original.size(), dataOffset + rawAt<std::uint64_t>(original, 48));
        ASSERT_LT(dataOffset, end);

        // Flipped bytes: every byte of the header, many of the attributes and their ids; in the records, the type
        // and size of record headers and the words that give the length of a sample's call chain or raw data.
        std::vector<std::size_t> flips;
        for (std::size_t at = 0; at < dataOffset; at += at < 120 ? 1 : 11)
            flips.push_back(at);
        const std::uint64_t sampleType = rawAt<std::uint64_t>(original, rawAt<std::uint64_t>(original, 24) + 24);
        const std::size_t lengthWord = 8 + 8 * std::bitset<64>(sampleType & 0x103CF).count();
        std::size_t samples = 0;
        for (std::size_t at = dataOffset, n = 0; at + 8 <= end; at += rawAt<std::uint16_t>(original, at + 6), ++n) {
            ASSERT_GE(rawAt<std::uint16_t>(original, at + 6), 8u);
            if (n % 8 == 0)
                flips.insert(flips.end(), {at, at + 6, at + 7});
            if (rawAt<std::uint32_t>(original, at) == 9 && samples++ % 4 == 0)
                flips.insert(flips.end(), {at + lengthWord, at + lengthWord + 3});
        }
        // Cuts in the header, the attributes and the first records, then spread over the records.
        std::vector<std::size_t> cuts;
        for (std::size_t length = 0; length < end; length += length < dataOffset + 300 ? 23 : 997)
            cuts.push_back(length);

        // One file, damaged in place and restored, then cut shorter and shorter.
        const std::string path = perftest::writeTempFile(std::string(name) + "-damaged.data", original);
        auto readBoth = [&path](const std::string& damage) {
            for (bool decode : {true, false}) {
                SCOPED_TRACE(damage + (decode ? ", decoded" : ", raw"));
                Collector collector;
                try {
                    std::ifstream input;
                    ASSERT_TRUE(PerfRecordFileReader::openPerfRecordFile(input, path));
                    PerfRecordFileReader reader(input, decode);
                    reader.parseEvents(collector);
                    EXPECT_EQ(1, collector.closes);
                } catch (const std::exception&) {
                    EXPECT_EQ(0, collector.closes);
                }
            }
        };
        {
            std::fstream patch(path, std::ios::in | std::ios::out | std::ios::binary);
            auto put = [&patch](std::size_t at, unsigned char value) {
                patch.seekp(static_cast<std::streamoff>(at));
                patch.put(static_cast<char>(value));
                patch.flush();
            };
            for (std::size_t at : flips) {
                if (at >= end)
                    continue;
                put(at, original[at] ^ (at % 2 ? 0x80 : 0xFF));
                readBoth("flipped at " + std::to_string(at));
                put(at, original[at]);
            }
            ASSERT_TRUE(patch.good());
        }
        for (auto cut = cuts.rbegin(); cut != cuts.rend(); ++cut) {
            ASSERT_EQ(0, truncate(path.c_str(), static_cast<off_t>(*cut)));
            readBoth("cut at " + std::to_string(*cut));
        }
        std::remove(path.c_str());
    }
}
