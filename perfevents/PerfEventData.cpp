#include "perfevents/PerfEventData.h"

#include "kestrel/Logger.h"

namespace perfevents {

kestrel::Logger* PerfEventData::logger = nullptr;

PerfEventData::PerfEventData(const PerfEventAttribute& attribute)
    : attribute(attribute), requiredMinimumSize(0), miscFlags(0) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventData");
}

PerfEventData::~PerfEventData() {}

unsigned int PerfEventData::getRequiredMinimumSize() const {
    return requiredMinimumSize;
}

bool PerfEventData::parse(const kestrel::ByteBufferViewport& body, MiscFlags misc) {
    if (body.size() < getRequiredMinimumSize())
        return false;
    miscFlags = misc;
    return parseEventData(body);
}

} // namespace perfevents
