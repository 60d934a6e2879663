#include "kestrel/Logger.h"
#include "kestrel/LogAdapter.h"
#include "kestrel/LogLevel.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

using kestrel::Logger;
using kestrel::LogLevel;

namespace {

// Collects "LEVEL:message" of every line handed to it, and counts flushes.
class RecordingAdapter : public kestrel::LogAdapter {
public:
    std::string lines;
    std::vector<bool> buffered;
    int flushes = 0;

    void log(const LogLevel& level, std::string&, const char* message, bool isBuffered) override {
        lines += level.getName() + ":" + message + " ";
        buffered.push_back(isBuffered);
    }
    void log(const LogLevel& level, std::string& logger, const std::string& message, bool isBuffered) override {
        log(level, logger, message.c_str(), isBuffered);
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

    std::string logAtEveryLevel(Logger* logger) {
        adapter.lines.clear();
        logger->errorf("e%d", 1);
        logger->warnf("w%d", 2);
        logger->infof("i%d", 3);
        logger->debugf("d%d", 4);
        logger->tracef("t%d", 5);
        logger->error("plain");
        return adapter.lines;
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
    EXPECT_EQ(LogLevel::LVL_TRACE, LogLevel::valueOf(6));
    EXPECT_EQ(LogLevel::LVL_ALL, LogLevel::valueOf(8));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(7));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(-1));
    EXPECT_EQ(LogLevel::LVL_UNKNOWN, LogLevel::valueOf(9));
}

TEST_F(LoggerTest, LoggerAndMasterLevelsBothLimitTheLines) {
    Logger* logger = Logger::getLogger("LoggerTest.levels");
    EXPECT_EQ(logger, Logger::getLogger(std::string("LoggerTest.levels")));
    EXPECT_EQ("ERROR:e1 WARN:w2 INFO:i3 ERROR:plain ", logAtEveryLevel(logger));

    logger->setLevel(*LogLevel::LVL_ALL);
    EXPECT_EQ("ERROR:e1 WARN:w2 INFO:i3 DEBUG:d4 TRACE:t5 ERROR:plain ", logAtEveryLevel(logger));
    Logger::setMasterLogLevel(*LogLevel::LVL_WARN);
    EXPECT_EQ("ERROR:e1 WARN:w2 ERROR:plain ", logAtEveryLevel(logger));

    Logger::setMasterLogLevel(*LogLevel::LVL_ALL);
    logger->setLevel(*LogLevel::LVL_OFF);
    EXPECT_EQ("", logAtEveryLevel(logger));
    logger->log(*LogLevel::LVL_FATAL, std::string("forced")); // no level check
    EXPECT_EQ("FATAL:forced ", adapter.lines);

    // A new default applies to loggers created afterwards only.
    Logger::setDefaultLogLevel(*LogLevel::LVL_DEBUG);
    EXPECT_EQ("OFF", logger->getLevel().getName());
    EXPECT_EQ("DEBUG", Logger::getLogger("LoggerTest.later")->getLevel().getName());
}

TEST_F(LoggerTest, LongMessagesAreCutAt2046Characters) {
    std::string exact(2046, 'x');
    Logger::getLogger("LoggerTest.long")->infof("%s", exact.c_str());
    Logger::getLogger("LoggerTest.long")->infof("%sy", exact.c_str());
    EXPECT_EQ("INFO:" + exact + " INFO:" + exact + " ", adapter.lines);
}

TEST_F(LoggerTest, BufferingIsPassedOnAndDisablingFlushesOnce) {
    Logger* logger = Logger::getLogger("LoggerTest.buffering");
    logger->infof("buffered");
    Logger::disableBuffering();
    Logger::disableBuffering();
    EXPECT_EQ(1, adapter.flushes);
    logger->infof("unbuffered");
    EXPECT_EQ((std::vector<bool>{true, false}), adapter.buffered);
}

TEST(LoggerOutputTest, LineFormatOnStandardOutput) {
    testing::internal::CaptureStdout();
    Logger::getLogger("LoggerTest.stdout")->warnf("%p value=%d", static_cast<void*>(nullptr), 42);
    std::string out = testing::internal::GetCapturedStdout();
    std::regex line(R"([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} )"
                    R"(\[LoggerTest\.stdout\]: WARN \(nil\) value=42\n)");
    EXPECT_TRUE(std::regex_match(out, line)) << out;
}
