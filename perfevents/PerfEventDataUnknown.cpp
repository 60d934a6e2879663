#include "perfevents/PerfEventDataUnknown.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

namespace perfevents {

kestrel::Logger* PerfEventDataUnknown::logger = nullptr;

PerfEventDataUnknown::PerfEventDataUnknown(const PerfEventAttribute& attribute) : PerfEventData(attribute) {
    requiredMinimumSize = 8;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataUnknown");
}

PerfEventDataUnknown::~PerfEventDataUnknown() {}

bool PerfEventDataUnknown::parseEventData(const kestrel::ByteBufferViewport& body) {
    record = body;
    return true;
}

} // namespace perfevents
