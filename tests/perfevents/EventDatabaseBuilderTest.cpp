#include "perfevents/EventDatabaseBuilder.h"
#include "perfevents/EventSourceLoader.h"
#include "perfevents/TraceFormatParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

using perfevents::EventDatabaseBuilder;
using perfevents::EventSourceLoader;
using perfevents::TraceEventFormat;

namespace {

const char* const COMMON = "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
                           "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n";

TraceEventFormat event(const std::string& name, int id, const std::string& fields) {
    std::string text = "name: " + name + "\nID: " + std::to_string(id) + "\nformat:\n" + fields;
    TraceEventFormat format = perfevents::TraceFormatParser::parse(text.data(), text.size());
    format.system = "test";
    return format;
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

} // namespace

TEST(EventDatabaseBuilder, RejectsConflictingDescriptions) {
    EventDatabaseBuilder builder;
    builder.addEvent(event("a", 1, COMMON), "one");
    builder.addEvent(event("a", 1, COMMON), "two");
    EXPECT_EQ(1u, builder.getEventCount());
    EXPECT_EQ("trace point test:a is described differently in one and in three",
              errorOf([&] { builder.addEvent(event("a", 2, COMMON), "three"); }));
    EXPECT_EQ("trace points test:a (one) and test:b (four) have the same id 1",
              errorOf([&] { builder.addEvent(event("b", 1, COMMON), "four"); }));
    std::string otherCommon = "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
                              "\tfield:long common_pid;\toffset:8;\tsize:8;\tsigned:1;\n";
    EXPECT_EQ("the common fields of trace points test:a (one) and test:c (five) disagree: int common_pid (offset 4, "
              "size 4, signed) against long common_pid (offset 8, size 8, signed)",
              errorOf([&] { builder.addEvent(event("c", 3, otherCommon), "five"); }));
    EXPECT_EQ("the common fields of trace points test:a (one) and test:d (six) disagree: common_pid is missing in "
              "the second",
              errorOf([&] {
                  builder.addEvent(event("d", 4, "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\n"), "six");
              }));
    EXPECT_EQ(1u, builder.getEventCount());
}

TEST(EventSourceLoader, DetectsSourcesByContent) {
    namespace fs = std::filesystem;
    const std::string data = PLOTWRIGHT_TEST_DATA "/recordings";
    EventDatabaseBuilder builder;
    EventSourceLoader loader(builder);
    loader.load(data + "/formats");
    EXPECT_EQ(4u, builder.getEventCount());
    // The recording describes the same trace points, so nothing is added and nothing conflicts.
    loader.load(data + "/sched.data");
    loader.load(data + "/formats/sched/sched_switch/format");
    EXPECT_EQ(4u, builder.getEventCount());

    fs::path dir = fs::temp_directory_path() / ("eventdb-test-" + std::to_string(::getpid()));
    fs::create_directories(dir / "empty");
    fs::copy_file(data + "/formats/sched/sched_wakeup/format", dir / "wakeup.txt");
    std::ofstream(dir / "notes.txt") << "some text\n";
    const std::string wakeup = (dir / "wakeup.txt").string();
    EXPECT_EQ(wakeup + ": cannot tell the system of trace point sched_wakeup (the file does not lie in "
                       "SYSTEM/sched_wakeup/); name it with -s SYSTEM",
              errorOf([&] { loader.load(wakeup); }));
    EventDatabaseBuilder other;
    EventSourceLoader otherLoader(other);
    otherLoader.setDefaultSystem("other");
    otherLoader.load(wakeup);
    EXPECT_EQ(1u, other.getEventCount());
    EXPECT_EQ((dir / "notes.txt").string() + ": neither a perf.data file nor a trace point format text",
              errorOf([&] { loader.load((dir / "notes.txt").string()); }));
    EXPECT_EQ((dir / "empty").string() + ": no files named format in the directory",
              errorOf([&] { loader.load((dir / "empty").string()); }));
    EXPECT_EQ((dir / "missing").string() + ": No such file or directory",
              errorOf([&] { loader.load((dir / "missing").string()); }));
    fs::remove_all(dir);
}

TEST(EventDatabaseBuilder, WritesCommonAndOwnFields) {
    EventDatabaseBuilder builder;
    builder.addEvent(event("b", 2,
                           std::string(COMMON) + "\tfield:char name[8];\toffset:8;\tsize:8;\tsigned:1;\n"
                                                 "\tfield:void * where;\toffset:16;\tsize:8;\tsigned:0;\n"),
                     "one");
    builder.addEvent(event("a", 1, COMMON), "two");
    std::ostringstream compact;
    builder.write(compact, false);
    EXPECT_EQ("{\"events\":{\"test:a\":{\"id\":1,\"fields\":{}},\"test:b\":{\"id\":2,\"fields\":{"
              "\"name\":{\"type\":\"char[8]\",\"offset\":8,\"size\":8},"
              "\"where\":{\"type\":\"void *\",\"offset\":16,\"size\":8,\"cast\":\"address64_t\"}}}},"
              "\"common\":{\"fields\":{"
              "\"common_type\":{\"type\":\"unsigned short\",\"offset\":0,\"size\":2,\"cast\":\"uint16_t\"},"
              "\"common_pid\":{\"type\":\"int\",\"offset\":4,\"size\":4,\"cast\":\"int32_t\"},"
              "\"common_tid\":{\"type\":\"__ancillary_tid\"},\"common_cpu\":{\"type\":\"__ancillary_cpu\"}}}}",
              compact.str());
    std::ostringstream pretty;
    builder.write(pretty, true);
    kestrel::JSOM reread;
    reread.fromString(pretty.str());
    EXPECT_EQ(2, reread["events"]["test:b"]["id"].longValue(0));
    EXPECT_EQ("address64_t", reread["events"]["test:b"]["fields"]["where"]["cast"].stringValue(""));
}
