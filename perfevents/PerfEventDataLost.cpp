#include "perfevents/PerfEventDataLost.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

#include <cstring>

namespace perfevents {

kestrel::Logger* PerfEventDataLost::logger = nullptr;

PerfEventDataLost::PerfEventDataLost(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), id(~0ULL), lost(0) {
    requiredMinimumSize = 16;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataLost");
}

PerfEventDataLost::~PerfEventDataLost() {}

bool PerfEventDataLost::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&id, bytes, 8);
    std::memcpy(&lost, bytes + 8, 8);
    return true;
}

} // namespace perfevents
