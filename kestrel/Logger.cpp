#include "kestrel/Logger.h"

#include "kestrel/JSOM.h"
#include "kestrel/Lock.h"
#include "kestrel/LogAdapter.h"
#include "kestrel/LogAdapterStore.h"

#include <cstdio>
#include <ctime>
#include <map>
#include <sys/time.h>

namespace kestrel {

LogLevel* Logger::defaultLogLevel = nullptr;
LogLevel* Logger::masterLogLevel = nullptr;
bool Logger::bufferingEnabled = true;
LogAdapter* Logger::logAdapter = nullptr;
std::FILE* Logger::standardStream = nullptr;

namespace {

// The registry of all loggers and the lock guarding it. Created on first use and never destroyed, so
// logging works from any static initialiser or destructor.
struct Registry {
    std::map<std::string, Logger*> loggers;
    Lock lock;
};

Registry& registry() {
    static Registry* instance = new Registry();
    return *instance;
}

// Makes the registry exist before main.
[[maybe_unused]] const bool registryCreated = (registry(), true);

// Stores a copy of level in *slot, or updates the stored one when its value differs.
void storeLevel(LogLevel*& slot, const LogLevel& level) {
    if (slot == nullptr) {
        slot = new LogLevel(level);
    } else if (*slot != level) {
        *slot = level;
    }
}

} // namespace

Logger::Logger(const std::string& name, const LogLevel& level) : name(name), level(level) {
    LogLevel::_init();
    if (defaultLogLevel == nullptr) {
        defaultLogLevel = new LogLevel(*LogLevel::LVL_INFO);
    }
    if (masterLogLevel == nullptr) {
        masterLogLevel = new LogLevel(*LogLevel::LVL_ALL);
    }
}

Logger* Logger::getLogger(const std::string& name) {
    Registry& reg = registry();
    Lock::Guard guard(reg.lock);
    auto found = reg.loggers.find(name);
    if (found != reg.loggers.end()) {
        return found->second;
    }
    Logger* logger = new Logger(name, getDefaultLogLevel());
    reg.loggers.emplace(name, logger);
    return logger;
}

Logger* Logger::getLogger(const char* name) {
    return getLogger(std::string(name != nullptr ? name : ""));
}

const LogLevel& Logger::getDefaultLogLevel() {
    if (defaultLogLevel == nullptr) {
        LogLevel::_init();
        return *LogLevel::LVL_INFO;
    }
    return *defaultLogLevel;
}

void Logger::setDefaultLogLevel(const LogLevel& level) {
    storeLevel(defaultLogLevel, level);
}

const LogLevel& Logger::getMasterLogLevel() {
    if (masterLogLevel == nullptr) {
        LogLevel::_init();
        return *LogLevel::LVL_INFO;
    }
    return *masterLogLevel;
}

void Logger::setMasterLogLevel(const LogLevel& level) {
    storeLevel(masterLogLevel, level);
}

void Logger::enableBuffering() {
    bufferingEnabled = true;
}

void Logger::disableBuffering() {
    bool wasEnabled = bufferingEnabled;
    bufferingEnabled = false;
    if (wasEnabled) {
        flushAll();
    }
}

bool Logger::isBufferingEnabled() {
    return bufferingEnabled;
}

void Logger::flushAll() {
    if (logAdapter != nullptr) {
        logAdapter->flush();
    } else {
        fflush(standardStream != nullptr ? standardStream : stdout);
    }
}

LogAdapter* Logger::getLogAdapter() {
    return logAdapter;
}

void Logger::setLogAdapter(LogAdapter* adapter) {
    logAdapter = adapter;
}

void Logger::setStandardStream(std::FILE* stream) {
    standardStream = stream;
}

void Logger::visitLoggers(LoggerVisitor& visitor) {
    Registry& reg = registry();
    Lock::Guard guard(reg.lock);
    for (auto& entry : reg.loggers) {
        visitor.visit(*entry.second);
    }
}

void Logger::setLevel(const LogLevel& newLevel) {
    if (level != newLevel) {
        level = newLevel;
    }
}

void Logger::writeLine(std::FILE* out, const std::string& loggerName, const LogLevel& level, const char* message) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    time_t seconds = now.tv_sec;
    struct tm local;
    localtime_r(&seconds, &local);
    char timeText[80];
    if (strftime(timeText, sizeof(timeText), "%b %d %H:%M:%S", &local) == 0) {
        timeText[0] = '\0';
    }
    fprintf(out, "%s.%03ld [%s]: %s %s\n", timeText, static_cast<long>(now.tv_usec / 1000), loggerName.c_str(),
            level.getName().c_str(), message);
}

