#include "perfevents/PerfEventDataTaskRecord.h"

#include <cstring>

namespace perfevents {

PerfEventDataTaskRecord::PerfEventDataTaskRecord(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), pid(~0u), ppid(~0u), tid(~0u), ptid(~0u), time(0) {
    requiredMinimumSize = 24;
}

PerfEventDataTaskRecord::~PerfEventDataTaskRecord() {}

bool PerfEventDataTaskRecord::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&pid, bytes, 4);
    std::memcpy(&ppid, bytes + 4, 4);
    std::memcpy(&tid, bytes + 8, 4);
    std::memcpy(&ptid, bytes + 12, 4);
    std::memcpy(&time, bytes + 16, 8);
    return true;
}

} // namespace perfevents
