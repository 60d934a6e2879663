#include "viewer/PlotDataError.h"
#include "viewer/PlotDataReader.h"
#include "viewer/SinkThread.h"

#include "ViewerTestDocuments.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

using viewer::PlotDataError;
using viewer::PlotDataReader;
using viewer::PlotLane;
using viewer::PlotSeries;

namespace {

// The message of the PlotDataError that reading the text throws; also checks that nothing went to stderr.
std::string errorOf(const std::string& text) {
    testing::internal::CaptureStderr();
    std::string message;
    try {
        CollectingSink::read(text, "in.json");
    } catch (const PlotDataError& e) {
        message = e.what();
    }
    std::string stderrText = testing::internal::GetCapturedStderr();
    EXPECT_EQ("", stderrText) << "for " << text;
    EXPECT_EQ(std::string::npos, message.find('\n')) << message;
    return message;
}

// The lane's points as "time:value[:magnitude]" texts.
std::string points(const PlotSeries& series, const PlotLane& lane) {
    std::string out;
    for (size_t i = 0; i < lane.size(); ++i) {
        out += (i ? " " : "") + std::to_string(lane.times[i]) + ":" + series.values[lane.values[i]].text;
        if (series.hasMagnitude) {
            out += ":" + series.magnitudes[lane.magnitudes[i]].text;
        }
    }
    return out;
}

} // namespace

TEST(PlotDataReaderTest, SplitsAppendedDocumentsAndStreamsFiles) {
    const std::string one = R"([{"label": "a", "time": 1, "type": "long", "data": [[0, 1]]}])";
    const std::string two = "[{\"label\": \"b\", \"time\": 2, \"type\": \"state\", \"data\": []}]";
    for (const std::string& separator : {std::string(), std::string("\n"), std::string(" \r\n\t ")}) {
        std::vector<CollectedDocument> documents = CollectingSink::read(one + separator + two + "\n", "both.json");
        ASSERT_EQ(2u, documents.size());
        EXPECT_EQ("a", documents[0].series[0].label);
        EXPECT_EQ("b", documents[1].series[0].label);
        EXPECT_EQ(1, documents[1].indexInSource);
        EXPECT_EQ("both.json", documents[1].source);
        EXPECT_EQ(1u, documents[1].series[0].lanes.size()); // a series without keys has its (empty) lane
    }
    // A file larger than the reader's buffer, with a string and a number across its edge.
    std::string path = testing::TempDir() + "viewer-appended.json";
    {
        std::ofstream file(path);
        file << "[{\"type\": \"long\", \"time\": 0, \"label\": \"" << std::string(1048570, 'x') << "\", \"data\": [";
        for (int i = 0; i < 100000; ++i) {
            file << (i ? "," : "") << "[" << i << ".000001," << i * 7 << "]";
        }
        file << "]}]" << two << "[]";
    }
    CollectingSink sink;
    PlotDataReader::readFile(path, sink);
    ASSERT_EQ(3u, sink.documents.size());
    const PlotSeries& big = sink.documents[0].series[0];
    EXPECT_EQ(1048570u, big.label.size());
    ASSERT_EQ(100000u, big.lanes[0].size());
    EXPECT_EQ(99999000001000LL, big.lanes[0].times.back());
    EXPECT_EQ("699993", big.values[big.lanes[0].values.back()].text);
    EXPECT_EQ(100000, sink.documents[0].summary.points);
    EXPECT_TRUE(sink.documents[2].series.empty());
    std::remove(path.c_str());
}

TEST(PlotDataReaderTest, KeepsValuesExactAndSplitsKeysIntoOrderedLanes) {
    // Members in any order ("data" before "type"), points out of order, 64-bit keys and values, equal numbers
    // written differently, times with more than six decimals.
    std::vector<CollectedDocument> documents = CollectingSink::read(R"([
      {"data": [[0.3, 5, 18446744073709551615, 1.5], [0.1, 5.0, 2, 2.25], [0.2, 6, 18446744073709551615, 1.5],
                [0.123456789123, 9223372036854775807, 2, 0]],
       "pivot": {"common_tid": 18446744073709551614}, "label": "L", "endState": 6.0, "time": 1990.5,
       "type": "state-key-value", "info": {"big": 123456789012345678}},
      {"type": "long", "time": -2, "data": [[2e-3, -9223372036854775808], [0.001, 1e3]]}])");
    ASSERT_EQ(2u, documents[0].series.size());
    const PlotSeries& series = documents[0].series[0];
    EXPECT_TRUE(series.isState && series.hasKey && series.hasMagnitude);
    EXPECT_EQ("18446744073709551614", series.pivotKey);
    EXPECT_EQ("6", series.endState);
    EXPECT_NE(std::string::npos, series.info.find("\"123456789012345678\"")); // long integers become texts
    ASSERT_EQ(2u, series.lanes.size());
    EXPECT_EQ("2", series.keys[series.lanes[0].key].text);
    EXPECT_EQ("18446744073709551615", series.keys[series.lanes[1].key].text);
    EXPECT_EQ("100000000:5:2.25 123456789:9223372036854775807:0", points(series, series.lanes[0]));
    EXPECT_EQ("200000000:6:1.5 300000000:5:1.5", points(series, series.lanes[1]));
    const PlotSeries& numbers = documents[0].series[1];
    EXPECT_EQ("1000000:1000 2000000:-9223372036854775808", points(numbers, numbers.lanes[0]));
    EXPECT_DOUBLE_EQ(-1.999, documents[0].summary.startTime);
    EXPECT_DOUBLE_EQ(1990.8, documents[0].summary.endTime);
    EXPECT_EQ(6, documents[0].summary.points);

    std::int64_t ns = 0;
    EXPECT_TRUE(PlotDataReader::nanoseconds("0.0000000015", ns));
    EXPECT_EQ(2, ns);
    EXPECT_TRUE(PlotDataReader::nanoseconds("-12.5e-1", ns));
    EXPECT_EQ(-1250000000, ns);
    EXPECT_FALSE(PlotDataReader::nanoseconds("1e300", ns));
    EXPECT_FALSE(PlotDataReader::nanoseconds("99999999999", ns));
}

