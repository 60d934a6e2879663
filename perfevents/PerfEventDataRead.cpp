#include "perfevents/PerfEventDataRead.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

#include <cstring>

namespace perfevents {

kestrel::Logger* PerfEventDataRead::logger = nullptr;

PerfEventDataRead::PerfEventDataRead(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), pid(~0u), tid(~0u), value(0) {
    requiredMinimumSize = attribute.getReadFormat() != 0 ? 48 : 16;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataRead");
}

PerfEventDataRead::~PerfEventDataRead() {}

bool PerfEventDataRead::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&pid, bytes, 4);
    std::memcpy(&tid, bytes + 4, 4);
    std::memcpy(&value, bytes + 8, 8);
    // A view only: the values stay in the record buffer.
    values.initialize(const_cast<unsigned char*>(bytes) + 8, body.size() - 8, body.size() - 8);
    return true;
}

} // namespace perfevents
