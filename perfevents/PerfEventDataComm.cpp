#include "perfevents/PerfEventDataComm.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"

#include <cstring>

namespace perfevents {

kestrel::Logger* PerfEventDataComm::logger = nullptr;

PerfEventDataComm::PerfEventDataComm(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), pid(~0u), tid(~0u) {
    requiredMinimumSize = 8;
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataComm");
}

PerfEventDataComm::~PerfEventDataComm() {}

bool PerfEventDataComm::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* bytes = body.data();
    std::memcpy(&pid, bytes, 4);
    std::memcpy(&tid, bytes + 4, 4);
    comm.clear();
    const char* name = reinterpret_cast<const char*>(bytes) + 8;
    const std::size_t available = body.size() - 8;
    const void* end = std::memchr(name, 0, available);
    const std::size_t length = end != nullptr ? static_cast<const char*>(end) - name : available;
    for (std::size_t i = 0; i < length; ++i) {
        if (!isIgnore(name[i]))
            comm.push_back(name[i]);
    }
    return true;
}

} // namespace perfevents

namespace perfevents {

namespace {
// Printable ASCII, space to '~', is kept in command names; everything else is dropped.
struct PrintableTable {
    bool good[256];
    PrintableTable() {
        for (int c = 0; c < 256; ++c)
            good[c] = c >= 32 && c <= 126;
    }
};
const PrintableTable printable;
} // namespace

bool isIgnore(char c) {
    if (PerfEventDataComm::logger == nullptr)
        PerfEventDataComm::logger = kestrel::Logger::getLogger("PerfEventDataComm");
    if (printable.good[static_cast<unsigned char>(c)]) {
        PerfEventDataComm::logger->debugf("good");
        return false;
    }
    PerfEventDataComm::logger->debugf("bad");
    return true;
}

} // namespace perfevents
