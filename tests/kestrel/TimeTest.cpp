#include "kestrel/Time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

TEST(TimeTest, TimeToStringUsesUtcAndMillisecondsWithoutLeadingZeros) {
    char buffer[80];
    EXPECT_EQ(strlen("01/01/70 00:00:00.250"), timeToString(0.25, buffer));
    EXPECT_STREQ("01/01/70 00:00:00.250", buffer);
    std::string text;
    timeToString(86400.0078125, text); // 7.8 ms after a whole second
    EXPECT_EQ("01/02/70 00:00:00.7", text);
    timeToString(1e300, text); // far outside 32 bits: clamped, no crash
    EXPECT_FALSE(text.empty());
}

TEST(TimeTest, FakeOffsetShiftsNowAndIsLoggedOnChange) {
    double before = getNow();
    testing::internal::CaptureStdout();
    setFakeTimeOffset(1000.0);
    setFakeTimeOffset(1000.0);
    EXPECT_DOUBLE_EQ(1000.0, getFakeTimeOffset());
    double shifted = getNow();
    setFakeTimeOffset(0.0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_GE(shifted - before, 1000.0);
    EXPECT_LT(shifted - before, 1100.0);
    EXPECT_NE(std::string::npos, out.find("[Time]: INFO Fake time offset has been set to 1000.000000\n"));
    EXPECT_NE(std::string::npos, out.find("INFO Fake time offset has been set to 0.000000\n"));
    EXPECT_EQ(2, std::count(out.begin(), out.end(), '\n'));
}
