#include <gtest/gtest.h>

TEST(Smoke, BuildRuns) { SUCCEED(); }
