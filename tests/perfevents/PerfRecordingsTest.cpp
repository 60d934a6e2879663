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

namespace {
// Reads damaged bytes from memory, decoded and raw: a clear failure or a walk to its end, never a crash.
void readDamaged(const perfdatawriter::Bytes& bytes, const std::string& damage) {
    for (bool decode : {true, false}) {
        SCOPED_TRACE(damage + (decode ? ", decoded" : ", raw"));
        Collector collector;
        try {
            std::istringstream input(std::string(bytes.begin(), bytes.end()));
            PerfRecordFileReader reader(input, decode);
            reader.parseEvents(collector);
            EXPECT_EQ(1, collector.closes);
        } catch (const std::exception&) {
            EXPECT_EQ(0, collector.closes);
        }
    }
}

// The offsets of the records from start to end, the payload after a pipe's tracing data record skipped.
std::vector<std::size_t> recordOffsets(const perfdatawriter::Bytes& bytes, std::size_t start, std::size_t end) {
    std::vector<std::size_t> offsets;
    for (std::size_t at = start; at + 8 <= end;) {
        offsets.push_back(at);
        const std::uint16_t size = rawAt<std::uint16_t>(bytes, at + 6);
        if (size < 8)
            break;
        if (rawAt<std::uint32_t>(bytes, at) == 66)
            at += (rawAt<std::uint32_t>(bytes, at + 8) + 7) / 8 * 8;
        at += size;
    }
    return offsets;
}
} // namespace

TEST(PerfRecordingsTest, DamagedCompressedAndPipeCopiesNeverCrashTheReader) {
    perftest::QuietLogs quiet;
    for (const char* name : {"compressed", "pipe"}) {
        SCOPED_TRACE(name);
        const perfdatawriter::Bytes original = perftest::readFile(RECORDINGS + "perf6/" + name + ".data");
        ASSERT_GT(original.size(), 10000u);
        const bool pipe = rawAt<std::uint64_t>(original, 8) == 16;
        const std::size_t start = pipe ? 16 : rawAt<std::uint64_t>(original, 40);
        const std::size_t end = pipe ? original.size() : start + rawAt<std::uint64_t>(original, 48);
        ASSERT_LE(end, original.size());
        const std::vector<std::size_t> offsets = recordOffsets(original, start, end);
        ASSERT_GT(offsets.size(), 300u);

        // Flipped bytes: a pipe's header (the file header is damaged above); the type and size of perf's own records
        // (set-up, compressed) and of every 20th other record; the first words of their bodies (attribute sizes,
        // tracing data sizes, the frame header of the compressed stream); and a byte in every 389 elsewhere.
        std::vector<std::size_t> flips;
        for (std::size_t at = 0; at < (pipe ? 16 : 0); ++at)
            flips.push_back(at);
        for (std::size_t i = 0; i < offsets.size(); ++i) {
            const std::size_t at = offsets[i];
            const bool own = rawAt<std::uint32_t>(original, at) >= 64;
            if (own || i % 20 == 0)
                flips.insert(flips.end(), {at, at + 6, at + 7});
            if (own)
                flips.insert(flips.end(), {at + 8, at + 12, at + 21});
        }
        for (std::size_t at = start; at < end; at += 389)
            flips.push_back(at);
        perfdatawriter::Bytes damaged = original;
        for (std::size_t at : flips) {
            if (at >= end)
                continue;
            damaged[at] = original[at] ^ (at % 2 ? 0x80 : 0xFF);
            readDamaged(damaged, "flipped at " + std::to_string(at));
            damaged[at] = original[at];
        }
        // Cut everywhere in the set-up, then spread over the records.
        for (std::size_t length = 0; length < original.size(); length += length < start + 1500 ? 37 : 997)
            readDamaged(perfdatawriter::Bytes(original.begin(), original.begin() + length),
                        "cut at " + std::to_string(length));
    }

    // Damage inside the compressed stream's output: the records of a real recording, their headers and sample
    // length words flipped before compression, in both forms of the compressed record and in a pipe.
    const perfdatawriter::Bytes plain = perftest::readFile(RECORDINGS + "perf6/plain.data");
    const std::size_t dataOffset = rawAt<std::uint64_t>(plain, 40);
    const perfdatawriter::Bytes records(plain.begin() + dataOffset,
                                        plain.begin() + dataOffset + rawAt<std::uint64_t>(plain, 48));
    perfdatawriter::Bytes head(plain.begin(), plain.begin() + dataOffset);
    const std::vector<std::size_t> offsets = recordOffsets(records, 0, records.size());
    for (std::size_t i = 0; i < offsets.size(); i += 13) {
        const std::size_t at =
            offsets[i] + (i % 2 ? 6 : 7) + (rawAt<std::uint32_t>(records, offsets[i]) == 9 ? i % 40 : 0);
        if (at >= records.size())
            continue;
        perfdatawriter::Bytes damaged = records;
        damaged[at] ^= 0xFF;
        const bool secondForm = i % 2 == 1;
        perfdatawriter::Bytes file = head;
        perfdatawriter::putBytes(file, perfdatawriter::compressRecords(damaged, {at, at + 3}, secondForm));
        perfdatawriter::patchU64(file, 48, file.size() - dataOffset);
        readDamaged(file, "compressed, flipped at " + std::to_string(at));
        // The compressed stream itself damaged: a byte of its payload flipped.
        const std::size_t payloadByte = dataOffset + 8 + (secondForm ? 8 : 0) + i % 29;
        if (payloadByte < file.size()) {
            file[payloadByte] ^= 0x5A;
            readDamaged(file, "compressed stream flipped at " + std::to_string(payloadByte));
        }
    }
}
