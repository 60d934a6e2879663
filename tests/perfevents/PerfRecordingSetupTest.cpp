// The set-up stage finds a recording's tracing data wherever the recording keeps it: in the feature section of a
// file (of either byte order), after the set-up record of a pipe, or inside the first record of the data section
// as Android's recorder writes it; and it refuses damaged files with a message.

#include "perfevents/PerfRecordingSetup.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

using perfdatawriter::Bytes;
using perfevents::PerfRecordingSetup;

TEST(PerfRecordingSetup, FindsTheTracingDataOfEitherByteOrderAndRejectsDamagedFiles) {
    const std::string file = perftest::readText(PLOTWRIGHT_TEST_DATA "/recordings/sched.data");
    auto read = [](const std::string& bytes) {
        std::istringstream in(bytes);
        return PerfRecordingSetup(in, PerfRecordingSetup::SCOPE_FORMATS).getTracingData();
    };
    auto expectError = [&](const std::string& bytes, const char* message) {
        try {
            read(bytes);
            ADD_FAILURE() << "no error, expected " << message;
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(message)) << e.what();
        }
    };
    std::vector<unsigned char> section = read(file);
    EXPECT_EQ(perftest::schedTracingData(), section);
    EXPECT_GT(section.size(), 1000u);

    // The same file written by a big-endian machine: every header number and the table entry swapped.
    std::string swapped = file;
    std::memcpy(&swapped[0], "2ELIFREP", 8);
    uint64_t dataOffset, dataSize;
    std::memcpy(&dataOffset, &file[40], 8);
    std::memcpy(&dataSize, &file[48], 8);
    size_t table = dataOffset + dataSize;
    for (size_t word = 8; word < 104; word += 8) {
        std::reverse(swapped.begin() + word, swapped.begin() + word + 8);
    }
    std::reverse(swapped.begin() + table, swapped.begin() + table + 8);
    std::reverse(swapped.begin() + table + 8, swapped.begin() + table + 16);
    EXPECT_EQ(section, read(swapped));

    expectError("PERFILE", "not a perf.data file (too short)");
    expectError(std::string(200, 'x'), "wrong magic");
    std::string patched = file;
    patched[8] = 16; // read as a stream written to a pipe, whose records are nonsense
    expectError(patched, "damaged perf.data stream");
    patched = file;
    patched[72] &= ~2;
    expectError(patched, "no tracing data section");
    patched = file;
    patched[55] = 1;
    expectError(patched, "the data section lies beyond");
    patched = file;
    patched[table + 14] = 1;
    expectError(patched, "the tracing data section lies beyond");
    uint64_t sectionOffset;
    std::memcpy(&sectionOffset, &file[table], 8);
    for (size_t length : {size_t(16), size_t(103), table + 8, table + 20, size_t(sectionOffset + section.size() - 1)}) {
        EXPECT_THROW(read(file.substr(0, length)), std::runtime_error) << length;
    }
}

TEST(PerfRecordingSetup, ReadsAndroidsTracingDataRecordAndConvertsEverySampleAfterIt) {
    const Bytes section = perftest::schedTracingData();
    const Bytes file = perftest::androidRecording(31);
    std::istringstream formats(std::string(file.begin(), file.end()));
    EXPECT_EQ(section, PerfRecordingSetup(formats, PerfRecordingSetup::SCOPE_FORMATS).getTracingData());

    // The walk reads the record's data as part of the record, not as a payload to skip after it (which would
    // swallow the samples that follow), and skips the recorder's own record by its size.
    std::istringstream input(std::string(file.begin(), file.end()));
    perftest::Collector seen;
    testing::internal::CaptureStdout();
    {
        perfevents::PerfRecordFileReader reader(input, true);
        EXPECT_EQ(section, reader.getTracingData());
        EXPECT_EQ("", reader.getTracingDataProblem());
        reader.parseEvents(seen);
    }
    kestrel::Logger::flushAll();
    const std::string log = testing::internal::GetCapturedStdout();
    // The only warning is the one every attribute larger than version 3 of the format gets.
    EXPECT_EQ(log.find("WARN"), log.rfind("WARN")) << log;
    EXPECT_NE(std::string::npos, log.find("WARN Perf file attribute may indicate new generation")) << log;
    EXPECT_EQ(std::string::npos, log.find("ERROR")) << log;
    ASSERT_EQ(31u, seen.samples.size());
    for (unsigned int k = 0; k < 31; ++k) {
        const perftest::SeenSample& sample = seen.samples[k];
        EXPECT_EQ(1000 + k, sample.tid);
        EXPECT_EQ(5000000000ULL + k * 1000000ULL, sample.time);
        EXPECT_EQ(k % 4, sample.cpu);
        ASSERT_EQ(68u, sample.raw.size());
        int next = 0;
        std::memcpy(&next, sample.raw.data() + 56, 4);
        EXPECT_EQ(static_cast<int>(2000 + k), next);
    }

    // A pipe carries the same data after its 16-byte record; a file without any says so in words.
    perfdatawriter::PerfDataWriter writer;
    writer.addAttribute(perftest::traceAttribute());
    const Bytes pipe = writer.buildPipe(section);
    std::istringstream piped(std::string(pipe.begin(), pipe.end()));
    EXPECT_EQ(section, perfevents::PerfRecordFileReader(piped, true).getTracingData());
    const Bytes none = writer.build();
    std::istringstream plain(std::string(none.begin(), none.end()));
    perfevents::PerfRecordFileReader without(plain, true);
    EXPECT_TRUE(without.getTracingData().empty());
    EXPECT_NE(std::string::npos, without.getTracingDataProblem().find("no tracing data"));
}
