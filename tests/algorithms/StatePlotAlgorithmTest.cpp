#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "algorithms/StatePlotAlgorithm.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "perfevents/TracePointFieldStore.h"
#include "tests/perfevents/PerfTestFiles.h"

namespace {

// Trace point "ev" (id 7) and "other" (id 8) with int32 fields a..h at offsets 0, 4, ..., 28.
const char* EVENT_DATABASE = R"({
  "common": { "fields": { "common_tid": { "type": "__ancillary_tid" } } },
  "events": {
    "ev": { "id": 7, "fields": {
      "a": { "cast": "int32_t", "offset": 0, "size": 4 }, "b": { "cast": "int32_t", "offset": 4, "size": 4 },
      "c": { "cast": "int32_t", "offset": 8, "size": 4 }, "d": { "cast": "int32_t", "offset": 12, "size": 4 },
      "m": { "cast": "int32_t", "offset": 16, "size": 4 } } },
    "other": { "id": 8, "fields": {
      "a": { "cast": "int32_t", "offset": 0, "size": 4 }, "m": { "cast": "int32_t", "offset": 16, "size": 4 } } }
  } })";

class StatePlotTest : public ::testing::Test {
protected:
    void SetUp() override {
        kestrel::JSOM database;
        database.fromString(EVENT_DATABASE);
        fields.setEventDatabase(database);
    }

    StatePlotAlgorithm* create(const std::string& channelText) {
        kestrel::JSOM channel;
        channel.fromString(channelText);
        algorithm.reset(new StatePlotAlgorithm(channel, fields));
        return algorithm.get();
    }

    // Sends one sample of trace point `id` whose fields a, b, c, d, m hold the given values.
    void send(int id, double time, std::vector<int32_t> values) {
        ancillary.raw.assign(20, 0);
        std::memcpy(ancillary.raw.data(), values.data(), std::min<size_t>(20, values.size() * sizeof(int32_t)));
        algorithm->onTracePointEvent(id, time, ancillary, ancillary.data());
    }

    std::string close(bool expectResult = true, bool formatAhead = true) {
        std::ostringstream out;
        {
            kestrel::JsomWriter writer(&out);
            writer.formatAhead = formatAhead;
            EXPECT_EQ(expectResult, algorithm->onClose(writer, 10.5));
        }
        return out.str();
    }

    perfevents::TracePointFieldStore fields;
    perftest::FakeSample ancillary;
    std::unique_ptr<StatePlotAlgorithm> algorithm;
};

TEST_F(StatePlotTest, ConfigurationErrorsLeaveTheAlgorithmInert) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"detail":{"events":["ev"]}})", "Event configuration is missing 'eventConfigs'."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":1,"stateField":"a"}]}})",
         "Event configuration 0 has bad 'eventIndex'."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a"},{"stateField":"a"}]}})",
         "Event configuration 1 has bad 'eventIndex'."},
        {R"({"detail":{"events":[null],"eventConfigs":[{"eventIndex":0,"stateField":"a"}]}})",
         "Cannot read event name for eventIndex 0."},
        {R"({"detail":{"events":["nope"],"eventConfigs":[{"eventIndex":0,"stateField":"a"}]}})",
         "Cannot find event [nope] in the store."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0}]}})", "Cannot read stateField on event #0."},
        {R"({"detail":{"events":["ev","other"],"eventConfigs":[{"eventIndex":0,"stateField":"a","magnitudeField":"m"},
            {"eventIndex":1,"stateField":"a"}]}})",
         "Cannot read magnitudeField on event #1."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a","innerPivotField":null}]}})",
         "Cannot read innerPivotField on event #0."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a","innerPivotField":"zz"}]}})",
         "Cannot find innerPivotField [ev:zz] in the store."},
        {R"({"detail":{"events":["ev"],"pivotField":"zz","eventConfigs":[{"eventIndex":0,"stateField":"a"}]}})",
         "Cannot find outer pivot field [ev:zz] in the store."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a","filterFormula":" \t "}]}})",
         "Filter assignment error: Bad stack result"},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a","filterFormula":"$0",
            "filterFields":["b","zz"]}]}})",
         "Configuration Error: Cannot find field [ev:zz] in the store."},
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStdout();
        create(c.first);
        send(7, 1.0, {1, 2, 3, 4, 5});
        std::string log = testing::internal::GetCapturedStdout();
        EXPECT_NE(std::string::npos, log.find(c.second)) << c.first << "\nlog: " << log;
        EXPECT_FALSE(algorithm->isConfigured()) << c.first;
        EXPECT_EQ("", close(false)) << c.first;
    }
}

