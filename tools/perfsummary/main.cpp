// perfsummary FILE: prints the header, attributes and trace point event types of a perf.data file as the reader
// sees them, then the number of records of each type in its data section.

#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataUnknown.h"
#include "perfevents/PerfRecordFileReader.h"

#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>

namespace {

// Counts the records delivered raw, by the type in their header.
class RecordCounter : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData& record) override {
        const kestrel::ByteBufferViewport& bytes =
            static_cast<const perfevents::PerfEventDataUnknown&>(record).getRecord();
        unsigned int type = 0;
        std::memcpy(&type, bytes.data(), sizeof(type));
        ++counts[type];
        total += bytes.size();
    }
    void onClose() override {}

    std::map<unsigned int, unsigned long long> counts;
    unsigned long long total = 0;
};

const char* recordName(unsigned int type) {
    static const char* names[] = {"",
                                  "MMAP",
                                  "LOST",
                                  "COMM",
                                  "EXIT",
                                  "THROTTLE",
                                  "UNTHROTTLE",
                                  "FORK",
                                  "READ",
                                  "SAMPLE",
                                  "MMAP2",
                                  "AUX",
                                  "ITRACE_START",
                                  "LOST_SAMPLES",
                                  "SWITCH",
                                  "SWITCH_CPU_WIDE",
                                  "NAMESPACES",
                                  "KSYMBOL",
                                  "BPF_EVENT",
                                  "CGROUP",
                                  "TEXT_POKE",
                                  "AUX_OUTPUT_HW_ID"};
    if (type < sizeof(names) / sizeof(names[0]))
        return names[type];
    return perfevents::PerfFormat::isKernelRecord(type) ? "" : "(written by perf itself)";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: perfsummary FILE\n";
        return 1;
    }
    std::ifstream input;
    if (!perfevents::PerfRecordFileReader::openPerfRecordFile(input, argv[1])) {
        std::cerr << "perfsummary: cannot open " << argv[1] << "\n";
        return 1;
    }
    try {
        perfevents::PerfRecordFileReader reader(input, false);
        std::cout << reader;
        RecordCounter counter;
        reader.parseEvents(counter);
        std::cout << "**** Records ****\n";
        for (const auto& count : counter.counts)
            std::cout << "    type " << count.first << " " << recordName(count.first) << ": " << count.second << "\n";
        std::cout << "    " << counter.total << " bytes in records\n";
    } catch (const std::exception& error) {
        std::cerr << "perfsummary: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
