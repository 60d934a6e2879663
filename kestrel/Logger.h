#ifndef KESTREL_LOGGER_H
#define KESTREL_LOGGER_H

#include "kestrel/LogLevel.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace kestrel {

class JSOM;
class LogAdapter;

// A named logger. Loggers come from a process-wide registry (getLogger), carry their own level and are
// capped by one process-wide master level. Lines go to the configured log adapter or, without one, to
// standard output as "<Mon dd HH:MM:SS>.<ms> [<logger>]: <LEVEL> <message>".
class Logger {
public:
    // Receives every registered logger from visitLoggers.
    class LoggerVisitor {
    public:
        virtual ~LoggerVisitor() = default;
        virtual void visit(Logger& logger) = 0;
    };

    virtual ~Logger() = default;

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // The logger of that name, created with the current default level when it does not exist yet.
    // The same name always yields the same logger; loggers live until the process ends.
    static Logger* getLogger(const std::string& name);
    static Logger* getLogger(const char* name);

    // The level given to loggers created from now on (INFO until one is set).
    static const LogLevel& getDefaultLogLevel();
    static void setDefaultLogLevel(const LogLevel& level);
    // The cap applied to every logger (INFO until one is set; ALL once the first logger exists).
    static const LogLevel& getMasterLogLevel();
    static void setMasterLogLevel(const LogLevel& level);

    // With buffering off, every line is flushed as soon as it is written.
    static void enableBuffering();
    static void disableBuffering();
    static bool isBufferingEnabled();
    static void flushAll();

    // Where lines go; null means the standard stream below. The adapter is not owned: replacing it does not free it.
    static LogAdapter* getLogAdapter();
    static void setLogAdapter(LogAdapter* adapter);
    // The stream lines go to without an adapter: standard output unless set (standard error when the program's
    // own output is on standard output).
    static void setStandardStream(std::FILE* stream);

    static void visitLoggers(LoggerVisitor& visitor);

    // Applies the "log" object of the configuration: "buffering", "default", "level", "categories", "adapter".
    static void useConfig(const JSOM& config);
    // Loads a JSON file and applies it with useConfig; reports an unreadable file on standard error.
    static void loadConfig(const char* path);

    const std::string& getName() const { return name; }
    const LogLevel& getLevel() const { return level; }
    void setLevel(const LogLevel& newLevel);

    // Whether a line at that level passes both this logger's level and the master level.
    bool isEnabled(int32_t levelValue) const {
        return level.getValue() >= levelValue && masterLogLevel->getValue() >= levelValue;
    }
    bool isEnabled(const LogLevel& callLevel) const { return isEnabled(callLevel.getValue()); }
    bool isErrorEnabled() const { return isEnabled(LogLevel::VALUE_ERROR); }
    bool isWarnEnabled() const { return isEnabled(LogLevel::VALUE_WARN); }
    bool isInfoEnabled() const { return isEnabled(LogLevel::VALUE_INFO); }
    bool isDebugEnabled() const { return isEnabled(LogLevel::VALUE_DEBUG); }
    bool isTraceEnabled() const { return isEnabled(LogLevel::VALUE_TRACE); }

    // Writes one time-stamped line "<local time>.<ms> [<loggerName>]: <level> <message>" to out, the form both
    // standard output and the file adapter use.
    static void writeLine(std::FILE* out, const std::string& loggerName, const LogLevel& level, const char* message);

    // Write one line without any level check.
    void log(const LogLevel& lineLevel, const char* message);
    void log(const LogLevel& lineLevel, const std::string& message);
    // Formats into a fixed 2048-byte buffer (a message keeps at most 2046 characters), then logs it.
    void vlog(const LogLevel& lineLevel, const char* format, va_list arguments);

    // Check the levels first and format only when the line is written.
    void errorf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void warnf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void infof(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void debugf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void tracef(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void error(const char* message);

private:
    Logger(const std::string& name, const LogLevel& level);

    std::string name;
    LogLevel level;

    static LogLevel* defaultLogLevel;
    static LogLevel* masterLogLevel;
    static bool bufferingEnabled;
    static LogAdapter* logAdapter;
    static std::FILE* standardStream;
};

} // namespace kestrel

#endif
