#include "perfevents/Address32TracePointField.h"
#include "perfevents/Address64TracePointField.h"
#include "perfevents/ConstantUint32TracePointField.h"
#include "perfevents/CpuTracePointField.h"
#include "perfevents/Int16TracePointField.h"
#include "perfevents/Int32TracePointField.h"
#include "perfevents/Int64TracePointField.h"
#include "perfevents/Int8TracePointField.h"
#include "perfevents/PidTracePointField.h"
#include "perfevents/ResourceTracePointField.h"
#include "perfevents/TidTracePointField.h"
#include "perfevents/Uint16TracePointField.h"
#include "perfevents/Uint32TracePointField.h"
#include "perfevents/Uint64TracePointField.h"
#include "perfevents/Uint8TracePointField.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using namespace perfevents;

namespace {

// A sample's ancillary values with a raw block of the given length.
class FakeSample : public PerfEventDataSampleAncillary {
public:
    explicit FakeSample(std::vector<unsigned char> bytes) : raw(std::move(bytes)) {}
    unsigned int getPid() const override { return pid; }
    unsigned int getTid() const override { return tid; }
    unsigned long long getCpu() const override { return cpu; }
    unsigned long long getResource() const override { return resource; }
    unsigned int getRawSize() const override { return static_cast<unsigned int>(raw.size()); }
    const unsigned char* data() const { return raw.empty() ? nullptr : raw.data(); }

    unsigned int pid = 0;
    unsigned int tid = 0;
    unsigned long long cpu = 0;
    unsigned long long resource = 0;
    std::vector<unsigned char> raw;
};

template <typename T> void put(std::vector<unsigned char>& raw, size_t offset, T value) {
    std::memcpy(raw.data() + offset, &value, sizeof value);
}

template <typename R> std::unique_ptr<R> reader(uint32_t offset) {
    std::unique_ptr<R> field(new R());
    field->setOffset(offset);
    return field;
}

} // namespace

TEST(TracePointField, IntegerReadersConvertByTheFamilyRule) {
    std::vector<unsigned char> raw(32, 0);
    raw[1] = 0xFF;
    put<uint64_t>(raw, 3, 0x8000000000000000ull); // unaligned
    put<int64_t>(raw, 17, -2);                    // unaligned, low 16 bits 0xFFFE
    FakeSample s(raw);

    auto i8 = reader<Int8TracePointField>(1);
    EXPECT_EQ(-1, i8->getInt8(s, s.data()));
    EXPECT_EQ(255u, i8->getUint8(s, s.data()));
    EXPECT_EQ(65535u, i8->getUint16(s, s.data()));
    EXPECT_EQ(4294967295u, i8->getUint32(s, s.data()));
    EXPECT_EQ(18446744073709551615ull, i8->getUint64(s, s.data()));
    EXPECT_EQ(-1.0, i8->getDouble(s, s.data()));
    EXPECT_FALSE(i8->isFloatingPoint());

    auto u8 = reader<Uint8TracePointField>(1);
    EXPECT_EQ(-1, u8->getInt8(s, s.data()));
    EXPECT_EQ(255, u8->getInt16(s, s.data()));
    EXPECT_EQ(255.0, u8->getDouble(s, s.data()));

    auto u64 = reader<Uint64TracePointField>(3);
    EXPECT_EQ(9223372036854775808.0, u64->getDouble(s, s.data()));
    EXPECT_EQ(9223372036854775808.0f, u64->getFloat(s, s.data()));
    EXPECT_EQ(9223372036854775808.0L, u64->getLongDouble(s, s.data()));
    auto i64 = reader<Int64TracePointField>(3);
    EXPECT_EQ(-9223372036854775808.0, i64->getDouble(s, s.data()));
    EXPECT_EQ(INT64_MIN, i64->getInt64(s, s.data()));

    // Narrowing keeps the low bits: the 16-bit view of an int64 equals the int16 at the same offset.
    auto wide = reader<Int64TracePointField>(17);
    auto narrow = reader<Int16TracePointField>(17);
    EXPECT_EQ(-2, wide->getInt16(s, s.data()));
    EXPECT_EQ(wide->getInt16(s, s.data()), narrow->getInt16(s, s.data()));
    EXPECT_EQ(65534u, narrow->getUint16(s, s.data()));
    EXPECT_EQ(-2, reader<Int32TracePointField>(17)->getInt64(s, s.data()));
    EXPECT_EQ(4294967294u, reader<Uint32TracePointField>(17)->getUint64(s, s.data()));
    EXPECT_EQ(4294967294.0, reader<Uint32TracePointField>(17)->getDouble(s, s.data()));

    // getLongDouble goes through double: a 64-bit value that double cannot hold comes back rounded.
    put<uint64_t>(raw, 8, 0xFFFFFFFFFFFFFFFFull);
    FakeSample big(raw);
    EXPECT_EQ(static_cast<long double>(18446744073709551616.0),
              reader<Uint64TracePointField>(8)->getLongDouble(big, big.data()));
}

