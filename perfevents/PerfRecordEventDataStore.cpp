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
#include "perfevents/PerfFormat.h"

#include <cstring>
#include <stdexcept>

namespace perfevents {

kestrel::Logger* PerfRecordEventDataStore::logger = nullptr;

namespace {
typedef PerfFormat A;
} // namespace

PerfRecordEventDataStore::PerfRecordEventDataStore(const boost::ptr_vector<PerfEventAttribute>& attributes)
    : attributes(attributes), sameLayout(true), identified(false), warned(false), unknownAttributeCount(0),
      undecodableBefore(0) {
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

void PerfRecordEventDataStore::attributesChanged() {
    undecodableBefore = getUndecodableSampleCount();
    buildPerfEventDataParsers();
}

void PerfRecordEventDataStore::buildPerfEventDataParsers() {
    sameLayout = true;
    identified = !attributes.empty();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (i + 1 < attributes.size() && !areAtributesSimilar(attributes[i], attributes[i + 1]))
            sameLayout = false;
        if ((attributes[i].getSampleType() & A::SAMPLE_IDENTIFIER) == 0)
            identified = false;
    }
    ids.build(attributes);
    if (!sameLayout && !identified && !warned) {
        logger->warnf("Attributes stored in perf record file will result in event data of different layouts.  "
                      "This may cause parsing failure.");
        warned = true;
    }
    // One decoder per record type for each attribute whose records are told apart, else for the first only.
    decoders.clear();
    const std::size_t decoded = sameLayout || !identified ? 1 : attributes.size();
    for (std::size_t i = 0; i < decoded; ++i) {
        const PerfEventAttribute& attribute = attributes[i];
        decoders.push_back(new PerfEventDataUnknown(attribute));
        decoders.push_back(new PerfEventDataMmap(attribute));
        decoders.push_back(new PerfEventDataLost(attribute));
        decoders.push_back(new PerfEventDataComm(attribute));
        decoders.push_back(new PerfEventDataExit(attribute));
        decoders.push_back(new PerfEventDataThrottle(attribute));
        decoders.push_back(new PerfEventDataUnthrottle(attribute));
        decoders.push_back(new PerfEventDataFork(attribute));
        decoders.push_back(new PerfEventDataRead(attribute));
        decoders.push_back(new PerfEventDataSample(attribute));
    }
}

int PerfRecordEventDataStore::findAttribute(unsigned int type, const unsigned char* body, unsigned int size) const {
    if (sameLayout || !identified)
        return 0;
    return ids.find(type, body, size);
}

PerfEventData* PerfRecordEventDataStore::getEventData(PerfEventData::Type type, const kestrel::ByteBufferViewport& body,
                                                      PerfEventData::MiscFlags misc) {
    if (type < PerfEventData::TYPE_MMAP || type > PerfEventData::TYPE_SAMPLE)
        return nullptr;
    int index = 0;
    if (!sameLayout && identified) {
        index = findAttribute(type, body.data(), body.size());
        if (index == UNKNOWN_ATTRIBUTE) {
            if (type == PerfEventData::TYPE_SAMPLE) {
                ++unknownAttributeCount;
                return nullptr;
            }
            // The fields of other records do not depend on the layout; only their trailer does.
            index = 0;
        }
    }
    PerfEventData& decoder = decoders[static_cast<std::size_t>(index) * TYPES + type];
    return decoder.parse(body, misc) ? &decoder : nullptr;
}

std::vector<unsigned long long> PerfRecordEventDataStore::getUndecodableSampleCounts() const {
    std::vector<unsigned long long> counts;
    for (std::size_t i = PerfEventData::TYPE_SAMPLE; i < decoders.size(); i += TYPES)
        counts.push_back(static_cast<const PerfEventDataSample&>(decoders[i]).getUndecodableCount());
    if (!counts.empty())
        counts.front() += undecodableBefore;
    return counts;
}

unsigned long long PerfRecordEventDataStore::getUndecodableSampleCount() const {
    unsigned long long count = undecodableBefore;
    for (std::size_t i = PerfEventData::TYPE_SAMPLE; i < decoders.size(); i += TYPES)
        count += static_cast<const PerfEventDataSample&>(decoders[i]).getUndecodableCount();
    return count;
}

} // namespace perfevents
