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

#include <cstring>
#include <stdexcept>

namespace perfevents {

kestrel::Logger* PerfRecordEventDataStore::logger = nullptr;

namespace {
typedef PerfEventAttribute A;
const unsigned int LAST_KERNEL_RECORD = 63;

unsigned long long bitCount(unsigned long long value) {
    unsigned long long count = 0;
    for (; value != 0; value &= value - 1)
        ++count;
    return count;
}
} // namespace

PerfRecordEventDataStore::PerfRecordEventDataStore(const boost::ptr_vector<PerfEventAttribute>& attributes)
    : attributes(attributes), lastId(0), lastIndex(UNKNOWN_ATTRIBUTE - 1), sameLayout(true), identified(false),
      warned(false), unknownAttributeCount(0), undecodableBefore(0) {
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
    attributeById.clear();
    lastIndex = UNKNOWN_ATTRIBUTE - 1;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (i + 1 < attributes.size() && !areAtributesSimilar(attributes[i], attributes[i + 1]))
            sameLayout = false;
        if ((attributes[i].getSampleType() & A::SAMPLE_IDENTIFIER) == 0)
            identified = false;
        for (unsigned long long id : attributes[i].getStreamIds())
            attributeById.emplace(id, static_cast<int>(i));
    }
    const std::size_t FEW = 32;
    fewIds.clear();
    if (attributeById.size() <= FEW)
        fewIds.assign(attributeById.begin(), attributeById.end());
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
    if (size < 8)
        return UNKNOWN_ATTRIBUTE;
    unsigned long long id = 0;
    std::memcpy(&id, type == PerfEventData::TYPE_SAMPLE ? body : body + size - 8, 8);
    if (id == lastId && lastIndex != UNKNOWN_ATTRIBUTE - 1)
        return lastIndex;
    lastId = id;
    if (!fewIds.empty() || attributeById.empty()) {
        lastIndex = UNKNOWN_ATTRIBUTE;
        for (const auto& entry : fewIds)
            if (entry.first == id) {
                lastIndex = entry.second;
                break;
            }
        return lastIndex;
    }
    auto found = attributeById.find(id);
    lastIndex = found == attributeById.end() ? UNKNOWN_ATTRIBUTE : found->second;
    return lastIndex;
}

bool PerfRecordEventDataStore::getRecordTime(unsigned int type, const unsigned char* body, unsigned int size,
                                             unsigned long long& time) const {
    if (type > LAST_KERNEL_RECORD)
        return false;
    const int index = findAttribute(type, body, size);
    if (index == UNKNOWN_ATTRIBUTE)
        return false;
    const PerfEventAttribute& attribute = attributes[static_cast<std::size_t>(index)];
    const unsigned long long sampleType = attribute.getSampleType();
    if ((sampleType & A::SAMPLE_TIME) == 0)
        return false;
    unsigned long long offset = 0;
    if (type == PerfEventData::TYPE_SAMPLE) {
        offset = 8 * bitCount(sampleType & (A::SAMPLE_IDENTIFIER | A::SAMPLE_IP | A::SAMPLE_TID));
    } else {
        if (!attribute.isSampleIdAll())
            return false;
        // The trailer ends with id, stream id, cpu and identifier, each 8 bytes, as far as selected.
        const unsigned long long after =
            8 * bitCount(sampleType & (A::SAMPLE_ID | A::SAMPLE_STREAM_ID | A::SAMPLE_CPU | A::SAMPLE_IDENTIFIER));
        if (size < after + 8)
            return false;
        offset = size - after - 8;
    }
    if (offset + 8 > size)
        return false;
    std::memcpy(&time, body + offset, 8);
    return true;
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

unsigned long long PerfRecordEventDataStore::getUndecodableSampleCount() const {
    unsigned long long count = undecodableBefore;
    for (std::size_t i = PerfEventData::TYPE_SAMPLE; i < decoders.size(); i += TYPES)
        count += static_cast<const PerfEventDataSample&>(decoders[i]).getUndecodableCount();
    return count;
}

} // namespace perfevents
