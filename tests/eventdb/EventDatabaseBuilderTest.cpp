#include "eventdb/EventDatabaseBuilder.h"
#include "eventdb/TraceFormatParser.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

using eventdb::EventDatabaseBuilder;
using eventdb::TraceEventFormat;

namespace {

const char* const COMMON = "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
                           "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n";

TraceEventFormat event(const std::string& name, int id, const std::string& fields) {
    std::string text = "name: " + name + "\nID: " + std::to_string(id) + "\nformat:\n" + fields;
    TraceEventFormat format = eventdb::TraceFormatParser::parse(text.data(), text.size());
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
