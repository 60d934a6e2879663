#ifndef TESTS_PERFEVENTS_PERFTESTFILES_H
#define TESTS_PERFEVENTS_PERFTESTFILES_H

#include "kestrel/LogLevel.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/PerfRecordingSetup.h"
#include "tools/perfdatawriter/PerfDataWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace perftest {

/// Writes bytes to a file of this process (tests run in parallel processes) and returns its path.
inline std::string writeTempFile(const std::string& name, const perfdatawriter::Bytes& bytes) {
    const std::string path = testing::TempDir() + std::to_string(getpid()) + "-" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path;
}

/// Opens a temporary file holding bytes; the file is unlinked at once and lives while the stream is open.
inline bool openTemp(std::ifstream& input, const perfdatawriter::Bytes& bytes) {
    const std::string path = writeTempFile("reader.data", bytes);
    input.open(path, std::ios::in | std::ios::binary);
    std::remove(path.c_str());
    return input.is_open();
}

/// The whole file as text; empty when it cannot be read.
inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline perfdatawriter::Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return perfdatawriter::Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// One line of perf script output: "comm pid/tid [cpu] seconds.nanoseconds: event: key=value ...".
struct ScriptLine {
    std::string comm, event, trace; // trace: the text after the event name
    int64_t pid = 0, tid = 0, cpu = 0;
    uint64_t time = 0;
    std::map<std::string, int64_t> fields; // the integer key=value pairs of the trace
};

inline std::vector<ScriptLine> readScript(const std::string& path) {
    std::vector<ScriptLine> lines;
    std::ifstream in(path);
    // The comm may contain blanks: it ends before the pid/tid column.
    const std::regex form(R"(^\s*(.*?)\s+(-?\d+)/(-?\d+)\s+\[(\d+)\]\s+(\d+)\.(\d{9}):\s+(\S+):\s(.*)$)");
    const std::regex pair(R"((\w+)=(-?\d+)(?=\s|$))");
    for (std::string text; std::getline(in, text);) {
        std::smatch m;
        if (!std::regex_match(text, m, form)) {
            ADD_FAILURE() << "unexpected script line: " << text;
            continue;
        }
        ScriptLine line;
        line.comm = m[1].str();
        line.pid = std::stoll(m[2].str());
        line.tid = std::stoll(m[3].str());
        line.cpu = std::stoll(m[4].str());
        line.time = std::stoull(m[5].str()) * 1000000000ull + std::stoull(m[6].str());
        line.event = m[7].str();
        line.trace = m[8].str();
        for (auto it = std::sregex_iterator(line.trace.begin(), line.trace.end(), pair); it != std::sregex_iterator();
             ++it) {
            line.fields[(*it)[1].str()] = std::stoll((*it)[2].str());
        }
        lines.push_back(line);
    }
    return lines;
}

/// A viewport over the whole of bytes, which must outlive it.
inline kestrel::ByteBufferViewport viewOf(const perfdatawriter::Bytes& bytes) {
    const auto size = static_cast<unsigned int>(bytes.size());
    return kestrel::ByteBufferViewport(const_cast<unsigned char*>(bytes.data()), size, size);
}

/// A trace point attribute (config 372) sampling identifier, ip, tid, time, cpu, period and raw data.
inline perfdatawriter::Attribute traceAttribute(std::vector<std::uint64_t> ids = {40, 41},
                                                std::uint64_t sampleType = 0x10587, std::uint64_t readFormat = 0,
                                                unsigned int byteSize = 96) {
    perfdatawriter::Attribute fields;
    fields.config = 372;
    fields.sampleType = sampleType;
    fields.readFormat = readFormat;
    fields.ids = ids;
    fields.byteSize = byteSize;
    return fields;
}

/// Decodes an attribute as the test writer encodes it.
inline perfevents::PerfEventAttribute decodeAttribute(const perfdatawriter::Attribute& fields,
                                                      const std::vector<unsigned long long>& ids = {}) {
    return perfevents::PerfEventAttribute(viewOf(fields.encode()), ids);
}

/// A sample's ancillary values and its raw data, set by hand.
struct FakeSample : perfevents::PerfEventDataSampleAncillary {
    unsigned int getPid() const override { return pid; }
    unsigned int getTid() const override { return tid; }
    unsigned long long getCpu() const override { return cpu; }
    unsigned long long getResource() const override { return resource; }
    unsigned int getRawSize() const override { return static_cast<unsigned int>(raw.size()); }
    const unsigned char* data() const { return raw.empty() ? nullptr : raw.data(); }
    template <typename T> void put(size_t offset, T value) { std::memcpy(raw.data() + offset, &value, sizeof value); }

    unsigned int pid = 0, tid = 0;
    unsigned long long cpu = 0, resource = 0;
    std::vector<unsigned char> raw;
};