TEST_F(StatePlotTest, FiltersActAsAlternativesInConfigurationOrder) {
    // First: b / 1e10, with NaN for b = -3; it rejects b in {-1, 0, 1}. Second: 10 / b, dividing by zero for
    // b = 0. Third: a formula that would always divide by zero, but without filter fields it is never run.
    create(R"({"name":"alt","detail":{"events":["ev","other"],"eventConfigs":[
        {"eventIndex":0,"stateField":"a","filterFormula":"$0 -3 != $0 1e10 / -1 0.5 pow ifte","filterFields":["b"]},
        {"eventIndex":0,"stateField":"c","filterFormula":"10 $0 /","filterFields":["b"]},
        {"eventIndex":0,"stateField":"d","filterFormula":"1 0 /"}]}})");
    testing::internal::CaptureStdout();
    const int32_t bs[] = {2, -2, 1, -1, 0, -3};
    for (int i = 0; i < 6; ++i) {
        send(7, i + 1, {100, bs[i], 200, 300});
    }
    send(8, 7.0, {400}); // a trace point this algorithm does not use
    send(9, 8.0, {500});
    std::string log = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, log.find("Filter execution error: Divide by zero"));
    EXPECT_EQ(R"({"label":"alt","columnDictionary":{"type":"map","extends":{"scope":"plotwright",)"
              R"("dictionary":"statePlotColumns"},"map":{"state":{"column":1,"description":)"
              R"("Composite of fields: a, c, d"}}},"endState":0,"info":{"State":"Composite of fields: a, c, d",)"
              R"("Trace Events":"ev, other"},"time":10.5,"type":"state","data":[[1,100],[2,100],[3,200],[4,200],)"
              R"([5,300],[6,100]]})",
              close());
}

TEST_F(StatePlotTest, FilterExecutionErrorSwitchesTheAlgorithmOff) {
    create(R"({"detail":{"events":["ev","other"],"eventConfigs":[{"eventIndex":1,"stateField":"a"},
        {"eventIndex":0,"stateField":"a","filterFormula":"$0 $1 +","filterFields":["b"]}]}})");
    ASSERT_TRUE(algorithm->isConfigured());
    testing::internal::CaptureStdout();
    send(8, 1.0, {1});
    send(7, 2.0, {1, 2});
    send(7, 3.0, {1, 2});
    send(8, 4.0, {1});
    std::string log = testing::internal::GetCapturedStdout();
    const std::string message = "Filter execution error: Not enough variables for evaluation";
    size_t first = log.find(message);
    ASSERT_NE(std::string::npos, first);
    EXPECT_EQ(std::string::npos, log.find(message, first + 1));
    EXPECT_EQ("", close(false));
}

TEST_F(StatePlotTest, PivotedSeriesWithAllColumns) {
    create(R"({"name":"n","info":{"keep":1},"hints":{"empty":true,"color":"red"},
        "detail":{"events":["ev","unused"],"pivotField":"b","pivotPrefix":"CPU \"x\"","group":"g","endState":-1,
        "eventConfigs":[{"eventIndex":0,"stateField":"a","innerPivotField":"c","magnitudeField":"m"}]}})");
    send(7, 0.25, {1, 5, 10, 0, 227});
    send(7, 0.5, {2, -1, 11, 0, 3});
    send(7, 0.125, {3, 5, 12, 0, -15}); // earlier than the previous point of pivot 5
    send(7, 0.125, {4, 5, 13, 0, 0});
    std::string out = close();
    // Pivot -1 comes first; pivot 5 is sorted by time. The magnitude is stored in tenths here: 227 -> 227.
    EXPECT_EQ(R"({"label":"CPU \"x\" -1","pivot":{"b":-1},"columnDictionary":{"type":"map","map":{"a":{"column":1,)"
              R"("description":"a"},"c":{"column":2,"description":"c"},"m":{"column":3,"description":"m"}}},)"
              R"("group":"g","endState":-1,"info":{"keep":1,"b":-1,"State":"a","Y-Axis":"m","Subplot":"c",)"
              R"("Trace Events":"ev, unused"},"hints":{"color":"red"},"time":10.5,"type":"state-key-value",)"
              R"("data":[[0.5,2,11,3]]})"
              R"({"label":"CPU \"x\" 5","pivot":{"b":5},"columnDictionary":{"type":"map","map":{"a":{"column":1,)"
              R"("description":"a"},"c":{"column":2,"description":"c"},"m":{"column":3,"description":"m"}}},)"
              R"("group":"g","endState":-1,"info":{"keep":1,"b":5,"State":"a","Y-Axis":"m","Subplot":"c",)"
              R"("Trace Events":"ev, unused"},"hints":{"color":"red"},"time":10.5,"type":"state-key-value",)"
              R"("data":[[0.125,3,12,-15],[0.125,4,13,0],[0.25,1,10,227]]})",
              out);
    // The lists are emptied by the close.
    EXPECT_NE(std::string::npos, close().find(R"("data":[])"));
}

TEST_F(StatePlotTest, ColumnNamesAndMagnitudePrecision) {
    // The magnitude repeats the state's field name and falls back to "magnitude"; the configuration before the
    // one of event index 0 has no magnitude reader and carries 0. Magnitudes are written with one decimal.
    create(R"({"name":"n","detail":{"events":["ev","other"],"eventConfigs":[
        {"eventIndex":1,"stateField":"a","filterFormula":"$0 10 /","filterFields":["m"]},
        {"eventIndex":0,"stateField":"a","magnitudeField":"a"}]}})");
    send(8, 1.5, {1, 0, 0, 0, 23});
    send(7, 2.0, {3});
    std::string out = close();
    EXPECT_NE(std::string::npos, out.find(R"("map":{"a":{"column":1,"description":"a"},)"
                                          R"("magnitude":{"column":2,"description":"a"}})"))
        << out;
    EXPECT_NE(std::string::npos, out.find(R"("type":"state-value","data":[[1.5,1,0],[2,3,3]])")) << out;
}