void Logger::log(const LogLevel& lineLevel, const char* message) {
    if (message == nullptr) {
        message = "";
    }
    if (logAdapter != nullptr) {
        logAdapter->log(lineLevel, name, message, bufferingEnabled);
        return;
    }
    std::FILE* out = standardStream != nullptr ? standardStream : stdout;
    writeLine(out, name, lineLevel, message);
    if (!bufferingEnabled) {
        fflush(out);
    }
}

void Logger::log(const LogLevel& lineLevel, const std::string& message) {
    log(lineLevel, message.c_str());
}

void Logger::vlog(const LogLevel& lineLevel, const char* format, va_list arguments) {
    char buffer[2048];
    if (format == nullptr) {
        buffer[0] = '\0';
    } else {
        vsnprintf(buffer, sizeof(buffer) - 1, format, arguments);
        buffer[sizeof(buffer) - 1] = '\0';
    }
    log(lineLevel, buffer);
}

void Logger::errorf(const char* format, ...) {
    if (!isEnabled(LogLevel::VALUE_ERROR)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vlog(*LogLevel::LVL_ERROR, format, arguments);
    va_end(arguments);
}

void Logger::warnf(const char* format, ...) {
    if (!isEnabled(LogLevel::VALUE_WARN)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vlog(*LogLevel::LVL_WARN, format, arguments);
    va_end(arguments);
}

void Logger::infof(const char* format, ...) {
    if (!isEnabled(LogLevel::VALUE_INFO)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vlog(*LogLevel::LVL_INFO, format, arguments);
    va_end(arguments);
}

void Logger::debugf(const char* format, ...) {
    if (!isEnabled(LogLevel::VALUE_DEBUG)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vlog(*LogLevel::LVL_DEBUG, format, arguments);
    va_end(arguments);
}

void Logger::tracef(const char* format, ...) {
    if (!isEnabled(LogLevel::VALUE_TRACE)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vlog(*LogLevel::LVL_TRACE, format, arguments);
    va_end(arguments);
}

void Logger::error(const char* message) {
    if (isEnabled(LogLevel::VALUE_ERROR)) {
        log(*LogLevel::LVL_ERROR, message);
    }
}

namespace {

// The level named by a string value; LVL_UNKNOWN for anything else.
const LogLevel* levelOf(const JSOM& value) {
    if (!value.isString()) {
        return LogLevel::valueOf("");
    }
    return LogLevel::valueOf(value.stringValue(JSOM::EMPTY_STRING));
}

} // namespace

void Logger::useConfig(const JSOM& config) {
    // Only an object can hold settings; navigating into anything else would only report errors.
    if (!config.isObject()) {
        return;
    }

    JSOM buffering = config["buffering"];
    if (buffering.isResolved()) {
        bufferingEnabled = buffering.booleanValue(true);
    }

    JSOM defaultLevel = config["default"];
    if (defaultLevel.isResolved()) {
        const LogLevel* level = levelOf(defaultLevel);
        if (level != LogLevel::LVL_UNKNOWN) {
            setDefaultLogLevel(*level);
        }
    }

    JSOM masterLevel = config["level"];
    if (masterLevel.isResolved()) {
        const LogLevel* level = levelOf(masterLevel);
        if (level != LogLevel::LVL_UNKNOWN) {
            setMasterLogLevel(*level);
        }
    }

    JSOM categories = config["categories"];
    if (categories.isObject()) {
        // From the last member to the first, so the first of two equal names has the last word.
        for (int i = categories.size() - 1; i >= 0; --i) {
            const std::string* name = categories.key(i);
            const LogLevel* level = levelOf(categories[i]);
            if (name != nullptr && level != LogLevel::LVL_UNKNOWN) {
                getLogger(*name)->setLevel(*level);
            }
        }
    }

    JSOM adapter = config["adapter"];
    if (adapter.isObject()) {
        JSOM type = adapter["type"];
        if (type.isResolved()) {
            logAdapter = LogAdapterStore::createLogAdapter(type.stringValue(JSOM::EMPTY_STRING), adapter);
        }
    }
}

void Logger::loadConfig(const char* path) {
    if (path == nullptr) {
        fprintf(stderr, "Could not load file `%s'.\n", "");
        return;
    }
    JSOM document;
    if (document.fromFile(path).isError()) {
        fprintf(stderr, "Could not load file `%s'.\n", path);
        return;
    }
    useConfig(document);
}

} // namespace kestrel
