#include "kestrel/Logger.h"
#include "kestrel/LogAdapter.h"
#include "kestrel/LogLevel.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

using kestrel::LogAdapter;
using kestrel::Logger;
using kestrel::LogLevel;

namespace {

// Records the lines handed to it instead of writing them.
class RecordingAdapter : public LogAdapter {
public:
    struct Line {
        std::string level;
        std::string logger;
        std::string message;
        bool buffered;
    };
    std::vector<Line> lines;
    int flushes = 0;

    void log(const LogLevel& level, std::string& loggerName, const char* message, bool buffered) override {
        lines.push_back({level.getName(), loggerName, message, buffered});
    }
    void log(const LogLevel& level, std::string& loggerName, const std::string& message, bool buffered) override {
        log(level, loggerName, message.c_str(), buffered);
    }
    void flush() override { ++flushes; }
};

// Sends the lines to a recording adapter and restores the process-wide settings afterwards.
class LoggerTest : public testing::Test {
protected:
    RecordingAdapter adapter;

    void SetUp() override { Logger::setLogAdapter(&adapter); }
    void TearDown() override {
        Logger::setLogAdapter(nullptr);
        Logger::enableBuffering();
        Logger::setDefaultLogLevel(*LogLevel::LVL_INFO);
        Logger::setMasterLogLevel(*LogLevel::LVL_ALL);
    }

    void logAtEveryLevel(Logger* logger) {
        logger->errorf("e%d", 1);
        logger->warnf("w%d", 2);
        logger->infof("i%d", 3);
        logger->debugf("d%d", 4);
        logger->tracef("t%d", 5);
        logger->error("plain");
    }

    std::string messages() const {
        std::string all;
        for (const auto& line : adapter.lines) {
            all += line.level + ":" + line.message + " ";
        }
        return all;
    }
};

} // namespace

TEST(LogLevelTest, ValueOfNamesAndNumbers) {
    EXPECT_EQ(LogLevel::LVL_WARN, LogLevel::valueOf("wArN"));
    EXPECT_EQ(LogLevel::LVL_OFF, LogLevel::valueOf(std::string("off")));
    EXPECT_EQ(LogLevel::LVL_ALL, LogLevel::valueOf("ALL"));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf("UNKNOWN"));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf("INFOX"));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(std::string("INFO\0X", 6)));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(static_cast<const char*>(nullptr)));
    EXPECT_EQ(LogLevel::LVL_TRACE, LogLevel::valueOf(6));
    EXPECT_EQ(LogLevel::LVL_ALL, LogLevel::valueOf(8));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(7));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(-1));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(9));
    EXPECT_EQ("UNKNOWN", LogLevel::LVL_UNKNOWN->getName());
    EXPECT_TRUE(LogLevel("other", 4) == *LogLevel::LVL_INFO);
}

TEST_F(LoggerTest, DefaultLevelsWriteInfoAndAbove) {
    Logger* logger = Logger::getLogger("LoggerTest.defaults");
    EXPECT_EQ(logger, Logger::getLogger(std::string("LoggerTest.defaults")));
    EXPECT_EQ("INFO", logger->getLevel().getName());
    EXPECT_EQ(LogLevel::VALUE_ALL, Logger::getMasterLogLevel().getValue());
    logAtEveryLevel(logger);
    EXPECT_EQ("ERROR:e1 WARN:w2 INFO:i3 ERROR:plain ", messages());
    EXPECT_EQ("LoggerTest.defaults", adapter.lines[0].logger);
    EXPECT_TRUE(adapter.lines[0].buffered);
}

TEST_F(LoggerTest, MasterLevelCapsEveryLoggerAndOffSilencesAll) {
    Logger* logger = Logger::getLogger("LoggerTest.master");
    logger->setLevel(*LogLevel::LVL_ALL);
    Logger::setMasterLogLevel(*LogLevel::LVL_WARN);
    logAtEveryLevel(logger);
    EXPECT_EQ("ERROR:e1 WARN:w2 ERROR:plain ", messages());

    adapter.lines.clear();
    Logger::setMasterLogLevel(*LogLevel::LVL_ALL);
    logAtEveryLevel(logger);
    EXPECT_EQ(6u, adapter.lines.size());

    adapter.lines.clear();
    logger->setLevel(*LogLevel::LVL_OFF);
    logAtEveryLevel(logger);
    EXPECT_TRUE(adapter.lines.empty());
    // log itself does not check levels.
    logger->log(*LogLevel::LVL_FATAL, std::string("forced"));
    EXPECT_EQ("FATAL:forced ", messages());
}

TEST_F(LoggerTest, DefaultLevelAppliesToLaterLoggersOnly) {
    Logger* before = Logger::getLogger("LoggerTest.before");
    Logger::setDefaultLogLevel(*LogLevel::LVL_DEBUG);
    Logger* after = Logger::getLogger("LoggerTest.after");
    EXPECT_EQ("INFO", before->getLevel().getName());
    EXPECT_EQ("DEBUG", after->getLevel().getName());
    EXPECT_TRUE(after->isDebugEnabled());
    EXPECT_FALSE(after->isTraceEnabled());
}

TEST_F(LoggerTest, LongMessagesAreCutAt2046Characters) {
    Logger* logger = Logger::getLogger("LoggerTest.long");
    std::string exact(2046, 'x');
    std::string longer = exact + "y";
    logger->infof("%s", exact.c_str());
    logger->infof("%s", longer.c_str());
    ASSERT_EQ(2u, adapter.lines.size());
    EXPECT_EQ(exact, adapter.lines[0].message);
    EXPECT_EQ(exact, adapter.lines[1].message);
}

TEST_F(LoggerTest, BufferingIsPassedOnAndDisablingFlushesOnce) {
    Logger* logger = Logger::getLogger("LoggerTest.buffering");
    Logger::disableBuffering();
    Logger::disableBuffering();
    EXPECT_EQ(1, adapter.flushes);
    logger->infof("unbuffered");
    ASSERT_EQ(1u, adapter.lines.size());
    EXPECT_FALSE(adapter.lines[0].buffered);
    Logger::flushAll();
    EXPECT_EQ(2, adapter.flushes);
}

TEST_F(LoggerTest, VisitorSeesLoggersInNameOrder) {
    Logger::getLogger("LoggerTest.visit.b");
    Logger::getLogger("LoggerTest.visit.a");
    struct Collector : Logger::LoggerVisitor {
        std::vector<std::string> names;
        void visit(Logger& logger) override {
            if (logger.getName().rfind("LoggerTest.visit.", 0) == 0) {
                names.push_back(logger.getName());
            }
        }
    } collector;
    Logger::visitLoggers(collector);
    EXPECT_EQ((std::vector<std::string>{"LoggerTest.visit.a", "LoggerTest.visit.b"}), collector.names);
}

TEST(LoggerOutputTest, LineFormatOnStandardOutput) {
    Logger* logger = Logger::getLogger("LoggerTest.stdout");
    testing::internal::CaptureStdout();
    logger->warnf("%p value=%d", static_cast<void*>(nullptr), 42);
    std::string out = testing::internal::GetCapturedStdout();
    std::regex line(R"([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} )"
                    R"(\[LoggerTest\.stdout\]: WARN \(nil\) value=42\n)");
    EXPECT_TRUE(std::regex_match(out, line)) << out;
}
