#include "perfevents/PerfEventDataThrottle.h"

#include "kestrel/Logger.h"

namespace perfevents {

kestrel::Logger* PerfEventDataThrottle::logger = nullptr;

PerfEventDataThrottle::PerfEventDataThrottle(const PerfEventAttribute& attribute)
    : PerfEventDataThrottleRecord(attribute) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataThrottle");
}

PerfEventDataThrottle::~PerfEventDataThrottle() {}

} // namespace perfevents
