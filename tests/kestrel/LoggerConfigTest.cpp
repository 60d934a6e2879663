#include "kestrel/JSOM.h"
#include "kestrel/LogLevel.h"
#include "kestrel/Logger.h"

#include <gtest/gtest.h>

#include <unistd.h>

using kestrel::JSOM;
using kestrel::Logger;
using kestrel::LogLevel;

namespace {

class LoggerConfigTest : public testing::Test {
protected:
    void TearDown() override {
        Logger::enableBuffering();
        Logger::setDefaultLogLevel(*LogLevel::LVL_INFO);
        Logger::setMasterLogLevel(*LogLevel::LVL_ALL);
    }

    static void apply(const char* text) {
        JSOM document;
        ASSERT_NE(&JSOM::JERROR, &document.fromString(text));
        Logger::useConfig(document);
    }
};

} // namespace

TEST_F(LoggerConfigTest, LevelsAndBufferingComeFromTheConfiguration) {
    apply(R"({"buffering": "off", "default": "Debug", "level": "wArN"})");
    EXPECT_FALSE(Logger::isBufferingEnabled());
    EXPECT_EQ("DEBUG", Logger::getDefaultLogLevel().getName());
    EXPECT_EQ("WARN", Logger::getMasterLogLevel().getName());
    Logger* logger = Logger::getLogger("LoggerConfigTest.configured");
    EXPECT_EQ("DEBUG", logger->getLevel().getName());
    EXPECT_FALSE(logger->isInfoEnabled()); // capped by the master level

    // Unknown names, "UNKNOWN" itself and non-strings change nothing; missing keys leave settings alone.
    apply(R"({"default": "verbose", "level": "UNKNOWN"})");
    apply(R"({"default": 5, "level": true})");
    EXPECT_EQ("DEBUG", Logger::getDefaultLogLevel().getName());
    EXPECT_EQ("WARN", Logger::getMasterLogLevel().getName());
    EXPECT_FALSE(Logger::isBufferingEnabled());
}

TEST_F(LoggerConfigTest, CategoriesSetLevelsOfNamedLoggers) {
    Logger* existing = Logger::getLogger("LoggerConfigTest.existing");
    apply(R"({"default": "error", "categories": {"LoggerConfigTest.existing": "trace",
              "LoggerConfigTest.unused": "off", "LoggerConfigTest.bad": "loud",
              "LoggerConfigTest.twice": "debug", "LoggerConfigTest.twice": "warn"}})");
    EXPECT_EQ("TRACE", existing->getLevel().getName());
    EXPECT_EQ("OFF", Logger::getLogger("LoggerConfigTest.unused")->getLevel().getName());
    EXPECT_EQ("ERROR", Logger::getLogger("LoggerConfigTest.bad")->getLevel().getName());
    // Members are applied from the last to the first, so the first of equal names wins.
    EXPECT_EQ("DEBUG", Logger::getLogger("LoggerConfigTest.twice")->getLevel().getName());
}

TEST_F(LoggerConfigTest, LoadConfigReadsAFileAndReportsAMissingOne) {
    char path[] = "/tmp/logconfig-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const char text[] = R"({"level": "error"})";
    ASSERT_EQ(static_cast<ssize_t>(sizeof(text) - 1), write(fd, text, sizeof(text) - 1));
    close(fd);
    Logger::loadConfig(path);
    unlink(path);
    EXPECT_EQ("ERROR", Logger::getMasterLogLevel().getName());

    testing::internal::CaptureStderr();
    Logger::loadConfig("/nonexistent/log.conf");
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, errors.find("Could not load file `/nonexistent/log.conf'.\n")) << errors;
    EXPECT_EQ("ERROR", Logger::getMasterLogLevel().getName());
}
