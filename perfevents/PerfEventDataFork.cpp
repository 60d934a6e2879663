#include "perfevents/PerfEventDataFork.h"

#include "kestrel/Logger.h"

namespace perfevents {

kestrel::Logger* PerfEventDataFork::logger = nullptr;

PerfEventDataFork::PerfEventDataFork(const PerfEventAttribute& attribute) : PerfEventDataTaskRecord(attribute) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataFork");
}

PerfEventDataFork::~PerfEventDataFork() {}

} // namespace perfevents
