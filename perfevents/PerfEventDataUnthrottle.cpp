#include "perfevents/PerfEventDataUnthrottle.h"

#include "kestrel/Logger.h"

namespace perfevents {

kestrel::Logger* PerfEventDataUnthrottle::logger = nullptr;

PerfEventDataUnthrottle::PerfEventDataUnthrottle(const PerfEventAttribute& attribute)
    : PerfEventDataThrottleRecord(attribute) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataUnthrottle");
}

PerfEventDataUnthrottle::~PerfEventDataUnthrottle() {}

} // namespace perfevents
