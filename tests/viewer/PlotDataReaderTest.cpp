#include "viewer/PlotDataReader.h"
#include "viewer/PlotDataError.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

using viewer::PlotDataError;
using viewer::PlotDataReader;
using viewer::PlotDocument;

namespace {

// The message of the PlotDataError that reading the text throws; also checks that nothing went to stderr.
std::string errorOf(const std::string& text) {
    testing::internal::CaptureStderr();
    std::string message;
    try {
        PlotDataReader::readText(text, "in.json");
    } catch (const PlotDataError& e) {
        message = e.what();
    }
    std::string stderrText = testing::internal::GetCapturedStderr();
    EXPECT_EQ("", stderrText) << "for " << text;
    EXPECT_EQ(std::string::npos, message.find('\n')) << message;
    return message;
}

} // namespace

TEST(PlotDataReaderTest, SplitsAppendedDocuments) {
    const std::string one = R"([{"label": "a", "time": 1, "type": "long", "data": [[0, 1]]}])";
    const std::string two = "[{\"label\": \"b\", \"time\": 2, \"type\": \"state\", \"data\": []}]";
    for (const std::string& separator : {std::string(), std::string("\n"), std::string(" \r\n\t ")}) {
        std::vector<PlotDocument> documents = PlotDataReader::readText(one + separator + two + "\n", "both.json");
        ASSERT_EQ(2u, documents.size());
        EXPECT_EQ("a", documents[0].series[0].label);
        EXPECT_EQ("b", documents[1].series[0].label);
        EXPECT_EQ(1, documents[1].indexInSource);
        EXPECT_EQ("both.json", documents[1].source);
    }
    // Reading a file gives the same; an empty document array is plot data without series.
    std::string path = testing::TempDir() + "viewer-appended.json";
    std::ofstream(path) << one << two << "[]";
    std::vector<PlotDocument> documents = PlotDataReader::readFile(path);
    ASSERT_EQ(3u, documents.size());
    EXPECT_TRUE(documents[2].series.empty());
    std::remove(path.c_str());
}

TEST(PlotDataReaderTest, BadInputGivesOneLineThatSaysWhereAndWhy) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"", "in.json: no plot data"},
        {"  \n ", "in.json: no plot data"},
        {"{\"eventDatabase\": \"x\"}", "not plot data: the document is an object, not an array"},
        {"[] trailing", "in.json: document 2: not JSON"},
        {"[1]", "element 1: not plot data: a number where a series or dictionaries object belongs"},
        {"[{\"id\": \"channel\"}]", "element 1: not plot data: an object without a \"type\" text"},
        {"[{\"type\": \"bars\"}]", "unknown series type \"bars\""},
        {"[{\"type\": \"long\", \"label\": \"x\", \"data\": []}]", "series \"x\": not plot data: \"time\" is missing"},
        {"[{\"type\": \"state\", \"time\": 0, \"data\": {}}]", "\"data\" is an object, not an array"},
        {"[{\"type\": \"state-key\", \"time\": 0, \"data\": [[0, 1, 2], [1, 1]]}]",
         "point 2: not plot data: a \"state-key\" point is an array of 3 numbers"},
        {"[{\"type\": \"long\", \"time\": 0, \"data\": [[0, \"1\"]]}]", "element 2 is a string, not a number"},
        {"[{\"type\": \"dictionaries\", \"dictionaries\": []}]", "\"dictionaries\" is an array, not an object"},
        {"[{\"type\": \"dictionaries\", \"dictionaries\": {\"d\": {\"map\": 3}}}]",
         "dictionary \"d\": not plot data: \"map\" is a number"},
    };
    for (const Case& c : cases) {
        std::string message = errorOf(c.text);
        EXPECT_NE(std::string::npos, message.find(c.expected)) << "'" << c.text << "' gave '" << message << "'";
    }
    // The parser's report becomes part of the message, with the line where reading stopped.
    std::string syntax = errorOf("[{\"type\": \"long\",\n \"data\": [1, 2");
    EXPECT_EQ(0u, syntax.find("in.json: not JSON: syntax error")) << syntax;
    EXPECT_NE(std::string::npos, syntax.find("(line 2)")) << syntax;
    // A NUL byte inside the text is reported, not taken for the end.
    EXPECT_NE(std::string::npos, errorOf(std::string("[]\0[]", 5)).find("NUL byte at offset 2"));
    // A label with a line break cannot break the message into two lines.
    EXPECT_NE(std::string::npos, errorOf("[{\"type\": \"long\", \"label\": \"a\\nb\", \"time\": 0}]").find("a?b"));

    std::string missing = testing::TempDir() + "viewer-missing.json";
    for (const std::string& path : {missing, testing::TempDir()}) {
        try {
            PlotDataReader::readFile(path);
            ADD_FAILURE() << path << " was read";
        } catch (const PlotDataError& e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(path)) << e.what();
        }
    }
}