TEST_F(StatePlotTest, SeriesOfManyChunksGiveTheSameBytesFormattedAhead) {
    create(R"({"name":"n","detail":{"events":["ev"],"pivotField":"b",
        "eventConfigs":[{"eventIndex":0,"stateField":"a","innerPivotField":"c","magnitudeField":"m"}]}})");
    const int count = static_cast<int>(kestrel::JsomWriter::ELEMENTS_PER_CHUNK) * 6 + 3;
    std::string texts[2];
    for (std::string& text : texts) {
        for (int i = 0; i < count; ++i) {
            send(7, 1e6 + i * 0.0007071 - (i % 97 == 5 ? 1.0 : 0.0), {i % 11, i % 3 == 0, i * 7919, 0, i % 1000 - 3});
        }
        text = close(true, &text == &texts[1]);
    }
    EXPECT_TRUE(texts[0] == texts[1]);
    EXPECT_GT(std::count(texts[0].begin(), texts[0].end(), '\n'), 5);
}

TEST_F(StatePlotTest, OneSampleEndsOneSeriesAndStartsAnother) {
    // Like a switch: the first configuration sends the thread in "a" to the state in "b" and goes on; the second
    // starts the thread in "c" in the constant state 512. The third needs a trace point the database lacks and is
    // left out, being optional. The pivot member takes the first configuration's field name.
    create(R"({"id":"t","name":"n","detail":{"events":["ev","missing"],"endState":-1,
        "stateNames":{"512":"Running","1":"Sleeping","x":"bad"},"eventConfigs":[
        {"eventIndex":0,"pivotField":"a","stateField":"b","continue":true},
        {"eventIndex":0,"pivotField":"c","stateValue":512,"filterFormula":"$0 0 !=","filterFields":["c"]},
        {"eventIndex":1,"pivotField":"a","stateValue":0,"optional":true}]}})");
    ASSERT_TRUE(algorithm->isConfigured());
    send(7, 1.0, {10, 1, 20});
    send(7, 2.0, {20, 1, 10});
    send(7, 3.0, {10, 2, 0}); // the filter stops the second configuration
    const std::string out = close();
    EXPECT_NE(std::string::npos, out.find(R"("pivot":{"a":10},)")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("data":[[1,1],[2,512],[3,2]]})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("data":[[1,512],[2,1]]})")) << out;
    EXPECT_NE(std::string::npos, out.find(R"("dataDictionary":{"scope":"plotwright","dictionary":"t state"})")) << out;

    // Without "optional" the missing trace point switches the channel off; a constant state with a state field, or
    // out of 32 bits, is refused.
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"detail":{"events":["ev","missing"],"eventConfigs":[{"eventIndex":0,"stateField":"a"},
            {"eventIndex":1,"stateValue":1}]}})",
         "Cannot find event [missing] in the store."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateField":"a","stateValue":1}]}})",
         "Bad stateValue on event #0."},
        {R"({"detail":{"events":["ev"],"eventConfigs":[{"eventIndex":0,"stateValue":4294967296}]}})",
         "Bad stateValue on event #0."},
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStdout();
        create(c.first);
        const std::string log = testing::internal::GetCapturedStdout();
        EXPECT_NE(std::string::npos, log.find(c.second)) << c.first << "\nlog: " << log;
        EXPECT_FALSE(algorithm->isConfigured()) << c.first;
    }
}

} // namespace
