#include "perfevents/PerfRecordEventDataStore.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataExit.h"
#include "perfevents/PerfEventDataFork.h"
#include "perfevents/PerfEventDataLost.h"
#include "perfevents/PerfEventDataMmap.h"
#include "perfevents/PerfEventDataRead.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfEventDataThrottle.h"
#include "perfevents/PerfEventDataUnknown.h"
#include "perfevents/PerfEventDataUnthrottle.h"

#include <stdexcept>

namespace perfevents {

kestrel::Logger* PerfRecordEventDataStore::logger = nullptr;

PerfRecordEventDataStore::PerfRecordEventDataStore(const boost::ptr_vector<PerfEventAttribute>& attributes)
    : attributes(attributes) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfRecordEventDataStore");
    if (attributes.empty())
        throw std::invalid_argument(
            "At least one PerfEventAttribute is required to construct PerfRecordEventDataStore");
    buildPerfEventDataParsers();
}

PerfRecordEventDataStore::~PerfRecordEventDataStore() {}

bool PerfRecordEventDataStore::areAtributesSimilar(const PerfEventAttribute& first, const PerfEventAttribute& second) {
    return first.getSize() == second.getSize() && first.getSampleType() == second.getSampleType() &&
           first.isSampleIdAll() == second.isSampleIdAll() && first.getReadFormat() == second.getReadFormat();
}

void PerfRecordEventDataStore::buildPerfEventDataParsers() {
    for (std::size_t i = 0; i + 1 < attributes.size(); ++i) {
        if (!areAtributesSimilar(attributes[i], attributes[i + 1])) {
            logger->warnf("Attributes stored in perf record file will result in event data of different layouts.  "
                          "This may cause parsing failure.");
            break;
        }
    }
    // Every record is decoded with the layout of the first attribute; the index of a decoder is its type.
    const PerfEventAttribute& first = attributes.front();
    decoders.push_back(new PerfEventDataUnknown(first));
    decoders.push_back(new PerfEventDataMmap(first));
    decoders.push_back(new PerfEventDataLost(first));
    decoders.push_back(new PerfEventDataComm(first));
    decoders.push_back(new PerfEventDataExit(first));
    decoders.push_back(new PerfEventDataThrottle(first));
    decoders.push_back(new PerfEventDataUnthrottle(first));
    decoders.push_back(new PerfEventDataFork(first));
    decoders.push_back(new PerfEventDataRead(first));
    decoders.push_back(new PerfEventDataSample(first));
}

PerfEventData* PerfRecordEventDataStore::getEventData(PerfEventData::Type type, const kestrel::ByteBufferViewport& body,
                                                      PerfEventData::MiscFlags misc) {
    if (type < PerfEventData::TYPE_MMAP || type > PerfEventData::TYPE_SAMPLE)
        return nullptr;
    PerfEventData& decoder = decoders[type];
    return decoder.parse(body, misc) ? &decoder : nullptr;
}

const PerfEventDataSample& PerfRecordEventDataStore::getSampleDecoder() const {
    return static_cast<const PerfEventDataSample&>(decoders[PerfEventData::TYPE_SAMPLE]);
}

} // namespace perfevents
