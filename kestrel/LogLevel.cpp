#include "kestrel/LogLevel.h"

#include <strings.h>

namespace kestrel {

const char* const LogLevel::OFF_NAME = "OFF";
const char* const LogLevel::FATAL_NAME = "FATAL";
const char* const LogLevel::ERROR_NAME = "ERROR";
const char* const LogLevel::WARN_NAME = "WARN";
const char* const LogLevel::INFO_NAME = "INFO";
const char* const LogLevel::DEBUG_NAME = "DEBUG";
const char* const LogLevel::TRACE_NAME = "TRACE";
const char* const LogLevel::UNKNOWN_NAME = "UNKNOWN";
const char* const LogLevel::ALL_NAME = "ALL";

// Zero-initialised before any dynamic initialisation, so _init can tell whether it ran already.
const LogLevel* LogLevel::LVL_OFF = nullptr;
const LogLevel* LogLevel::LVL_FATAL = nullptr;
const LogLevel* LogLevel::LVL_ERROR = nullptr;
const LogLevel* LogLevel::LVL_WARN = nullptr;
const LogLevel* LogLevel::LVL_INFO = nullptr;
const LogLevel* LogLevel::LVL_DEBUG = nullptr;
const LogLevel* LogLevel::LVL_TRACE = nullptr;
const LogLevel* LogLevel::LVL_UNKNOWN = nullptr;
const LogLevel* LogLevel::LVL_ALL = nullptr;

namespace {
// Makes the constants exist before main, so code may use them without asking for a logger first.
[[maybe_unused]] const bool constantsCreated = (LogLevel::_init(), true);
} // namespace

void LogLevel::_init() {
    if (LVL_ALL != nullptr) {
        return;
    }
    LVL_OFF = new LogLevel(OFF_NAME, VALUE_OFF);
    LVL_FATAL = new LogLevel(FATAL_NAME, VALUE_FATAL);
    LVL_ERROR = new LogLevel(ERROR_NAME, VALUE_ERROR);
    LVL_WARN = new LogLevel(WARN_NAME, VALUE_WARN);
    LVL_INFO = new LogLevel(INFO_NAME, VALUE_INFO);
    LVL_DEBUG = new LogLevel(DEBUG_NAME, VALUE_DEBUG);
    LVL_TRACE = new LogLevel(TRACE_NAME, VALUE_TRACE);
    LVL_UNKNOWN = new LogLevel(UNKNOWN_NAME, VALUE_UNKNOWN);
    LVL_ALL = new LogLevel(ALL_NAME, VALUE_ALL);
}

const LogLevel* LogLevel::valueOf(const char* name) {
    _init();
    if (name == nullptr) {
        return LVL_UNKNOWN;
    }
    const LogLevel* const candidates[] = {LVL_FATAL, LVL_ERROR, LVL_WARN, LVL_INFO,
                                          LVL_DEBUG, LVL_TRACE, LVL_ALL,  LVL_OFF};
    for (const LogLevel* level : candidates) {
        if (strcasecmp(name, level->name.c_str()) == 0) {
            return level;
        }
    }
    return LVL_UNKNOWN;
}

const LogLevel* LogLevel::valueOf(const std::string& name) {
    // A name with an embedded NUL names no level.
    if (name.find('\0') != std::string::npos) {
        _init();
        return LVL_UNKNOWN;
    }
    return valueOf(name.c_str());
}

const LogLevel* LogLevel::valueOf(int value) {
    _init();
    switch (value) {
    case VALUE_OFF:
        return LVL_OFF;
    case VALUE_FATAL:
        return LVL_FATAL;
    case VALUE_ERROR:
        return LVL_ERROR;
    case VALUE_WARN:
        return LVL_WARN;
    case VALUE_INFO:
        return LVL_INFO;
    case VALUE_DEBUG:
        return LVL_DEBUG;
    case VALUE_TRACE:
        return LVL_TRACE;
    case VALUE_ALL:
        return LVL_ALL;
    default:
        return LVL_UNKNOWN;
    }
}

} // namespace kestrel
