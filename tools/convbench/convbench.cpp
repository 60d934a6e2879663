// Conversion benchmark helper.
//   convbench generate <dir> <samples>   writes <dir>/bench.data with the given number of trace point samples of
//                                        one trace point ("bench:value", id 300) spread over 32 threads, and the
//                                        event database, channel info file (a number plot per thread and a
//                                        filtered state plot per CPU) and configuration to convert it; a
//                                        FINISHED_ROUND record follows every 4096 samples, as perf writes them
//   convbench walk <file>                reads every record of a perf.data file with a listener that does
//                                        nothing, and prints the time this took

#include "kestrel/Time.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfRecordFileReader.h"
#include "tools/perfdatawriter/PerfDataWriter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

const unsigned long long SAMPLE_TYPE = 0x487; // IP, TID, TIME, CPU, RAW
const uint16_t EVENT_ID = 300;
const unsigned long long SAMPLES_PER_ROUND = 4096;

void writeText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::out | std::ios::trunc);
    out << text;
}

int generate(const std::string& dir, unsigned long long count) {
    perfdatawriter::Sample sample;
    sample.raw.assign(16, 0);
    memcpy(sample.raw.data(), &EVENT_ID, sizeof(EVENT_ID));
    perfdatawriter::Bytes body = perfdatawriter::encodeSample(SAMPLE_TYPE, sample);
    const uint64_t recordSize = 8 + body.size();

    perfdatawriter::PerfDataWriter file;
    perfdatawriter::Attribute attribute;
    attribute.config = EVENT_ID;
    attribute.sampleType = SAMPLE_TYPE;
    file.addAttribute(attribute);
    file.addEventType(EVENT_ID, "bench:value");
    file.minimumFileSize = 0;
    // Like perf, which closes each pass over the CPUs' ring buffers with a FINISHED_ROUND record.
    const unsigned long long rounds = count / SAMPLES_PER_ROUND;
    file.dataSize = static_cast<int64_t>(count * recordSize + rounds * 8);
    const perfdatawriter::Bytes head = file.build();

    std::ofstream out(dir + "/bench.data", std::ios::out | std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
    perfdatawriter::Bytes chunk;
    unsigned int state = 12345;
    for (unsigned long long i = 0; i < count; ++i) {
        state = state * 1103515245u + 12345u;
        sample.tid = 1000 + ((state >> 16) & 31);
        sample.pid = sample.tid;
        sample.cpu = (state >> 8) & 3;
        sample.time = 1000000000ull + i * 1000ull;
        const int64_t value = static_cast<int64_t>(i % 1000);
        memcpy(sample.raw.data() + 8, &value, sizeof(value));
        perfdatawriter::putU32(chunk, 9);
        perfdatawriter::putU16(chunk, 0);
        perfdatawriter::putU16(chunk, static_cast<uint16_t>(recordSize));
        perfdatawriter::putBytes(chunk, perfdatawriter::encodeSample(SAMPLE_TYPE, sample));
        if ((i + 1) % SAMPLES_PER_ROUND == 0) {
            perfdatawriter::putU32(chunk, 68);
            perfdatawriter::putU16(chunk, 0);
            perfdatawriter::putU16(chunk, 8);
        }
        if (chunk.size() >= (1u << 20)) {
            out.write(reinterpret_cast<const char*>(chunk.data()), static_cast<std::streamsize>(chunk.size()));
            chunk.clear();
        }
    }
    out.write(reinterpret_cast<const char*>(chunk.data()), static_cast<std::streamsize>(chunk.size()));
    if (!out) {
        fprintf(stderr, "convbench: cannot write %s/bench.data\n", dir.c_str());
        return 1;
    }

    writeText(dir + "/events.json", R"({
  "common": {"fields": {
    "common_type": {"type": "unsigned short", "offset": 0, "size": 2, "cast": "uint16_t"},
    "common_tid": {"type": "__ancillary_tid"},
    "common_cpu": {"type": "__ancillary_cpu"}
  }},
  "events": {"bench:value": {"id": 300, "fields": {
    "value": {"type": "long", "offset": 8, "size": 8, "cast": "int64_t"}
  }}}
}
)");
    writeText(dir + "/channels.json", R"([
  {"id": "value", "name": "Value per thread", "detail": {"type": "varnel2", "algorithm": "numberplot",
   "events": ["bench:value"], "valueField": "value", "pivotField": "common_tid", "pivotPrefix": "thread"}},
  {"id": "state", "name": "Low values per CPU", "detail": {"type": "varnel2", "algorithm": "stateplot",
   "events": ["bench:value"], "pivotField": "common_cpu", "pivotPrefix": "CPU",
   "eventConfigs": [{"eventIndex": 0, "stateField": "value", "filterFormula": "$0 500 < $1 1031 != &&",
                     "filterFields": ["value", "common_tid"]}]}}
]
)");
    writeText(dir + "/bench.conf", "{\"eventDatabase\": \"" + dir + "/events.json\", \"inputPerfFile\": \"" + dir +
                                       "/bench.data\", \"inputChannelFile\": \"" + dir +
                                       "/channels.json\", \"log\": {\"level\": \"WARN\"}}\n");
    printf("%llu samples, %llu bytes of records\n", count, static_cast<unsigned long long>(count * recordSize));
    return 0;
}

class NullListener : public perfevents::PerfEventDataListener {
public:
    unsigned long long records = 0;
    void onEventData(const perfevents::PerfEventData&) override { ++records; }
    void onClose() override {}
};

int walk(const char* path) {
    const double start = getNow();
    std::ifstream input(path, std::ios::in | std::ios::binary);
    if (!input.is_open()) {
        fprintf(stderr, "convbench: cannot open %s\n", path);
        return 1;
    }
    NullListener listener;
    perfevents::PerfRecordFileReader reader(input, true);
    reader.parseEvents(listener);
    printf("record walk: %llu records in %.3f seconds\n", listener.records, getNow() - start);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "generate") == 0) {
        return generate(argv[2], strtoull(argv[3], nullptr, 10));
    }
    if (argc == 3 && strcmp(argv[1], "walk") == 0) {
        return walk(argv[2]);
    }
    fprintf(stderr, "usage: convbench generate <dir> <samples> | convbench walk <file>\n");
    return 1;
}
