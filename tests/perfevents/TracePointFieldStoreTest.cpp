#include "perfevents/TracePointFieldStore.h"

#include "perfevents/Address64TracePointField.h"
#include "perfevents/PidTracePointField.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace perfevents;

namespace {

const char* const DATABASE = R"({
  "events": {
    "sched:sched_switch": {
      "id": 372,
      "fields": {
        "prev_pid": { "type": "pid_t", "offset": 24, "size": 4, "cast": "int32_t" },
        "prev_comm": { "type": "char[16]", "offset": 8, "size": 16 },
        "pid": { "type": "__ancillary_pid", "cast": "uint8_t", "offset": 3, "size": 1 },
        "bogus": { "type": "__ancillary_bogus", "cast": "int32_t" },
        "nowhere": { "cast": "uint16_t" },
        "wide": { "offset": 2, "size": 0, "cast": "uint64_t" },
        "ratio": { "offset": 0, "size": 4, "cast": "float" },
        "where": { "offset": 40, "size": 8, "cast": "address64_t" },
        "small": { "offset": 40, "size": 4, "cast": "uint32_t" }
      }
    },
    "big": { "id": 4294967301, "fields": {} },
    "noid": { "fields": {} }
  },
  "common": {
    "fields": {
      "common_type": { "type": "unsigned short", "offset": 0, "size": 2, "cast": "uint16_t" },
      "common_pid": { "type": "int", "offset": 4, "size": 4, "cast": "int32_t" },
      "common_cpu": { "type": "__ancillary_cpu" }
    }
  }
})";

class TracePointFieldStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        kestrel::JSOM database;
        ASSERT_NE(&kestrel::JSOM::JERROR, &database.fromString(DATABASE));
        store.setEventDatabase(database);
    }

    std::unique_ptr<TracePointField> field(const char* event, const char* name,
                                           TracePointFieldStore::BaseType base = TracePointFieldStore::BASETYPE_ANY) {
        return std::unique_ptr<TracePointField>(store.createTracePointField(event, name, base));
    }

    TracePointFieldStore store;
};

} // namespace

TEST_F(TracePointFieldStoreTest, EventIdsAreTheLow32BitsOfTheDatabaseId) {
    EXPECT_EQ(372, store.getEventID("sched:sched_switch"));
    EXPECT_EQ(5, store.getEventID("big"));
    EXPECT_EQ(-1, store.getEventID("noid"));
    EXPECT_EQ(-1, store.getEventID("sched_switch"));
    EXPECT_EQ(-1, store.getEventID(nullptr));
    // Asking for unknown trace points does not disturb later lookups.
    EXPECT_EQ(-1, store.getEventID("sched_switch"));
    EXPECT_EQ(nullptr, field("sched_switch", "prev_pid"));
    EXPECT_EQ(372, store.getEventID("sched:sched_switch"));

    TracePointFieldStore empty;
    EXPECT_EQ(-1, empty.getEventID("sched:sched_switch"));
    EXPECT_EQ(nullptr, empty.createNumericField("common", "common_type"));
}

