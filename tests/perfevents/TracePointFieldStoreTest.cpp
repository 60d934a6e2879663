#include "perfevents/TracePointFieldStore.h"

#include "perfevents/Address64TracePointField.h"
#include "perfevents/PidTracePointField.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace perfevents;

namespace {

const char* const DATABASE = R"({
  "events": {
    "sw": {
      "id": 372,
      "fields": {
        "prev_pid": { "type": "pid_t", "offset": 24, "size": 4, "cast": "int32_t" },
        "prev_comm": { "type": "char[16]", "offset": 8, "size": 16 },
        "pid": { "type": "__ancillary_pid", "cast": "uint8_t", "offset": 3, "size": 1 },
        "bogus": { "type": "__ancillary_bogus", "cast": "int32_t" },
        "nowhere": { "cast": "uint16_t" },
        "ratio": { "offset": 0, "size": 4, "cast": "float" },
        "where": { "offset": 40, "size": 8, "cast": "address64_t" },
        "small": { "offset": 40, "size": 0, "cast": "uint32_t" }
      }
    },
    "big": { "id": 4294967301, "fields": {} },
    "noid": { "fields": {} }
  },
  "common": {
    "fields": {
      "common_type": { "type": "unsigned short", "offset": 0, "size": 2, "cast": "uint16_t" },
      "common_cpu": { "type": "__ancillary_cpu" }
    }
  }
})";

using Ptr = std::unique_ptr<TracePointField>;

class TracePointFieldStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        kestrel::JSOM database;
        ASSERT_FALSE(database.fromString(DATABASE).isError());
        store.setEventDatabase(database);
    }
    Ptr field(const char* event, const char* name,
              TracePointFieldStore::BaseType base = TracePointFieldStore::BASETYPE_ANY) {
        return Ptr(store.createTracePointField(event, name, base));
    }

    TracePointFieldStore store;
};

} // namespace

TEST_F(TracePointFieldStoreTest, EventIdsAndFieldLookup) {
    EXPECT_EQ(372, store.getEventID("sw"));
    EXPECT_EQ(5, store.getEventID("big")); // only the low 32 bits
    EXPECT_EQ(-1, store.getEventID("noid"));
    EXPECT_EQ(-1, store.getEventID("sched_switch"));
    EXPECT_EQ(-1, store.getEventID(nullptr));
    EXPECT_EQ(-1, TracePointFieldStore().getEventID("sw"));
    EXPECT_EQ(-1, TracePointFieldStore().loadEventDatabase(PLOTWRIGHT_TEST_DATA "/eventdb/no-such-file.json"));
    EXPECT_EQ(-1, TracePointFieldStore().loadEventDatabase(nullptr));

    Ptr prevPid = field("sw", "prev_pid");
    ASSERT_NE(nullptr, prevPid);
    EXPECT_STREQ("int32_t", prevPid->getTypeName());
    EXPECT_EQ(24u, prevPid->getOffset());
    EXPECT_EQ(4u, prevPid->getSize());
    // Missing offset and size read as 0; the database size, even 0, replaces the natural size.
    EXPECT_EQ(0u, field("sw", "nowhere")->getOffset());
    EXPECT_EQ(0u, field("sw", "nowhere")->getSize());
    EXPECT_EQ(0u, field("sw", "small")->getSize());

    // "common_" fields are found under any trace point name, even an unknown one; others only in their own.
    for (const char* event : {"common", "sw", "no_such_event"}) {
        std::unique_ptr<NumericTracePointField> type(store.createNumericField(event, "common_type"));
        ASSERT_NE(nullptr, type) << event;
        EXPECT_STREQ("uint16_t", type->getTypeName());
    }
    EXPECT_EQ(nullptr, field("common", "prev_pid"));
    EXPECT_EQ(nullptr, field("sched_switch", "prev_pid"));
    EXPECT_EQ(nullptr, field("sw", "next_pid"));
    EXPECT_EQ(nullptr, field("sw", "common_pid"));
    EXPECT_EQ(nullptr, field("sw", nullptr));
    EXPECT_EQ(nullptr, Ptr(TracePointFieldStore().createNumericField("common", "common_type")));
}

