// readbench [SAMPLES] [FILE]: writes a synthetic recording of SAMPLES trace point samples (5,000,000 by default)
// to FILE (a temporary file by default, removed afterwards), then times the reader walking it with a listener
// that does nothing, and cat reading it to /dev/null, each on the cached file.

#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfRecordFileReader.h"
#include "tools/perfdatawriter/PerfDataWriter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

class NullListener : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData&) override { ++records; }
    void onClose() override {}
    unsigned long long records = 0;
};

// The layout current perf writes for trace points: IDENTIFIER, IP, TID, TIME, CPU, PERIOD, RAW.
const std::uint64_t SAMPLE_TYPE = 0x10587;
const std::uint64_t CHUNK = 1000;

bool writeRecording(const std::string& path, std::uint64_t samples) {
    perfdatawriter::PerfDataWriter writer;
    perfdatawriter::Attribute attribute;
    attribute.config = 372;
    attribute.sampleType = SAMPLE_TYPE;
    attribute.ids = {1000};
    writer.addAttribute(attribute);
    writer.addEventType(372, "sched:sched_switch");
    for (std::uint64_t i = 0; i < CHUNK; ++i) {
        perfdatawriter::Sample sample;
        sample.identifier = 1000;
        sample.ip = 0xffffffff81000000ULL + i;
        sample.pid = sample.tid = static_cast<std::uint32_t>(100 + i % 50);
        sample.time = 1000000 * i;
        sample.cpu = static_cast<std::uint32_t>(i % 4);
        sample.period = 1;
        sample.raw.assign(68, static_cast<std::uint8_t>(i));
        perfdatawriter::putU16(sample.raw, 372);
        sample.raw.resize(68);
        writer.addSample(sample);
    }
    writer.addFinishedRound(); // perf closes each pass over the CPUs' buffers with one
    const std::uint64_t repeats = (samples + CHUNK - 1) / CHUNK;
    writer.dataSize = static_cast<std::int64_t>(writer.getDataSize() * repeats);
    writer.minimumFileSize = 0;
    perfdatawriter::Bytes head = writer.build();
    head.resize(writer.getDataOffset());

    std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
    const perfdatawriter::Bytes& data = writer.getData();
    for (std::uint64_t i = 0; i < repeats; ++i)
        out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<bool>(out);
}

double seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double timeCat(const std::string& path) {
    const std::string command = "cat '" + path + "' > /dev/null";
    auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0)
        std::cerr << "readbench: cat failed\n";
    return seconds(start);
}

double timeReader(const std::string& path, unsigned long long& records) {
    auto start = std::chrono::steady_clock::now();
    std::ifstream input;
    perfevents::PerfRecordFileReader::openPerfRecordFile(input, path);
    perfevents::PerfRecordFileReader reader(input, true);
    NullListener listener;
    reader.parseEvents(listener);
    records = listener.records;
    return seconds(start);
}

} // namespace

int main(int argc, char** argv) {
    const std::uint64_t samples = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 5000000ULL;
    const bool temporary = argc <= 2;
    const std::string path = temporary ? "/tmp/readbench-" + std::to_string(getpid()) + ".data" : argv[2];

    if (!writeRecording(path, samples)) {
        std::cerr << "readbench: cannot write " << path << "\n";
        return 1;
    }
    std::ifstream sizeProbe(path, std::ios::binary | std::ios::ate);
    const double megabytes = static_cast<double>(sizeProbe.tellg()) / 1e6;

    timeCat(path); // bring the file into the page cache
    double catBest = 1e30, readerBest = 1e30;
    unsigned long long records = 0;
    for (int round = 0; round < 3; ++round) {
        catBest = std::min(catBest, timeCat(path));
        readerBest = std::min(readerBest, timeReader(path, records));
    }
    if (temporary)
        std::remove(path.c_str());

    std::printf("file: %.1f MB, %llu samples delivered\n", megabytes, records);
    std::printf("reader: %.3f s, %.0f samples/s, %.1f MB/s\n", readerBest, records / readerBest,
                megabytes / readerBest);
    std::printf("cat:    %.3f s, %.1f MB/s\n", catBest, megabytes / catBest);
    std::printf("reader speed / cat speed: %.3f (target at least 0.125)\n", catBest / readerBest);
    return 0;
}
