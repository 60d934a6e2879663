#include "algorithms/NumberPlotAlgorithm.h"
#include "algorithms/TracePointAlgorithmStore.h"
#include "app/ProcessDictionary.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Singleton.h"
#include "perfevents/TracePointFieldStore.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <algorithm>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>

namespace {

const char* const DATABASE = R"({
  "common": {"fields": {
    "common_type": {"offset": 0, "size": 2, "cast": "uint16_t"},
    "common_pid": {"offset": 12, "size": 2, "cast": "int16_t"}
  }},
  "events": {
    "test:ev": {"id": 7, "fields": {
      "value": {"offset": 8, "size": 4, "cast": "int32_t"},
      "key": {"offset": 12, "size": 2, "cast": "int16_t"},
      "where": {"offset": 16, "size": 8, "cast": "address64_t"},
      "count": {"offset": 16, "size": 8, "cast": "uint64_t"},
      "comm": {"type": "char[8]", "offset": 16, "size": 8}
    }}
  }
})";

class NumberPlotTest : public ::testing::Test {
protected:
    NumberPlotTest() {
        kestrel::JSOM database;
        database.fromString(DATABASE);
        fields.setEventDatabase(database);
    }

    std::unique_ptr<TracePointAlgorithm> create(const std::string& channelText) {
        kestrel::JSOM channel;
        channel.fromString(channelText);
        return std::unique_ptr<TracePointAlgorithm>(TracePointAlgorithmStore::createAlgorithm(channel, fields));
    }

    void send(TracePointAlgorithm& algorithm, int id, double time, int value, short key) {
        ancillary.raw.assign(16, 0);
        ancillary.put(8, value);
        ancillary.put(12, key);
        algorithm.onTracePointEvent(id, time, ancillary, ancillary.data());
    }

    std::string close(TracePointAlgorithm& algorithm, bool expectWrote, bool formatAhead = true) {
        std::ostringstream out;
        {
            kestrel::JsomWriter writer(&out);
            writer.formatAhead = formatAhead;
            writer.startArray();
            EXPECT_EQ(expectWrote, algorithm.onClose(writer, 100.25));
        }
        return out.str();
    }

    perfevents::TracePointFieldStore fields;
    perftest::FakeSample ancillary;
};

const char* const COLUMNS = R"("columnDictionary":{"type":"map","map":{"value":{"column":1,)"
                            R"("description":"Field value from trace event test:ev"}}},)";

} // namespace