/// Silences every logger while it lives.
class QuietLogs {
public:
    QuietLogs() : saved(kestrel::Logger::getMasterLogLevel().getName()) {
        kestrel::Logger::setMasterLogLevel(*kestrel::LogLevel::valueOf("OFF"));
    }
    ~QuietLogs() { kestrel::Logger::setMasterLogLevel(*kestrel::LogLevel::valueOf(saved)); }

private:
    std::string saved;
};

struct SeenSample {
    unsigned long long time;
    unsigned int pid, tid;
    unsigned long long cpu;
    std::vector<unsigned char> raw;
    unsigned long long period;
    std::size_t callchain, readBytes;
    const perfevents::PerfEventAttribute* attribute;
};

struct SeenComm {
    unsigned int pid, tid;
    std::string comm;
};

/// Copies what it is given, as a listener must.
class Collector : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData& record) override {
        types.push_back(record.getType());
        if (record.getType() == perfevents::PerfEventData::TYPE_SAMPLE) {
            const auto& s = static_cast<const perfevents::PerfEventDataSample&>(record);
            samples.push_back({s.getTime(), s.getPid(), s.getTid(), s.getCpu(),
                               std::vector<unsigned char>(s.getRawData(), s.getRawData() + s.getRawSize()),
                               s.getPeriod(), s.getCallchain().size(), s.getReadValues().size(), &s.getAttribute()});
        } else if (record.getType() == perfevents::PerfEventData::TYPE_COMM) {
            const auto& c = static_cast<const perfevents::PerfEventDataComm&>(record);
            comms.push_back({c.getPid(), c.getTid(), c.getComm()});
        }
    }
    void onClose() override { ++closes; }

    std::vector<unsigned int> types;
    std::vector<SeenSample> samples;
    std::vector<SeenComm> comms;
    int closes = 0;
};

/// Walks the recording in the bytes and returns the log; set-up failures propagate.
inline std::string walkBytes(const perfdatawriter::Bytes& bytes, perfevents::PerfEventDataListener& listener,
                             bool decode = true) {
    std::istringstream input(std::string(bytes.begin(), bytes.end()));
    testing::internal::CaptureStdout();
    try {
        perfevents::PerfRecordFileReader reader(input, decode);
        reader.parseEvents(listener);
    } catch (...) {
        kestrel::Logger::flushAll();
        testing::internal::GetCapturedStdout();
        throw;
    }
    kestrel::Logger::flushAll();
    return testing::internal::GetCapturedStdout();
}

/// The tracing data section of the real recording sched.data (formats of sched_switch, id 372, and others).
inline perfdatawriter::Bytes schedTracingData() {
    std::ifstream in(PLOTWRIGHT_TEST_DATA "/recordings/sched.data", std::ios::binary);
    return perfevents::PerfRecordingSetup(in, perfevents::PerfRecordingSetup::SCOPE_FORMATS).getTracingData();
}

/// A recording laid out as Android's recorder (simpleperf) writes one on an aarch64 device: a 128-byte attribute
/// of sched_switch with the recorder's sample layout (ip, tid, time, id, cpu, period, raw, sample_id_all), the
/// tracing data in a HEADER_TRACING_DATA record first in the data section, a record of one of the recorder's own
/// types (32775), then `count` sched_switch samples, sample k of pid 1000 + k, next_pid 2000 + k, at 1 ms steps.
inline perfdatawriter::Bytes androidRecording(unsigned int count) {
    perfdatawriter::PerfDataWriter writer;
    perfdatawriter::Attribute attribute = traceAttribute({7}, 0x5c7, 0, 128);
    attribute.flags = 1ULL << 18; // sample_id_all
    writer.addAttribute(attribute);
    writer.addTracingDataRecord(schedTracingData());
    writer.addRecord(32775, 0, perfdatawriter::Bytes(24, 0x5a));
    for (unsigned int k = 0; k < count; ++k) {
        perfdatawriter::Sample sample;
        sample.id = 7;
        sample.pid = sample.tid = 1000 + k;
        sample.time = 5000000000ULL + k * 1000000ULL;
        sample.cpu = k % 4;
        sample.period = 1;
        sample.raw.assign(68, 0);
        const std::uint16_t type = 372;
        const std::int32_t pid = static_cast<std::int32_t>(sample.pid), next = static_cast<std::int32_t>(2000 + k);
        std::memcpy(sample.raw.data(), &type, 2);
        std::memcpy(sample.raw.data() + 4, &pid, 4);
        std::memcpy(sample.raw.data() + 24, &pid, 4);
        std::memcpy(sample.raw.data() + 56, &next, 4);
        writer.addSample(sample);
    }
    return writer.build();
}

} // namespace perftest

#endif