TEST(TracePointField, FieldsOutsideTheRawDataReadAsZero) {
    std::vector<unsigned char> raw(12, 0xAB);
    FakeSample s(raw);

    // The last four bytes are inside, one byte further is partly outside.
    EXPECT_EQ(0xABABABABu, reader<Uint32TracePointField>(8)->getUint32(s, s.data()));
    EXPECT_EQ(0u, reader<Uint32TracePointField>(9)->getUint32(s, s.data()));
    EXPECT_EQ(0, reader<Int64TracePointField>(5)->getInt64(s, s.data()));
    EXPECT_EQ(0u, reader<Uint8TracePointField>(12)->getUint32(s, s.data()));
    // Offsets near the top of the 32-bit range must not wrap around.
    EXPECT_EQ(0u, reader<Uint16TracePointField>(0xFFFFFFFFu)->getUint64(s, s.data()));
    EXPECT_EQ(0u, reader<Address64TracePointField>(0xFFFFFFF9u)->getAddress64(s, s.data()));
    EXPECT_EQ(0u, reader<Address32TracePointField>(10)->getAddress32(s, s.data()));

    // A sample without raw data: nothing is read, even at offset 0.
    FakeSample empty({});
    EXPECT_EQ(0, reader<Int8TracePointField>(0)->getInt8(empty, nullptr));
    EXPECT_EQ(0u, reader<Address32TracePointField>(0)->getAddress64(empty, nullptr));
}

TEST(TracePointField, AncillaryReadersUseTheSampleValuesNotTheRawData) {
    FakeSample s({});
    s.pid = 0x12345680;
    s.tid = 0xFFFFFFFE;
    s.cpu = 4294967295ull; // a sample decoded without the cpu bit
    s.resource = 0x100000001ull;

    PidTracePointField pid;
    EXPECT_EQ(0x12345680u, pid.getUint32(s, nullptr));
    EXPECT_EQ(-128, pid.getInt8(s, nullptr));
    EXPECT_EQ(0x12345680, pid.getInt64(s, nullptr));
    TidTracePointField tid;
    EXPECT_EQ(-2, tid.getInt32(s, nullptr));
    EXPECT_EQ(4294967294, tid.getInt64(s, nullptr));
    EXPECT_EQ(4294967294.0, tid.getDouble(s, nullptr));
    CpuTracePointField cpu;
    EXPECT_EQ(4294967295ull, cpu.getUint64(s, nullptr));
    ResourceTracePointField resource;
    EXPECT_EQ(1u, resource.getUint32(s, nullptr));
    EXPECT_EQ(4294967297.0, resource.getLongDouble(s, nullptr));

    ConstantUint32TracePointField<5u> five;
    const unsigned char junk[1] = {0x77};
    EXPECT_EQ(5, five.getInt8(s, junk));
    EXPECT_EQ(5, five.getInt64(s, nullptr));
    EXPECT_EQ(5.0, five.getDouble(s, nullptr));
}

TEST(TracePointField, AddressReaders) {
    std::vector<unsigned char> raw(16, 0);
    put<uint32_t>(raw, 1, 0x80000000u);
    put<uint64_t>(raw, 7, 0xFFFF000012345678ull);
    FakeSample s(raw);

    auto a32 = reader<Address32TracePointField>(1);
    EXPECT_FALSE(a32->is64Bit());
    EXPECT_EQ(0x80000000u, a32->getAddress32(s, s.data()));
    EXPECT_EQ(0x80000000ull, a32->getAddress64(s, s.data()));
    auto a64 = reader<Address64TracePointField>(7);
    EXPECT_TRUE(a64->is64Bit());
    EXPECT_EQ(0xFFFF000012345678ull, a64->getAddress64(s, s.data()));
    EXPECT_EQ(0x12345678u, a64->getAddress32(s, s.data()));
}
