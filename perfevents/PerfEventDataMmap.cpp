#include "perfevents/PerfEventDataMmap.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

#include <cstring>

namespace perfevents {

kestrel::Logger* PerfEventDataMmap::logger = nullptr;

PerfEventDataMmap::PerfEventDataMmap(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), pid(~0u), tid(~0u), addr(~0ULL), len(0), pgoff(~0ULL) {
    requiredMinimumSize = 32;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataMmap");
}

PerfEventDataMmap::~PerfEventDataMmap() {}

bool PerfEventDataMmap::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&pid, bytes, 4);
    std::memcpy(&tid, bytes + 4, 4);
    std::memcpy(&addr, bytes + 8, 8);
    std::memcpy(&len, bytes + 16, 8);
    std::memcpy(&pgoff, bytes + 24, 8);
    const char* name = reinterpret_cast<const char*>(bytes) + 32;
    const std::size_t available = body.size() - 32;
    const void* end = std::memchr(name, 0, available);
    filename.assign(name, end != nullptr ? static_cast<const char*>(end) - name : available);
    return true;
}

} // namespace perfevents
