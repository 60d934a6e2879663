#include "kestrel/TimeConverter.h"

#include <gtest/gtest.h>

using kestrel::TimeConverter;

TEST(TimeConverterTest, WithoutStartTheFirstTimeStampIsTheOrigin) {
    TimeConverter converter;
    converter.setup(0.0, 10.0, 2.0, 0.0, 0.0); // a duration without a start gives no end
    double clock = -1.0;
    EXPECT_TRUE(converter.nextTimestamp(50.0, clock));
    EXPECT_DOUBLE_EQ(0.0, clock);
    EXPECT_DOUBLE_EQ(100.0, converter.getClockOrigin());
    EXPECT_TRUE(converter.nextTimestamp(1000.0, clock));
    EXPECT_DOUBLE_EQ(1900.0, clock);
    EXPECT_FALSE(converter.nextTimestamp(49.0, clock));
    EXPECT_DOUBLE_EQ(-2.0, clock); // filled in also when rejected
    EXPECT_DOUBLE_EQ(50.0, converter.getDataStartTime());
    EXPECT_DOUBLE_EQ(0.0, converter.getDataEndTime());
}

TEST(TimeConverterTest, StartAndDurationLimitTheInterval) {
    TimeConverter converter;
    converter.setup(100.0, 10.0, 1.0, 0.0, 0.0);
    double clock = -1.0;
    EXPECT_FALSE(converter.nextTimestamp(99.999, clock));
    EXPECT_TRUE(converter.nextTimestamp(100.0, clock));
    EXPECT_DOUBLE_EQ(0.0, clock);
    EXPECT_TRUE(converter.nextTimestamp(100.5, clock));
    EXPECT_DOUBLE_EQ(0.5, clock);
    EXPECT_TRUE(converter.nextTimestamp(109.999, clock));
    EXPECT_FALSE(converter.nextTimestamp(110.0, clock));
    EXPECT_DOUBLE_EQ(10.0, clock);
    EXPECT_DOUBLE_EQ(110.0, converter.getClockEndTime());
    EXPECT_DOUBLE_EQ(100.0, converter.getClockOrigin());

    converter.setup(100.0, -1.0, 1.0, 0.0, 0.0);
    EXPECT_TRUE(converter.nextTimestamp(1e9, clock));
    EXPECT_DOUBLE_EQ(0.0, converter.getDataEndTime());
}

TEST(TimeConverterTest, SkewAndOffsetMapDataToClock) {
    TimeConverter converter;
    converter.setup(1010.0, 0.0, 2.0, 1000.0, 0.0);
    EXPECT_DOUBLE_EQ(5.0, converter.getDataStartTime());
    double clock = -1.0;
    EXPECT_TRUE(converter.nextTimestamp(6.0, clock));
    EXPECT_DOUBLE_EQ(2.0, clock);
    EXPECT_FALSE(converter.nextTimestamp(4.0, clock));

    // A base shifts the data time that corresponds to the offset.
    converter.setup(1010.0, 4.0, 2.0, 1000.0, 100.0);
    EXPECT_DOUBLE_EQ(105.0, converter.getDataStartTime());
    EXPECT_DOUBLE_EQ(107.0, converter.getDataEndTime());
    EXPECT_TRUE(converter.nextTimestamp(106.0, clock));
    EXPECT_DOUBLE_EQ(2.0, clock);
    EXPECT_FALSE(converter.nextTimestamp(107.0, clock));
}
