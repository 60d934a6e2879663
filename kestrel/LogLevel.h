#ifndef KESTREL_LOGLEVEL_H
#define KESTREL_LOGLEVEL_H

#include <cstdint>
#include <string>

namespace kestrel {

// A named severity. A higher value is more verbose; two levels are the same when their values are equal.
class LogLevel {
public:
    static const char* const OFF_NAME;
    static const char* const FATAL_NAME;
    static const char* const ERROR_NAME;
    static const char* const WARN_NAME;
    static const char* const INFO_NAME;
    static const char* const DEBUG_NAME;
    static const char* const TRACE_NAME;
    static const char* const UNKNOWN_NAME;
    static const char* const ALL_NAME;

    enum : int32_t {
        VALUE_OFF = 0,
        VALUE_FATAL = 1,
        VALUE_ERROR = 2,
        VALUE_WARN = 3,
        VALUE_INFO = 4,
        VALUE_DEBUG = 5,
        VALUE_TRACE = 6,
        VALUE_UNKNOWN = 7,
        VALUE_ALL = 8
    };

    // The shared constants; created together before main (or on the first call of _init) and never freed.
    static const LogLevel* LVL_OFF;
    static const LogLevel* LVL_FATAL;
    static const LogLevel* LVL_ERROR;
    static const LogLevel* LVL_WARN;
    static const LogLevel* LVL_INFO;
    static const LogLevel* LVL_DEBUG;
    static const LogLevel* LVL_TRACE;
    static const LogLevel* LVL_UNKNOWN;
    static const LogLevel* LVL_ALL;

    LogLevel(const std::string& name, int32_t value) : name(name), value(value) {}
    LogLevel(const LogLevel&) = default;
    LogLevel& operator=(const LogLevel&) = default;
    virtual ~LogLevel() = default;

    const std::string& getName() const { return name; }
    int32_t getValue() const { return value; }

    bool operator==(const LogLevel& other) const { return value == other.value; }
    bool operator!=(const LogLevel& other) const { return value != other.value; }

    // The constant named by the text, ignoring case; LVL_UNKNOWN for any other text (also "UNKNOWN") and for null.
    static const LogLevel* valueOf(const char* name);
    static const LogLevel* valueOf(const std::string& name);
    // The constant of that value for 0 to 6 and 8; LVL_UNKNOWN for every other value.
    static const LogLevel* valueOf(int value);

    // Creates the shared constants unless they exist already.
    static void _init();

private:
    std::string name;
    int32_t value;
};

} // namespace kestrel

#endif
