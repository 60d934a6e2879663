#include "kestrel/FileLogAdapter.h"
#include "kestrel/FileLogAdapterFactory.h"
#include "kestrel/JSOM.h"
#include "kestrel/LogAdapterStore.h"
#include "kestrel/LogLevel.h"
#include "kestrel/Logger.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdlib.h>

using kestrel::FileLogAdapter;
using kestrel::JSOM;
using kestrel::Logger;
using kestrel::LogLevel;
namespace fs = std::filesystem;

namespace {

// Each test works in a fresh temporary directory.
class FileLogAdapterTest : public testing::Test {
protected:
    std::string root;

    void SetUp() override {
        char pattern[] = "/tmp/filelog-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        root = pattern;
    }
    void TearDown() override { fs::remove_all(root); }

    JSOM config(const std::string& text) {
        JSOM document;
        EXPECT_NE(&JSOM::JERROR, &document.fromString(text));
        return document;
    }

    static std::string contents(const std::string& path) {
        std::ifstream in(path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // One run of the program: a fresh adapter that writes the given lines.
    void run(const JSOM& settings, std::initializer_list<std::string> messages) {
        FileLogAdapter adapter(settings);
        std::string name = "run";
        for (const std::string& message : messages) {
            adapter.log(*LogLevel::LVL_INFO, name, message, true);
        }
    }
};

} // namespace

TEST_F(FileLogAdapterTest, EveryRunRotatesAndFileCountFilesAreKept) {
    JSOM settings = config("{\"baseName\": \"" + root + "/app.log\", \"fileCount\": 3}");
    run(settings, {"first"});
    run(settings, {"second"});
    run(settings, {"third"});
    EXPECT_NE(std::string::npos, contents(root + "/app.log").find("INFO third\n"));
    EXPECT_NE(std::string::npos, contents(root + "/app.log.1").find("INFO second\n"));
    EXPECT_NE(std::string::npos, contents(root + "/app.log.2").find("INFO first\n"));
    run(settings, {"fourth"});
    EXPECT_NE(std::string::npos, contents(root + "/app.log.2").find("INFO second\n"));
    EXPECT_FALSE(fs::exists(root + "/app.log.3"));
    // A count beyond 32 bits is clamped to a number of renames one line can afford.
    JSOM huge = config("{\"baseName\": \"" + root + "/app.log\", \"fileCount\": 10000000000}");
    EXPECT_EQ(FileLogAdapter::MAX_FILE_COUNT, FileLogAdapter(huge).getFileCount());
    run(huge, {"fifth"});
    EXPECT_NE(std::string::npos, contents(root + "/app.log.3").find("INFO second\n"));

    // With the default count only the current file exists, emptied at the first line of each run.
    JSOM single = config("{\"baseName\": \"" + root + "/single.log\"}");
    run(single, {"one"});
    run(single, {"two"});
    std::regex line(R"([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} \[run\]: INFO two\n)");
    EXPECT_TRUE(std::regex_match(contents(root + "/single.log"), line)) << contents(root + "/single.log");
    EXPECT_FALSE(fs::exists(root + "/single.log.1"));
}

TEST_F(FileLogAdapterTest, MaxSizeRotatesBeforeTheLineThatFindsTheFileFull) {
    // Every line is 74 bytes: "Mon dd HH:MM:SS.mmm [run]: INFO " (32) + 41 + "\n"; two fill the file exactly.
    JSOM settings = config("{\"baseName\": \"" + root + "/size.log\", \"fileCount\": 2, \"maxSize\": 148}");
    std::string filler(40, 'x');
    run(settings, {"a" + filler, "b" + filler, "c" + filler});
    std::string older = contents(root + "/size.log.1");
    EXPECT_EQ(148u, older.size());
    EXPECT_NE(std::string::npos, older.find("INFO b"));
    EXPECT_EQ(74u, contents(root + "/size.log").size());
    EXPECT_NE(std::string::npos, contents(root + "/size.log").find("INFO c"));
}

TEST_F(FileLogAdapterTest, MissingDirectoriesAreCreatedAndUnusablePathsReported) {
    JSOM settings = config("{\"baseName\": \"" + root + "/deep/er/app.log\"}");
    FileLogAdapter adapter(settings);
    std::string name = "dir";
    adapter.log(*LogLevel::LVL_WARN, name, "unbuffered", false);
    // Written through at once, without a flush.
    EXPECT_NE(std::string::npos, contents(root + "/deep/er/app.log").find("[dir]: WARN unbuffered\n"));
    adapter.log(*LogLevel::LVL_WARN, name, "buffered", true);
    adapter.flush();
    EXPECT_NE(std::string::npos, contents(root + "/deep/er/app.log").find("WARN buffered\n"));

    std::ofstream(root + "/plain") << "a file, not a directory";
    JSOM blocked = config("{\"baseName\": \"" + root + "/plain/app.log\"}");
    FileLogAdapter failing(blocked);
    testing::internal::CaptureStderr();
    failing.log(*LogLevel::LVL_INFO, name, "lost", true);
    failing.log(*LogLevel::LVL_INFO, name, "lost", true);
    failing.flush();
    std::string message = "FileLogAdapter: Cannot create log file " + root + "/plain/app.log\n";
    EXPECT_EQ(message + message, testing::internal::GetCapturedStderr());
}

TEST_F(FileLogAdapterTest, LoggingConfigurationSelectsTheFileAdapter) {
    kestrel::LogAdapterStore::addFactory("file", new kestrel::FileLogAdapterFactory());
    Logger::useConfig(config("{\"buffering\": false, \"adapter\": {\"type\": \"file\", \"baseName\": \"" + root +
                             "/configured.log\"}}"));
    kestrel::LogAdapter* adapter = Logger::getLogAdapter();
    ASSERT_NE(nullptr, adapter);
    Logger::getLogger("FileLogAdapterTest")->errorf("%s %d", "to the file", 7);
    Logger::setLogAdapter(nullptr);
    Logger::enableBuffering();
    delete adapter;
    EXPECT_NE(std::string::npos,
              contents(root + "/configured.log").find("[FileLogAdapterTest]: ERROR to the file 7\n"));

    // An unknown type leaves the lines on standard output.
    Logger::useConfig(config("{\"adapter\": {\"type\": \"nosuch\"}}"));
    EXPECT_EQ(nullptr, Logger::getLogAdapter());
}
