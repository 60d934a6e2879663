#include "eventdb/TraceFormatParser.h"

#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>

using eventdb::TraceEventFormat;
using eventdb::TraceFormatParser;

namespace {

TraceEventFormat parse(const std::string& text) {
    return TraceFormatParser::parse(text.data(), text.size());
}

TraceEventFormat parseFields(const std::string& fields) {
    return parse("name: probe\nID: 7\nformat:\n" + fields + "\nprint fmt: \"x\"\n");
}

} // namespace

TEST(TraceFormatParser, DeclarationsAndCasts) {
    TraceEventFormat format = parseFields("\tfield:void * ptr;\toffset:8;\tsize:8;\tsigned:0;\n"
                                          "\tfield:const char *name;\toffset:16;\tsize:4;\tsigned:0;\n"
                                          "\tfield:struct page *page;\toffset:20;\tsize:8;\tsigned:0;\n"
                                          "\tfield:__data_loc char[] comm;\toffset:28;\tsize:4;\tsigned:0;\n"
                                          "\tfield:u8 addr[2][sizeof(int)];\toffset:32;\tsize:8;\tsigned:0;\n"
                                          "\tfield:struct pair value;\toffset:40;\tsize:8;\tsigned:0;\n"
                                          "\tfield:bool flag;\toffset:48;\tsize:1;\tsigned:0;\n"
                                          "\tfield:char c;\toffset:49;\tsize:1;\tsigned:1;\n"
                                          "\tfield:u8 odd;\toffset:50;\tsize:3;\tsigned:0;\n"
                                          "\tfield:long old;\toffset:53;\tsize:8;\n"
                                          "\tfield:unsigned int older;\toffset:61;\tsize:4;\tnew:5;\n");
    ASSERT_EQ(11u, format.fields.size());
    const char* expected[][3] = {{"ptr", "void *", "address64_t"},
                                 {"name", "const char *", "address32_t"},
                                 {"page", "struct page *", "address64_t"},
                                 {"comm", "__data_loc char[]", nullptr},
                                 {"addr", "u8[2][sizeof(int)]", nullptr},
                                 {"value", "struct pair", nullptr},
                                 {"flag", "bool", "uint8_t"},
                                 {"c", "char", "int8_t"},
                                 {"odd", "u8", nullptr},
                                 {"old", "long", "int64_t"},
                                 {"older", "unsigned int", "uint32_t"}};
    for (size_t i = 0; i < format.fields.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(expected[i][0], format.fields[i].name);
        EXPECT_EQ(expected[i][1], format.fields[i].type);
        if (expected[i][2] == nullptr) {
            EXPECT_EQ(nullptr, format.fields[i].castType());
        } else {
            EXPECT_STREQ(expected[i][2], format.fields[i].castType());
        }
    }
    EXPECT_TRUE(format.fields[3].isVariableLength());
    EXPECT_FALSE(format.fields[3].isArray());
}

TEST(TraceFormatParser, RejectsMalformedTexts) {
    const char* const header = "name: probe\nID: 7\nformat:\n";
    const std::pair<std::string, const char*> cases[] = {
        {"ID: 7\n", "not a trace point format text"},
        {"name: bad name\nID: 7\nformat:\n", "line 1: invalid trace point name"},
        {"name: probe\nformat:\n", "line 2: expected \"ID:\""},
        {"name: probe\nID: 4294967296\nformat:\n", "line 2: ID 4294967296 is out of range"},
        {"name: probe\nID: 7\n", "no \"format:\" line"},
        {std::string(header) + "\tfield:int a;\tsize:4;\n", "line 4: field a lacks offset"},
        {std::string(header) + "\tfield:int a;\toffset:0;\tsize:4;\tsigned:2;\n", "signed must be 0 or 1"},
        {std::string(header) + "\tfield:int a\n", "without ';'"},
        {std::string(header) + "\tfield:int;\toffset:0;\tsize:4;\n", "no type in field declaration"},
        {std::string(header) + "\tfield:int a[4;\toffset:0;\tsize:4;\n", "no field name"},
        {std::string(header) + "\tfield:int a]];\toffset:0;\tsize:4;\n", "unbalanced brackets"},
        {std::string(header) + "\tfield:int a;\toffset:0;\tsize:4;\n\tfield:int a;\toffset:4;\tsize:4;\n",
         "line 5: field a appears twice"},
        {std::string(header) + "\tgarbage\n", "line 4: expected a \"field:\" line"},
        {std::string(header) + std::string("\tfield:int \x01x;\toffset:0;\tsize:4;\n"), "unprintable"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        try {
            parse(c.first);
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(c.second)) << e.what();
        }
    }
}

TEST(TraceFormatParser, TruncatedTextsNeverReadPastTheirEnd) {
    std::string text = perftest::readText(PLOTWRIGHT_TEST_DATA "/recordings/formats/sched/sched_switch/format");
    for (size_t length = 0; length < text.size(); ++length) {
        // An exact-size copy lets the sanitizers catch any read beyond the given length.
        std::unique_ptr<char[]> copy(new char[length + 1]);
        std::memcpy(copy.get(), text.data(), length);
        try {
            TraceEventFormat format = TraceFormatParser::parse(copy.get(), length);
            EXPECT_LE(format.fields.size(), 11u);
        } catch (const std::runtime_error&) {
        }
    }
}

TEST(TraceFormatParser, LargeTextsWithManyDimensionsAndFields) {
    // Hundreds of kilobytes of bracket groups (with blanks between some) and thousands of fields: each group and
    // field is handled once, where repeated copies of the remaining declaration would take many seconds.
    std::string groups;
    std::string expectedType = "u8";
    for (int i = 0; i < 60000; ++i) {
        groups += i % 3 == 0 ? "[2] " : "[4]";
        expectedType += i % 3 == 0 ? "[2]" : "[4]";
    }
    std::string fields = "\tfield:u8 wide " + groups + "[1];\toffset:0;\tsize:1;\n";
    expectedType += "[1]";
    for (int i = 0; i < 20000; ++i) {
        fields += "\tfield:int f" + std::to_string(i) + ";\toffset:" + std::to_string(8 + 4 * i) + ";\tsize:4;\n";
    }
    TraceEventFormat format = parseFields(fields);
    ASSERT_EQ(20001u, format.fields.size());
    EXPECT_EQ("wide", format.fields[0].name);
    EXPECT_EQ(expectedType, format.fields[0].type);
    EXPECT_EQ("f19999", format.fields.back().name);

    // A repeated name is still found among them all.
    try {
        parseFields(fields + "\tfield:int f7;\toffset:0;\tsize:4;\n");
        ADD_FAILURE() << "no error";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("line 20005: field f7 appears twice")) << e.what();
    }
}
