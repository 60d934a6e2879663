// perf.data reader: any bytes as a recording. Construction validates the header and attributes, the walk decodes
// every record; every byte a decoded record shows is read, so that a view reaching outside the record buffer is
// caught by the address sanitizer. A failure must surface as std::ios_base::failure, nothing else.
#include "FuzzFile.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfEventDataMmap.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"

#include <cstdlib>
#include <ios>
#include <sstream>
#include <stdexcept>

namespace {

class Walker : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData& record) override {
        ++records;
        switch (record.getType()) {
        case perfevents::PerfEventData::TYPE_SAMPLE: {
            const auto& sample = static_cast<const perfevents::PerfEventDataSample&>(record);
            sum += sample.getTime() + sample.getTid() + sample.getCpu() + sample.getRawSize();
            const unsigned char* raw = sample.getRawData();
            for (unsigned i = 0; i < sample.getRawSize(); ++i) {
                sum += raw[i];
            }
            for (unsigned long long address : sample.getCallchain()) {
                sum += address;
            }
            const kestrel::ByteBufferViewport& values = sample.getReadValues();
            for (size_t i = 0; i < values.size(); ++i) {
                sum += values.data()[i];
            }
            break;
        }
        case perfevents::PerfEventData::TYPE_COMM:
            sum += static_cast<const perfevents::PerfEventDataComm&>(record).getComm().size();
            break;
        case perfevents::PerfEventData::TYPE_MMAP:
            sum += static_cast<const perfevents::PerfEventDataMmap&>(record).getFilename().size();
            break;
        default:
            break;
        }
    }
    void onClose() override {
        if (++closes != 1) {
            abort();
        }
    }

    unsigned long long records = 0;
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
        perfevents::PerfRecordFileReader reader(input, true);
        std::ostringstream summary;
        summary << reader;
        for (const auto& type : reader.getTraceEventTypes()) {
            sink = reader.getTraceEventName(type.first).size();
        }
        Walker walker;
        reader.parseEvents(walker);
        sink = walker.records + walker.sum + summary.str().size();
    } catch (const std::ios_base::failure&) {
        // An invalid file is refused on construction.
    } catch (const std::invalid_argument&) {
        // So is one without event attributes: the record store cannot be made without one.
    }
    return 0;
}
