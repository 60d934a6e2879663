// trace.dat reader: any bytes as a trace-cmd recording. Construction reads the metadata (and, for version 7, its
// compressed sections), the walk decodes the pages of every CPU; every byte of each delivered record is read, so
// that a view reaching outside a buffer is caught by the address sanitizer. A failure must surface as
// std::ios_base::failure, nothing else; the formats it hands on must parse or be refused cleanly.
#include "FuzzFile.h"
#include "eventdb/TracingDataParser.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/TraceDatReader.h"

#include <cstdlib>
#include <ios>
#include <stdexcept>

namespace {

class Walker : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData& record) override {
        if (record.getType() == perfevents::PerfEventData::TYPE_SAMPLE) {
            const auto& sample = static_cast<const perfevents::PerfEventDataSample&>(record);
            sum += sample.getTime() + sample.getTid() + sample.getCpu();
            const unsigned char* raw = sample.getRawData();
            for (unsigned i = 0; i < sample.getRawSize(); ++i) {
                sum += raw[i];
            }
        } else if (record.getType() == perfevents::PerfEventData::TYPE_COMM) {
            sum += static_cast<const perfevents::PerfEventDataComm&>(record).getComm().size();
        }
    }
    void onClose() override {
        if (++closes != 1) {
            abort();
        }
    }

    unsigned long long sum = 0;
    int closes = 0;
};

volatile unsigned long long sink;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::ifstream input;
    if (!fuzz::openAsFile(data, size, input)) {
        return 0;
    }
    try {
        perfevents::TraceDatReader reader(input);
        const std::vector<unsigned char> tracingData = reader.getTracingData();
        try {
            sink = eventdb::TracingDataParser(tracingData.data(), tracingData.size()).parse().size();
        } catch (const std::runtime_error&) {
            // Damaged formats are refused by the parser.
        }
        for (const auto& type : reader.getTraceEventTypes()) {
            sink = reader.getTraceEventName(type.first).size();
        }
        Walker walker;
        reader.parseEvents(walker);
        if (walker.closes != 1) {
            abort();
        }
        sink = walker.sum;
    } catch (const std::ios_base::failure&) {
        // A file that cannot be read is refused on construction.
    }
    return 0;
}
