#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfEventAttribute.h"
#include "tests/perfevents/PerfTestFiles.h"

#include "kestrel/Logger.h"

#include <gtest/gtest.h>

using namespace perfevents;
using perfdatawriter::Bytes;

namespace {
PerfEventAttribute attribute(unsigned long long sampleType, unsigned long long readFormat = 0) {
    perfdatawriter::Attribute fields;
    fields.config = 372;
    fields.sampleType = sampleType;
    fields.readFormat = readFormat;
    return perftest::decodeAttribute(fields);
}

perfdatawriter::Sample fullSample() {
    perfdatawriter::Sample s;
    s.identifier = 81;
    s.ip = 0xffff0001;
    s.pid = 10;
    s.tid = 11;
    s.time = 1990646388331ULL;
    s.addr = 0xabc;
    s.id = 80;
    s.streamId = 79;
    s.cpu = 3;
    s.resource = 4;
    s.period = 1;
    s.callchain = {0x10, 0x20};
    s.raw = {0x74, 0x01, 0, 0, 11, 0, 0, 0};
    return s;
}

// The views of the sample point into body, which must outlive their use.
bool decode(PerfEventDataSample& sample, const Bytes& body) {
    return sample.parse(perftest::viewOf(body), 0);
}

std::string logOf(unsigned long long sampleType) {
    testing::internal::CaptureStdout();
    {
        PerfEventAttribute a = attribute(sampleType);
        PerfEventDataSample sample(a);
    }
    kestrel::Logger::flushAll();
    return testing::internal::GetCapturedStdout();
}
} // namespace

TEST(PerfEventDataSampleTest, PreparedAndBuiltLayoutsAgree) {
    const unsigned long long types[] = {0x4C7, 0x487, 0x5A7};
    const unsigned int sizes[] = {44, 36, 60};
    for (int i = 0; i < 3; ++i) {
        // Adding a bit that is ignored forces the dynamic builder for the same layout.
        for (unsigned long long type : {types[i], types[i] | 0x20000ULL}) {
            SCOPED_TRACE(type);
            PerfEventAttribute a = attribute(type);
            PerfEventDataSample sample(a);
            EXPECT_EQ(sizes[i], sample.getRequiredMinimumSize());
            Bytes body = perfdatawriter::encodeSample(type, fullSample());
            ASSERT_TRUE(decode(sample, body));
            EXPECT_EQ(0xffff0001u, sample.getIp());
            EXPECT_EQ(10u, sample.getPid());
            EXPECT_EQ(11u, sample.getTid());
            EXPECT_EQ(1990646388331ULL, sample.getTime());
            EXPECT_EQ(3u, sample.getCpu());
            EXPECT_EQ(4u, sample.getResource());
            EXPECT_EQ(type & 0x40 ? 80u : ~0ULL, sample.getId());
            EXPECT_EQ(type & 0x100 ? 1u : ~0ULL, sample.getPeriod());
            EXPECT_EQ(type & 0x20 ? 2u : 0u, sample.getCallchain().size());
            ASSERT_EQ(8u, sample.getRawSize());
            EXPECT_EQ(body.data() + body.size() - 8, sample.getRawData());
            EXPECT_EQ(11, sample.getRaw().at(4));
        }
    }
    EXPECT_NE(std::string::npos, logOf(0x4C7 | 0x8).find("INFO PERF_RECORD_SAMPLE format is not a common format."));
    EXPECT_NE(std::string::npos, logOf(0x487 | 0x4000)
                                     .find("WARN Weight data specified for trace point 372. It "
                                           "will be ignored."));
}

TEST(PerfEventDataSampleTest, IdentifierAndOptionalFieldsInPerfOrder) {
    // What current perf writes for trace points: the identifier comes before everything else.
    const unsigned long long type = 0x10587 | 0x8 | 0x200 | 0x20;
    PerfEventAttribute a = attribute(type);
    PerfEventDataSample sample(a);
    EXPECT_EQ(8u + 8 + 8 + 8 + 8 + 8 + 8 + 8 + 16 + 4, sample.getRequiredMinimumSize());
    const Bytes body = perfdatawriter::encodeSample(type, fullSample());
    ASSERT_TRUE(decode(sample, body));
    EXPECT_EQ(81u, sample.getId());
    EXPECT_EQ(0xffff0001u, sample.getIp());
    EXPECT_EQ(0xabcu, sample.getAddr());
    EXPECT_EQ(79u, sample.getStreamId());
    EXPECT_EQ(3u, sample.getCpu());
    EXPECT_EQ(1u, sample.getPeriod());
    EXPECT_EQ(0x20u, sample.getCallchain()[1]);
    EXPECT_EQ(11, sample.getRaw().at(4));

    // Fields without their bit keep the initial values.
    PerfEventAttribute bare = attribute(0x4 | 0x400);
    PerfEventDataSample timeOnly(bare);
    perfdatawriter::Sample empty = fullSample();
    empty.raw.clear();
    ASSERT_TRUE(decode(timeOnly, perfdatawriter::encodeSample(0x404, empty)));
    EXPECT_EQ(4294967295u, timeOnly.getCpu());
    EXPECT_EQ(0u, timeOnly.getRawSize());
}

TEST(PerfEventDataSampleTest, ReadBlocksAndVariablePartsStayInsideTheBody) {
    // A group of 3 with ids: 8 + 3 * 16 bytes.
    PerfEventAttribute grouped = attribute(0x10 | 0x400, 0x8 | 0x4);
    PerfEventDataSample sample(grouped);
    perfdatawriter::Sample s = fullSample();
    perfdatawriter::putU64(s.readBlock, 3);
    s.readBlock.resize(56, 0);
    ASSERT_TRUE(decode(sample, perfdatawriter::encodeSample(0x410, s)));
    EXPECT_EQ(56u, sample.getReadValues().size());
    EXPECT_EQ(8u, sample.getRawSize());

    // A raw size or call chain count that runs past the body makes the sample undecodable.
    PerfEventAttribute chained = attribute(0x5A7);
    PerfEventDataSample chain(chained);
    perfdatawriter::Sample bad = fullSample();
    bad.rawSizeOverride = 9;
    EXPECT_FALSE(decode(chain, perfdatawriter::encodeSample(0x5A7, bad)));
    bad.rawSizeOverride = 0xFFFFFFFF;
    EXPECT_FALSE(decode(chain, perfdatawriter::encodeSample(0x5A7, bad)));
    bad = fullSample();
    bad.callchainCountOverride = 0x100000003LL; // only the low 32 bits count
    EXPECT_FALSE(decode(chain, perfdatawriter::encodeSample(0x5A7, bad)));
    EXPECT_EQ(3u, chain.getUndecodableCount());
    bad.callchainCountOverride = 0x100000002LL;
    EXPECT_TRUE(decode(chain, perfdatawriter::encodeSample(0x5A7, bad)));
    EXPECT_EQ(2u, chain.getCallchain().size());

    s.readBlock[0] = 4; // a group of 4 does not fit
    EXPECT_FALSE(decode(sample, perfdatawriter::encodeSample(0x410, s)));
}
