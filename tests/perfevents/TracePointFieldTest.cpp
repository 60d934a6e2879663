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
#include "tests/perfevents/PerfTestFiles.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using namespace perfevents;

namespace {

using perftest::FakeSample;

template <typename R> std::unique_ptr<R> at(uint32_t offset) {
    std::unique_ptr<R> field(new R());
    field->setOffset(offset);
    return field;
}

} // namespace

TEST(TracePointField, IntegerReadersConvertByTheFamilyRule) {
    FakeSample s;
    s.raw.assign(32, 0);
    s.raw[1] = 0xFF;
    s.put<uint64_t>(3, 0x8000000000000000ull); // unaligned
    s.put<int64_t>(17, -2);                    // unaligned, low 16 bits 0xFFFE
    s.put<uint64_t>(24, 0xFFFFFFFFFFFFFFFFull);
    const unsigned char* d = s.data();

    auto i8 = at<Int8TracePointField>(1);
    EXPECT_EQ(-1, i8->getInt8(s, d));
    EXPECT_EQ(255u, i8->getUint8(s, d));
    EXPECT_EQ(65535u, i8->getUint16(s, d));
    EXPECT_EQ(4294967295u, i8->getUint32(s, d));
    EXPECT_EQ(18446744073709551615ull, i8->getUint64(s, d));
    EXPECT_EQ(-1.0, i8->getDouble(s, d));
    auto u8 = at<Uint8TracePointField>(1);
    EXPECT_EQ(-1, u8->getInt8(s, d));
    EXPECT_EQ(255, u8->getInt16(s, d));
    EXPECT_EQ(255.0, u8->getDouble(s, d));

    // 2^63: unsigned to floating conversion versus signed.
    EXPECT_EQ(9223372036854775808.0, at<Uint64TracePointField>(3)->getDouble(s, d));
    EXPECT_EQ(9223372036854775808.0f, at<Uint64TracePointField>(3)->getFloat(s, d));
    EXPECT_EQ(-9223372036854775808.0, at<Int64TracePointField>(3)->getDouble(s, d));
    EXPECT_EQ(INT64_MIN, at<Int64TracePointField>(3)->getInt64(s, d));

    // Narrowing keeps the low bits: the 16-bit view of an int64 equals the int16 at the same offset.
    EXPECT_EQ(-2, at<Int64TracePointField>(17)->getInt16(s, d));
    EXPECT_EQ(-2, at<Int16TracePointField>(17)->getInt16(s, d));
    EXPECT_EQ(65534u, at<Int16TracePointField>(17)->getUint16(s, d));
    EXPECT_EQ(-2, at<Int32TracePointField>(17)->getInt64(s, d));
    EXPECT_EQ(4294967294u, at<Uint32TracePointField>(17)->getUint64(s, d));
    EXPECT_EQ(4294967294.0, at<Uint32TracePointField>(17)->getDouble(s, d));
    EXPECT_EQ(65534u, at<Uint16TracePointField>(17)->getUint64(s, d));

    // getLongDouble goes through double: 2^64 - 1 comes back as the double nearest to it.
    EXPECT_EQ(static_cast<long double>(18446744073709551616.0), at<Uint64TracePointField>(24)->getLongDouble(s, d));
}

TEST(TracePointField, FieldsOutsideTheRawDataReadAsZero) {
    FakeSample s;
    s.raw.assign(12, 0xAB);
    const unsigned char* d = s.data();

    // The last four bytes are inside; one byte further is partly outside.
    EXPECT_EQ(0xABABABABu, at<Uint32TracePointField>(8)->getUint32(s, d));
    EXPECT_EQ(0u, at<Uint32TracePointField>(9)->getUint32(s, d));
    EXPECT_EQ(0, at<Int64TracePointField>(5)->getInt64(s, d));
    EXPECT_EQ(0u, at<Uint8TracePointField>(12)->getUint32(s, d));
    EXPECT_EQ(0u, at<Address32TracePointField>(10)->getAddress32(s, d));
    // Offsets near the top of the 32-bit range must not wrap around.
    EXPECT_EQ(0u, at<Uint16TracePointField>(0xFFFFFFFFu)->getUint64(s, d));
    EXPECT_EQ(0u, at<Address64TracePointField>(0xFFFFFFF9u)->getAddress64(s, d));

    // A sample without raw data: nothing is read, even at offset 0.
    FakeSample empty;
    EXPECT_EQ(0, at<Int8TracePointField>(0)->getInt8(empty, nullptr));
    EXPECT_EQ(0u, at<Address32TracePointField>(0)->getAddress64(empty, nullptr));
}

TEST(TracePointField, AncillaryAndAddressReaders) {
    FakeSample s;
    s.pid = 0x12345680;
    s.tid = 0xFFFFFFFE;
    s.cpu = 4294967295ull; // a sample decoded without the cpu bit
    s.resource = 0x100000001ull;

    // Ancillary readers convert as unsigned sources and ignore the raw data.
    EXPECT_EQ(-128, PidTracePointField().getInt8(s, nullptr));
    EXPECT_EQ(0x12345680, PidTracePointField().getInt64(s, nullptr));
    EXPECT_EQ(-2, TidTracePointField().getInt32(s, nullptr));
    EXPECT_EQ(4294967294, TidTracePointField().getInt64(s, nullptr));
    EXPECT_EQ(4294967295ull, CpuTracePointField().getUint64(s, nullptr));
    EXPECT_EQ(1u, ResourceTracePointField().getUint32(s, nullptr));
    EXPECT_EQ(4294967297.0, ResourceTracePointField().getLongDouble(s, nullptr));
    const unsigned char junk[1] = {0x77};
    EXPECT_EQ(5, ConstantUint32TracePointField<5u>().getInt8(s, junk));
    EXPECT_EQ(5.0, ConstantUint32TracePointField<5u>().getDouble(s, nullptr));

    s.raw.assign(16, 0);
    s.put<uint32_t>(1, 0x80000000u);
    s.put<uint64_t>(7, 0xFFFF000012345678ull);
    auto a32 = at<Address32TracePointField>(1);
    EXPECT_EQ(0x80000000u, a32->getAddress32(s, s.data()));
    EXPECT_EQ(0x80000000ull, a32->getAddress64(s, s.data()));
    auto a64 = at<Address64TracePointField>(7);
    EXPECT_EQ(0xFFFF000012345678ull, a64->getAddress64(s, s.data()));
    EXPECT_EQ(0x12345678u, a64->getAddress32(s, s.data()));
}
