#include "perfevents/PerfEventDataExit.h"

#include "kestrel/Logger.h"

namespace perfevents {

kestrel::Logger* PerfEventDataExit::logger = nullptr;

PerfEventDataExit::PerfEventDataExit(const PerfEventAttribute& attribute) : PerfEventDataTaskRecord(attribute) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataExit");
}

PerfEventDataExit::~PerfEventDataExit() {}

} // namespace perfevents