TEST_F(TracePointFieldStoreTest, FieldsComeFromTheTracePointOrTheCommonSection) {
    std::unique_ptr<TracePointField> prevPid = field("sched:sched_switch", "prev_pid");
    ASSERT_NE(nullptr, prevPid);
    EXPECT_STREQ("int32_t", prevPid->getTypeName());
    EXPECT_EQ(24u, prevPid->getOffset());
    EXPECT_EQ(4u, prevPid->getSize());

    // "common_" fields are found under any trace point name, even an unknown one.
    for (const char* event : {"common", "sched:sched_switch", "no_such_event"}) {
        std::unique_ptr<NumericTracePointField> type(store.createNumericField(event, "common_type"));
        ASSERT_NE(nullptr, type) << event;
        EXPECT_STREQ("uint16_t", type->getTypeName());
        EXPECT_EQ(0u, type->getOffset());
        std::unique_ptr<NumericTracePointField> pid(store.createNumericField(event, "common_pid"));
        ASSERT_NE(nullptr, pid) << event;
        EXPECT_EQ(4u, pid->getOffset());
    }
    // Other names are only looked up in the trace point's own fields.
    EXPECT_EQ(nullptr, field("common", "prev_pid"));
    EXPECT_EQ(nullptr, field("sched:sched_switch", "next_pid"));
    EXPECT_EQ(nullptr, field("sched:sched_switch", "common_flags"));
    EXPECT_EQ(nullptr, field("sched:sched_switch", nullptr));

    // Missing offset and size read as 0; the database size replaces the natural size.
    std::unique_ptr<TracePointField> nowhere = field("sched:sched_switch", "nowhere");
    ASSERT_NE(nullptr, nowhere);
    EXPECT_EQ(0u, nowhere->getOffset());
    EXPECT_EQ(0u, nowhere->getSize());
    std::unique_ptr<TracePointField> wide = field("sched:sched_switch", "wide");
    ASSERT_NE(nullptr, wide);
    EXPECT_EQ(2u, wide->getOffset());
    EXPECT_EQ(0u, wide->getSize());
}

TEST_F(TracePointFieldStoreTest, AncillaryTypesAndCastsChooseTheReader) {
    // The ancillary type wins over the cast, and the database's offset and size are not applied.
    std::unique_ptr<TracePointField> pid = field("sched:sched_switch", "pid", TracePointFieldStore::BASETYPE_NUMERIC);
    ASSERT_NE(nullptr, dynamic_cast<PidTracePointField*>(pid.get()));
    EXPECT_EQ(0u, pid->getOffset());
    EXPECT_EQ(4u, pid->getSize());
    EXPECT_EQ(nullptr, field("sched:sched_switch", "pid", TracePointFieldStore::BASETYPE_ADDRESS));
    std::unique_ptr<NumericTracePointField> cpu(store.createNumericField("x", "common_cpu"));
    ASSERT_NE(nullptr, cpu);
    EXPECT_STREQ("uint64_t", cpu->getTypeName());

    // An unknown ancillary type gives nothing even with a valid cast; so do arrays without a cast and floats.
    EXPECT_EQ(nullptr, field("sched:sched_switch", "bogus"));
    EXPECT_EQ(nullptr, field("sched:sched_switch", "prev_comm"));
    EXPECT_EQ(nullptr, field("sched:sched_switch", "ratio"));

    // Base types: numeric and address requests accept only their own readers, ANY accepts both.
    EXPECT_EQ(nullptr,
              std::unique_ptr<NumericTracePointField>(store.createNumericField("sched:sched_switch", "where")));
    EXPECT_EQ(nullptr,
              std::unique_ptr<AddressTracePointField>(store.createAddressField("sched:sched_switch", "small")));
    std::unique_ptr<AddressTracePointField> where(store.createAddressField("sched:sched_switch", "where"));
    ASSERT_NE(nullptr, dynamic_cast<Address64TracePointField*>(where.get()));
    EXPECT_EQ(40u, where->getOffset());
    std::unique_ptr<NumericTracePointField> small(store.createNumericField("sched:sched_switch", "small"));
    ASSERT_NE(nullptr, small);
    EXPECT_NE(nullptr, field("sched:sched_switch", "where"));
    EXPECT_NE(nullptr, field("sched:sched_switch", "small"));
}