TEST(PlotDataReaderTest, BadInputGivesOneLineThatSaysWhereAndWhy) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const std::string deep(600, '[');
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
        {"[{\"data\": [[0, 1, 2], [1, 1]], \"time\": 0, \"type\": \"state-key\"}]",
         "point 2: not plot data: a \"state-key\" point is an array of 3 numbers"},
        {"[{\"type\": \"long\", \"time\": 0, \"data\": [[0, \"1\"]]}]", "element 2 is a string, not a number"},
        {"[{\"type\": \"long\", \"time\": 0, \"data\": [[1e400, 1]]}]", "point 1: not plot data: the time 1e400"},
        {"[{\"type\": \"dictionaries\", \"dictionaries\": []}]", "\"dictionaries\" is an array, not an object"},
        {"[{\"type\": \"dictionaries\", \"dictionaries\": {\"d\": {\"map\": 3}}}]",
         "dictionary \"d\": not plot data: \"map\" is a number"},
        {"[{\"type\": \"long\", \"label\": \"\\ud800x\", \"time\": 0, \"data\": [[0, 1]]}] [", "document 2: not JSON"},
        {deep.c_str(), "nested more than 512 deep"},
    };
    for (const Case& c : cases) {
        std::string message = errorOf(c.text);
        EXPECT_NE(std::string::npos, message.find(c.expected)) << "'" << c.text << "' gave '" << message << "'";
    }
    // The syntax error says what was found, with the line where reading stopped.
    std::string syntax = errorOf("[{\"type\": \"long\",\n \"data\": [[1, 2");
    EXPECT_EQ(0u, syntax.find("in.json: not JSON: syntax error")) << syntax;
    EXPECT_NE(std::string::npos, syntax.find("(line 2)")) << syntax;
    // A NUL byte where a document starts is reported, not taken for the end.
    EXPECT_NE(std::string::npos, errorOf(std::string("[]\0[]", 5)).find("NUL byte at offset 2"));
    // A label with a line break cannot break the message into two lines.
    EXPECT_NE(std::string::npos, errorOf("[{\"type\": \"long\", \"label\": \"a\\nb\", \"time\": 0}]").find("a?b"));

    std::string missing = testing::TempDir() + "viewer-missing.json";
    for (const std::string& path : {missing, testing::TempDir()}) {
        CollectingSink sink;
        try {
            PlotDataReader::readFile(path, sink);
            ADD_FAILURE() << path << " was read";
        } catch (const PlotDataError& e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(path)) << e.what();
        }
    }
}

TEST(PlotDataReaderTest, TheWritingThreadGetsEverythingInOrderAndHandsFailuresBack) {
    // The same documents through the thread as straight from the reader.
    std::string text = std::string(VIEWER_TEST_DOCUMENT) + "[{\"label\": \"x\", \"time\": 0, \"type\": \"long\", \"data\": []}]";
    CollectingSink direct, threaded;
    PlotDataReader::readText(text, "a.json", direct);
    {
        viewer::SinkThread thread(threaded, true);
        PlotDataReader::readText(text, "a.json", thread);
        thread.finish();
    }
    ASSERT_EQ(direct.documents.size(), threaded.documents.size());
    for (size_t d = 0; d < direct.documents.size(); ++d) {
        ASSERT_EQ(direct.documents[d].series.size(), threaded.documents[d].series.size());
        for (size_t s = 0; s < direct.documents[d].series.size(); ++s) {
            const PlotSeries& a = direct.documents[d].series[s];
            const PlotSeries& b = threaded.documents[d].series[s];
            EXPECT_EQ(a.label, b.label);
            ASSERT_EQ(a.lanes.size(), b.lanes.size());
            for (size_t l = 0; l < a.lanes.size(); ++l) {
                EXPECT_EQ(points(a, a.lanes[l]), points(b, b.lanes[l]));
            }
        }
        EXPECT_EQ(direct.documents[d].dictionaries, threaded.documents[d].dictionaries);
        EXPECT_EQ(direct.documents[d].summary.points, threaded.documents[d].summary.points);
    }

    // A failure of the receiver reaches the reader; the thread ends with the sink.
    struct Failing : CollectingSink {
        void series(PlotSeries&) override { throw PlotDataError("cannot write"); }
    } failing;
    std::string many;
    for (int i = 0; i < 20; ++i) {
        many += "[{\"type\": \"long\", \"time\": 0, \"data\": [[0, 1]]}]";
    }
    try {
        viewer::SinkThread thread(failing, true);
        PlotDataReader::readText(many, "b.json", thread);
        thread.finish();
        ADD_FAILURE() << "no failure";
    } catch (const PlotDataError& e) {
        EXPECT_STREQ("cannot write", e.what());
    }
}
