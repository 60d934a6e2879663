#include "app/ProgressLine.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>

const double ProgressLine::DEFAULT_INTERVAL = 0.25;

namespace {

double steadyNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

ProgressLine::ProgressLine(std::ostream& out, Clock clock, double interval)
    : out(out), clock(clock ? std::move(clock) : Clock(steadyNow)), interval(interval) {
    start = this->clock();
    lastDraw = start;
}

ProgressLine::~ProgressLine() {
    finish();
}

bool ProgressLine::wanted() {
    return isatty(STDERR_FILENO) == 1;
}

void ProgressLine::update(unsigned long long bytesDone, unsigned long long bytesTotal) {
    if (finished) {
        return;
    }
    const double now = clock();
    if (now - lastDraw < interval) {
        return;
    }
    lastDraw = now;
    const double elapsed = now - start;
    const double rate = elapsed > 0.0 ? static_cast<double>(bytesDone) / elapsed : 0.0;
    char text[128];
    int length;
    if (bytesTotal == 0) {
        length = snprintf(text, sizeof(text), "reading: %.1f MB, %.1f MB/s", static_cast<double>(bytesDone) / 1e6,
                          rate / 1e6);
    } else {
        const unsigned long long done = bytesDone < bytesTotal ? bytesDone : bytesTotal;
        const double share = 100.0 * static_cast<double>(done) / static_cast<double>(bytesTotal);
        if (rate > 0.0) {
            const double left = static_cast<double>(bytesTotal - done) / rate;
            length = snprintf(text, sizeof(text), "reading: %.1f %%, %.1f MB/s, %.0f s left", share, rate / 1e6, left);
        } else {
            length = snprintf(text, sizeof(text), "reading: %.1f %%", share);
        }
    }
    if (length > 0) {
        _draw(text, length < static_cast<int>(sizeof(text)) ? length : static_cast<int>(sizeof(text)) - 1);
    }
}

void ProgressLine::finish() {
    if (finished) {
        return;
    }
    finished = true;
    if (drawnWidth > 0) {
        out << '\r' << std::string(static_cast<size_t>(drawnWidth), ' ') << '\r' << std::flush;
        drawnWidth = 0;
    }
}

// Back to the start of the line, the new text, and blanks over what is left of a longer earlier text.
void ProgressLine::_draw(const char* text, int length) {
    out << '\r';
    out.write(text, length);
    if (drawnWidth > length) {
        out << std::string(static_cast<size_t>(drawnWidth - length), ' ');
    } else {
        drawnWidth = length;
    }
    out << std::flush;
}
