#include "algorithms/TracePointAlgorithm.h"

#include "kestrel/LogLevel.h"
#include "kestrel/Logger.h"

#include <cstdarg>

TracePointAlgorithm::~TracePointAlgorithm() {}

bool TracePointAlgorithm::configurationError(kestrel::Logger* logger, const std::string& reason, const char* format,
                                             ...) {
    va_list arguments;
    va_start(arguments, format);
    if (logger->isErrorEnabled()) {
        logger->vlog(*kestrel::LogLevel::LVL_ERROR, format, arguments);
    }
    va_end(arguments);
    offReason = reason + "; the channel is skipped";
    return false;
}