TEST_F(TracePointFieldStoreTest, AncillaryTypesCastsAndBaseTypesChooseTheReader) {
    // The ancillary type wins over the cast, and the database's offset and size are not applied.
    Ptr pid = field("sw", "pid", TracePointFieldStore::BASETYPE_NUMERIC);
    ASSERT_NE(nullptr, dynamic_cast<PidTracePointField*>(pid.get()));
    EXPECT_EQ(0u, pid->getOffset());
    EXPECT_EQ(4u, pid->getSize());
    EXPECT_EQ(nullptr, field("sw", "pid", TracePointFieldStore::BASETYPE_ADDRESS));
    EXPECT_STREQ("uint64_t", Ptr(store.createNumericField("x", "common_cpu"))->getTypeName());

    // An unknown ancillary type gives nothing even with a valid cast; so do fields without a cast and floats.
    EXPECT_EQ(nullptr, field("sw", "bogus"));
    EXPECT_EQ(nullptr, field("sw", "prev_comm"));
    EXPECT_EQ(nullptr, field("sw", "ratio"));

    EXPECT_EQ(nullptr, Ptr(store.createNumericField("sw", "where")));
    EXPECT_EQ(nullptr, Ptr(store.createAddressField("sw", "small")));
    Ptr where(store.createAddressField("sw", "where"));
    ASSERT_NE(nullptr, dynamic_cast<Address64TracePointField*>(where.get()));
    EXPECT_EQ(40u, where->getOffset());
    EXPECT_NE(nullptr, Ptr(store.createNumericField("sw", "small")));
    EXPECT_NE(nullptr, field("sw", "where"));
    EXPECT_NE(nullptr, field("sw", "small"));
}

TEST(TracePointFieldStore, ReaderTypeTable) {
    struct Entry {
        const char* name;
        uint32_t size;
        const char* typeName;
    };
    const Entry entries[] = {
        {"address32_t", 4, "address32_t"},  {"address64_t", 8, "address64_t"},  {"int8_t", 1, "int8_t"},
        {"int16_t", 2, "int16_t"},          {"int32_t", 4, "int32_t"},          {"int64_t", 8, "int64_t"},
        {"uint8_t", 1, "uint8_t"},          {"uint16_t", 2, "uint16_t"},        {"uint32_t", 4, "uint32_t"},
        {"uint64_t", 8, "uint64_t"},        {"__ancillary_cpu", 8, "uint64_t"}, {"__ancillary_resource", 8, "uint64_t"},
        {"__ancillary_pid", 4, "uint32_t"}, {"__ancillary_tid", 4, "uint32_t"}};
    for (const Entry& entry : entries) {
        const TracePointFieldStore::FieldTypeInfo* info = TracePointFieldStore::getFieldTypeInfo(entry.name);
        ASSERT_NE(nullptr, info) << entry.name;
        bool address = std::string(entry.name).compare(0, 7, "address") == 0;
        EXPECT_EQ(address ? TracePointFieldStore::BASETYPE_ADDRESS : TracePointFieldStore::BASETYPE_NUMERIC,
                  info->baseType);
        Ptr reader(TracePointFieldStore::createTracePointField(entry.name));
        EXPECT_EQ(entry.size, reader->getSize()) << entry.name;
        EXPECT_STREQ(entry.typeName, reader->getTypeName());
    }

    // Each constant reader returns its own number.
    const char* constants[] = {"__ancillary_zero", "__ancillary_one",  "__ancillary_two", "__ancillary_three",
                               "__ancillary_four", "__ancillary_five", "__ancillary_six", "__ancillary_seven"};
    perftest::FakeSample sample;
    for (int n = 0; n < 8; ++n) {
        Ptr reader(TracePointFieldStore::createTracePointField(constants[n], TracePointFieldStore::BASETYPE_NUMERIC));
        auto* numeric = dynamic_cast<NumericTracePointField*>(reader.get());
        ASSERT_NE(nullptr, numeric) << constants[n];
        EXPECT_EQ(n, numeric->getInt32(sample, nullptr));
    }

    for (const char* name : {"float", "double", "long double", "Int8_t", "__ancillary_", ""}) {
        EXPECT_EQ(nullptr, TracePointFieldStore::getFieldTypeInfo(name)) << name;
    }
    EXPECT_EQ(nullptr, TracePointFieldStore::createTracePointField(nullptr));
    EXPECT_EQ(nullptr,
              Ptr(TracePointFieldStore::createTracePointField("int8_t", TracePointFieldStore::BASETYPE_ADDRESS)));
}