TEST(TracePointFieldStore, ReaderTypeTable) {
    struct Entry {
        const char* name;
        uint32_t size;
        const char* typeName;
    };
    const Entry entries[] = {{"address32_t", 4, "address32_t"},
                             {"address64_t", 8, "address64_t"},
                             {"int8_t", 1, "int8_t"},
                             {"int16_t", 2, "int16_t"},
                             {"int32_t", 4, "int32_t"},
                             {"int64_t", 8, "int64_t"},
                             {"uint8_t", 1, "uint8_t"},
                             {"uint16_t", 2, "uint16_t"},
                             {"uint32_t", 4, "uint32_t"},
                             {"uint64_t", 8, "uint64_t"},
                             {"__ancillary_cpu", 8, "uint64_t"},
                             {"__ancillary_resource", 8, "uint64_t"},
                             {"__ancillary_pid", 4, "uint32_t"},
                             {"__ancillary_tid", 4, "uint32_t"},
                             {"__ancillary_zero", 4, "uint32_t"},
                             {"__ancillary_one", 4, "uint32_t"},
                             {"__ancillary_two", 4, "uint32_t"},
                             {"__ancillary_three", 4, "uint32_t"},
                             {"__ancillary_four", 4, "uint32_t"},
                             {"__ancillary_five", 4, "uint32_t"},
                             {"__ancillary_six", 4, "uint32_t"},
                             {"__ancillary_seven", 4, "uint32_t"}};
    for (const Entry& entry : entries) {
        const TracePointFieldStore::FieldTypeInfo* info = TracePointFieldStore::getFieldTypeInfo(entry.name);
        ASSERT_NE(nullptr, info) << entry.name;
        bool address = std::string(entry.name).compare(0, 7, "address") == 0;
        EXPECT_EQ(address ? TracePointFieldStore::BASETYPE_ADDRESS : TracePointFieldStore::BASETYPE_NUMERIC,
                  info->baseType)
            << entry.name;
        std::unique_ptr<TracePointField> reader(TracePointFieldStore::createTracePointField(entry.name));
        ASSERT_NE(nullptr, reader) << entry.name;
        EXPECT_EQ(entry.size, reader->getSize()) << entry.name;
        EXPECT_EQ(0u, reader->getOffset()) << entry.name;
        EXPECT_STREQ(entry.typeName, reader->getTypeName());
    }
    for (const char* name : {"float", "double", "long double", "Int8_t", "int8", "__ancillary_", ""}) {
        EXPECT_EQ(nullptr, TracePointFieldStore::getFieldTypeInfo(name)) << name;
    }
    EXPECT_EQ(nullptr, TracePointFieldStore::createTracePointField(nullptr));
    EXPECT_EQ(nullptr, TracePointFieldStore::createTracePointField("int8_t", TracePointFieldStore::BASETYPE_ADDRESS));
    EXPECT_EQ(nullptr,
              TracePointFieldStore::createTracePointField("address32_t", TracePointFieldStore::BASETYPE_NUMERIC));

    // Each constant reader returns its own number.
    std::unique_ptr<TracePointField> six(TracePointFieldStore::createTracePointField("__ancillary_six"));
    auto* numeric = dynamic_cast<NumericTracePointField*>(six.get());
    ASSERT_NE(nullptr, numeric);
    struct : PerfEventDataSampleAncillary {
        unsigned int getPid() const override { return 1; }
        unsigned int getTid() const override { return 2; }
        unsigned long long getCpu() const override { return 3; }
        unsigned long long getResource() const override { return 4; }
        unsigned int getRawSize() const override { return 0; }
    } sample;
    EXPECT_EQ(6, numeric->getInt32(sample, nullptr));
}

TEST(TracePointFieldStore, LoadEventDatabase) {
    TracePointFieldStore store;
    EXPECT_EQ(0, store.loadEventDatabase(PLOTWRIGHT_TEST_DATA "/eventdb/sched.json"));
    EXPECT_EQ(372, store.getEventID("sched:sched_switch"));
    EXPECT_EQ(374, store.getEventID("sched:sched_wakeup"));

    TracePointFieldStore missing;
    EXPECT_EQ(-1, missing.loadEventDatabase(PLOTWRIGHT_TEST_DATA "/eventdb/no-such-file.json"));
    EXPECT_EQ(-1, missing.loadEventDatabase(nullptr));
}
