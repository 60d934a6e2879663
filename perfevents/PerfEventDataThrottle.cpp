#include "perfevents/PerfEventDataThrottle.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

#include <cstring>

namespace perfevents {

kestrel::Logger* PerfEventDataThrottle::logger = nullptr;

PerfEventDataThrottle::PerfEventDataThrottle(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), time(0), id(~0ULL), streamId(~0ULL) {
    requiredMinimumSize = 24;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataThrottle");
}

PerfEventDataThrottle::~PerfEventDataThrottle() {}

bool PerfEventDataThrottle::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&time, bytes, 8);
    std::memcpy(&id, bytes + 8, 8);
    std::memcpy(&streamId, bytes + 16, 8);
    return true;
}

} // namespace perfevents
