#include "perfevents/PerfEventAttribute.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

using perfevents::PerfEventAttribute;

namespace {
perfdatawriter::Attribute everything(unsigned int size) {
    perfdatawriter::Attribute fields;
    fields.byteSize = size;
    fields.config = 0x100000174ULL; // only the low 32 bits are kept
    fields.sampleType = 0x10587;
    fields.readFormat = 0x14;
    fields.flags = (1ULL << 23) - 1; // every decoded flag, precise ip 3
    fields.config2 = 77;
    fields.branchSampleType = 5;
    fields.sampleRegsUser = 6;
    fields.sampleStackUser = 7;
    return fields;
}
} // namespace

TEST(PerfEventAttributeTest, VersionThresholdsDecideWhichFieldsAreRead) {
    perfdatawriter::Attribute fields = everything(63);
    EXPECT_THROW(perftest::decodeAttribute(fields), std::invalid_argument);

    PerfEventAttribute v0 = perftest::decodeAttribute(everything(64), {5});
    EXPECT_EQ(0x174u, v0.getConfig());
    EXPECT_EQ(0x10587u, v0.getSampleType());
    EXPECT_EQ(3u, v0.getPreciseIp());
    EXPECT_TRUE(v0.isSampleIdAll() && v0.isTask() && v0.isMmapData() && v0.isWatermark());
    EXPECT_FALSE(v0.isExcludeHost() || v0.isExcludeGuest());
    EXPECT_EQ(0u, v0.getConfig2());
    EXPECT_EQ(64u, v0.getRawBytes().size());
    EXPECT_TRUE(v0.isAssociatedWithId(5));
    EXPECT_FALSE(v0.isAssociatedWithId(6));

    PerfEventAttribute v1 = perftest::decodeAttribute(everything(72));
    EXPECT_TRUE(v1.isExcludeHost() && v1.isExcludeGuest());
    EXPECT_EQ(77u, v1.getConfig2());
    EXPECT_EQ(0u, v1.getBranchSampleType());

    PerfEventAttribute v2 = perftest::decodeAttribute(everything(80));
    EXPECT_EQ(5u, v2.getBranchSampleType());
    EXPECT_FALSE(v2.isExcludeCallchainKernel());
    EXPECT_EQ(0u, v2.getSampleRegsUser());

    for (unsigned int size : {96u, 120u}) {
        PerfEventAttribute v3 = perftest::decodeAttribute(everything(size));
        EXPECT_TRUE(v3.isExcludeCallchainKernel() && v3.isExcludeCallchainUser());
        EXPECT_EQ(6u, v3.getSampleRegsUser());
        EXPECT_EQ(7u, v3.getSampleStackUser());
    }

    PerfEventAttribute empty;
    EXPECT_EQ(6u, empty.getType());
    EXPECT_FALSE(empty.isAssociatedWithId(0));
    perfdatawriter::Bytes shortBytes(10, 0);
    kestrel::ByteBufferViewport shortView(shortBytes.data(), 10, 10);
    EXPECT_FALSE(empty.initialize(shortView, {1}));
    EXPECT_TRUE(empty.getStreamIds().empty());
}

TEST(PerfEventAttributeTest, PrintedForm) {
    perfdatawriter::Attribute fields;
    fields.byteSize = 96;
    fields.config = 372;
    fields.sampleType = 0x587;
    fields.flags = (1ULL << 10) | (1ULL << 18) | (1ULL << 13); // freq, sample id all, task
    fields.samplePeriod = 4000;
    std::ostringstream out;
    out << std::boolalpha << perftest::decodeAttribute(fields, {5, 6})
        << 42; // flags print as digits whatever the stream's mode
    const std::string text = out.str();
    EXPECT_EQ(0u, text.find("\nPerf Event Attribute:\n    Related stream IDs: 5, 6, \n    Type: 2\n"
                            "    Size: 96 (0x0060)\n    Config: 372 (0x00000174)\n    Sampling frequency: 4000\n"
                            "    Sample type: 0x00000587\n    Always get sample data: 1\n"
                            "    Read format: 0x00000000\n    ----\n    Include fork/exit: 1\n"
                            "    Include mmap events: 0\n"));
    EXPECT_NE(std::string::npos, text.find("    Exclude user callchains: 0\n    Wakeup rate: 0\n"
                                           "    IP precision: 0\n    Hardware breakpoint type: 0x00000000\n"));
    // The stream is back in decimal afterwards.
    EXPECT_NE(std::string::npos, text.find("    User stack size: 0\n42"));
}