TEST_F(NumberPlotTest, StoreSelectsByExactNameOrRegisteredPrefix) {
    const std::string tail = R"(", "events": ["test:ev"], "valueField": "value"}})";
    for (const char* name : {"numberplot", "numberplot2", "numberplot with steps"}) {
        EXPECT_NE(nullptr, dynamic_cast<NumberPlotAlgorithm*>(
                               create(std::string(R"({"detail": {"algorithm": ")") + name + tail).get()))
            << name;
    }
    for (const char* name : {"NumberPlot", "number", "", "histogram"}) {
        EXPECT_EQ(nullptr, create(std::string(R"({"detail": {"algorithm": ")") + name + tail)) << name;
    }
    EXPECT_EQ(nullptr, create(R"({"name": "no detail"})"));
    EXPECT_EQ(nullptr, create(R"({"detail": {"events": ["test:ev"]}})"));
}

TEST_F(NumberPlotTest, UnpivotedSeriesCarriesChannelLabelInfoAndHints) {
    auto algorithm = create(R"({"name": "Values \"v\"", "info": {"unit": "ms"}, "hints": {"empty": 1, "c": 2},
        "detail": {"algorithm": "numberplot", "events": ["test:ev"], "valueField": "value", "pivotField": "",
                   "group": "g"}})");
    std::string empty = close(*algorithm, true);
    EXPECT_EQ(std::string(R"([{"label":"Values \"v\"",)") + COLUMNS +
                  R"("group":"g","info":{"unit":"ms","Trace Event":"test:ev","Trace Field":"value"},"hints":{"c":2},)"
                  R"("time":100.25,"type":"long","data":[]}])",
              empty);

    // Points of other trace points are ignored; a point back in time is sorted into place, equal times kept.
    send(*algorithm, 8, 0.5, 99, 0);
    send(*algorithm, 7, 0.5, -3, 0);
    send(*algorithm, 7, 1.25, 5, 0);
    send(*algorithm, 7, 0.75, 6, 0);
    const std::string out = close(*algorithm, true);
    EXPECT_NE(std::string::npos, out.find(R"("data":[[0.5,-3],[0.75,6],[1.25,5]]})")) << out;
}

TEST_F(NumberPlotTest, PivotedSeriesOrderedBySignedKeyAndLabelled) {
    auto algorithm = create(R"({"detail": {"algorithm": "numberplot", "events": ["test:ev"], "valueField": "value",
        "pivotField": "key", "pivotPrefix": "K"}})");
    EXPECT_EQ("[]", close(*algorithm, false));
    send(*algorithm, 7, 0.0, 1, 3);
    send(*algorithm, 7, 1.0, 2, -1);
    send(*algorithm, 7, 2.0, 4, 3);
    const std::string out = close(*algorithm, true);
    EXPECT_EQ(std::string(R"([{"label":"K -1","pivot":{"key":-1},)") + COLUMNS +
                  R"("group":"","info":{"key":-1,"Trace Event":"test:ev","Trace Field":"value"},)"
                  R"("time":100.25,"type":"long","data":[[1,2]]},)"
                  R"({"label":"K 3","pivot":{"key":3},)" +
                  COLUMNS +
                  R"("group":"","info":{"key":3,"Trace Event":"test:ev","Trace Field":"value"},)"
                  R"("time":100.25,"type":"long","data":[[0,1],[2,4]]}])",
              out);
}

TEST_F(NumberPlotTest, TaskPivotLabelsUseThreadNamesCutAt126Characters) {
    ProcessDictionary& threads = kestrel::Singleton<ProcessDictionary>::Instance();
    threads.clear();
    threads.addThread(3, 3, "three");
    threads.addThread(3, 4, "");
    threads.addThread(3, 5, "renamed-thread");
    const std::string prefix(120, 'P');
    auto algorithm = create(R"({"detail": {"algorithm": "numberplot", "events": ["test:ev"], "valueField": "value",
        "pivotField": "common_pid", "pivotPrefix": ")" +
                            prefix + "\"}}");
    for (short pid : {3, 4, 5, 6}) {
        send(*algorithm, 7, 0.0, 1, pid);
    }
    const std::string out = close(*algorithm, true);
    threads.clear();
    // A known name, an empty name and an unknown thread (shown by number); the label never exceeds 126 bytes.
    for (const std::string& label : {prefix + " three", prefix + " 4", prefix + " renam", prefix + " 6"}) {
        EXPECT_NE(std::string::npos, out.find("{\"label\":\"" + label + "\",\"pivot\":{\"common_pid\":")) << label;
    }
    EXPECT_EQ(std::string::npos, out.find(prefix + " rename")) << out;
}

TEST_F(NumberPlotTest, ConfigurationErrorsLeaveTheAlgorithmInert) {
    for (const char* detail : {
             R"("valueField": "value")",                                              // no event
             R"("events": ["test:ev"])",                                              // no value field
             R"("events": ["test:none"], "valueField": "value")",                     // unknown event
             R"("events": ["test:ev"], "valueField": "nothing")",                     // unknown field
             R"("events": ["test:ev"], "valueField": "comm")",                        // a text
             R"("events": ["test:ev"], "valueField": "value", "pivotField": "none")", // unknown pivot
         }) {
        auto algorithm = create(std::string(R"({"detail": {"algorithm": "numberplot", )") + detail + "}}");
        auto* numberPlot = dynamic_cast<NumberPlotAlgorithm*>(algorithm.get());
        ASSERT_NE(nullptr, numberPlot) << detail;
        EXPECT_FALSE(numberPlot->isConfigured()) << detail;
        send(*algorithm, 7, 0.0, 1, 0);
        EXPECT_EQ("[]", close(*algorithm, false)) << detail;
    }
}

// Pointers and unsigned 64-bit fields are plotted as unsigned numbers, pointer pivots are named in hexadecimal, and
// pivots on thread ids, device numbers and texts are named as "pivotNames" says.
TEST_F(NumberPlotTest, PointersUnsignedNumbersAndNamedPivots) {
    auto sendWide = [this](TracePointAlgorithm& algorithm, unsigned long long wide, short key, const char* text) {
        ancillary.raw.assign(24, 0);
        ancillary.put(8, 5);
        ancillary.put(12, key);
        ancillary.put(16, wide);
        if (text != nullptr) {
            std::memcpy(ancillary.raw.data() + 16, text, std::strlen(text) + 1);
        }
        algorithm.onTracePointEvent(7, 0.5, ancillary, ancillary.data());
    };
    auto pointers = create(R"({"detail": {"algorithm": "numberplot", "events": ["test:ev"], "valueField": "where",
        "pivotField": "where"}})");
    sendWide(*pointers, 0xffffffff813ccbccULL, 0, nullptr);
    sendWide(*pointers, 0x10ULL, 0, nullptr);
    const std::string out = close(*pointers, true);
    EXPECT_NE(std::string::npos, out.find(R"("label":"0x10","pivot":{"where":16})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("label":"0xffffffff813ccbcc","pivot":{"where":18446744071582829516})"))
        << out;
    EXPECT_NE(std::string::npos, out.find("[[0.5,18446744071582829516]]")) << out;
    EXPECT_LT(out.find("0x10"), out.find("0xffffffff")) << "series in unsigned order";

    ProcessDictionary& threads = kestrel::Singleton<ProcessDictionary>::Instance();
    threads.clear();
    threads.addThread(3, 3, "three");
    const std::pair<const char*, const char*> names[] = {
        {R"("pivotField": "key", "pivotNames": "threads")", R"("label":"three")"},
        {R"("pivotField": "count", "pivotNames": "devices")", R"("label":"259:3")"},
        {R"("pivotField": "comm")", R"("label":"sleep")"},
    };
    for (const auto& name : names) {
        auto named = create(std::string(R"({"detail": {"algorithm": "numberplot", "events": ["test:ev"],
            "valueField": "value", )") + name.first + "}}");
        const bool text = std::string(name.second).find("sleep") != std::string::npos;
        sendWide(*named, (259ULL << 20) | 3, 3, text ? "sleep" : nullptr);
        EXPECT_NE(std::string::npos, close(*named, true).find(name.second)) << name.first;
    }
    auto mismatch = create(R"({"detail": {"algorithm": "numberplot", "events": ["test:ev"], "valueField": "value",
        "pivotField": "comm", "pivotNames": "hex"}})");
    EXPECT_FALSE(dynamic_cast<NumberPlotAlgorithm&>(*mismatch).isConfigured());
}

TEST_F(NumberPlotTest, SeriesOfManyChunksGiveTheSameBytesFormattedAhead) {
    auto algorithm = create(R"({"name": "n", "detail": {"algorithm": "numberplot", "events": ["test:ev"],
        "valueField": "value", "pivotField": "key"}})");
    const int count = static_cast<int>(kestrel::JsomWriter::ELEMENTS_PER_CHUNK) * 5 + 1;
    std::string texts[2];
    for (std::string& text : texts) {
        for (int i = 0; i < count; ++i) {
            send(*algorithm, 7, 5e5 + i * 0.0013 - (i % 50 == 7 ? 0.5 : 0.0), i * 104729 - 1000000, i % 2);
        }
        text = close(*algorithm, true, &text == &texts[1]);
    }
    EXPECT_TRUE(texts[0] == texts[1]);
    EXPECT_GT(std::count(texts[0].begin(), texts[0].end(), '\n'), 5);
}
