#ifndef KESTREL_LOGADAPTER_H
#define KESTREL_LOGADAPTER_H

#include "kestrel/LogLevel.h"

#include <string>

namespace kestrel {

// Destination of the loggers' lines when the logging configuration names one.
class LogAdapter {
public:
    virtual ~LogAdapter() = default;

    // Writes one line. When buffered is false the adapter flushes the line at once.
    virtual void log(const LogLevel& level, std::string& loggerName, const char* message, bool buffered) = 0;
    virtual void log(const LogLevel& level, std::string& loggerName, const std::string& message, bool buffered) = 0;
    virtual void flush() = 0;
};

} // namespace kestrel

#endif
