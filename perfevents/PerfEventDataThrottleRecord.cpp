#include "perfevents/PerfEventDataThrottleRecord.h"

#include <cstring>

namespace perfevents {

PerfEventDataThrottleRecord::PerfEventDataThrottleRecord(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), time(0), id(~0ULL), streamId(~0ULL) {
    requiredMinimumSize = 24;
}

PerfEventDataThrottleRecord::~PerfEventDataThrottleRecord() {}

bool PerfEventDataThrottleRecord::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&time, bytes, 8);
    std::memcpy(&id, bytes + 8, 8);
    std::memcpy(&streamId, bytes + 16, 8);
    return true;
}

} // namespace perfevents
