#include "app/ProgressLine.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

// A progress line on a string stream with a clock the test sets.
struct Fixture {
    double now = 100.0;
    std::ostringstream out;
    ProgressLine line{out, [this] { return now; }, 0.25};

    // What the line wrote since the last call.
    std::string take() {
        std::string text = out.str();
        out.str("");
        return text;
    }
};

TEST(ProgressLineTest, DrawsShareSpeedAndTimeLeftAtMostOncePerIntervalAndErasesAtTheEnd) {
    Fixture f;
    // Nothing before the first interval has passed: a short run leaves no trace.
    f.now = 100.2;
    f.line.update(10000000, 100000000);
    EXPECT_EQ("", f.take());

    // 25 MB of 100 MB after 0.5 s: 50 MB/s, 75 MB left at that speed.
    f.now = 100.5;
    f.line.update(25000000, 100000000);
    EXPECT_EQ("\rreading: 25.0 %, 50.0 MB/s, 2 s left", f.take());

    // Within the interval of the last drawing: nothing.
    f.now = 100.7;
    f.line.update(30000000, 100000000);
    EXPECT_EQ("", f.take());

    // A shorter text is padded with blanks over the rest of the longer one on the screen.
    f.now = 101.0;
    f.line.update(100000000, 100000000);
    const std::string full = "\rreading: 100.0 %, 100.0 MB/s, 0 s left";
    EXPECT_EQ(full, f.take());
    f.now = 102.0;
    f.line.update(150000000, 100000000); // more than the total counts as all of it
    EXPECT_EQ("\rreading: 100.0 %, 75.0 MB/s, 0 s left ", f.take());

    // finish() blanks the widest text drawn and returns to the start of the line, once; nothing is drawn after.
    f.line.finish();
    EXPECT_EQ("\r" + std::string(full.size() - 1, ' ') + "\r", f.take());
    f.line.finish();
    f.now = 110.0;
    f.line.update(1, 2);
    EXPECT_EQ("", f.take());
}

TEST(ProgressLineTest, UnknownTotalShowsAmountAndSpeedOnlyAndAnUndrawnLineErasesNothing) {
    Fixture f;
    f.now = 102.0;
    f.line.update(5000000, 0);
    EXPECT_EQ("\rreading: 5.0 MB, 2.5 MB/s", f.take());

    Fixture quiet;
    quiet.now = 100.1;
    quiet.line.update(1, 2);
    quiet.line.finish();
    EXPECT_EQ("", quiet.take());
}

} // namespace
