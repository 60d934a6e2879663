#ifndef APP_PROGRESSLINE_H
#define APP_PROGRESSLINE_H

#include <functional>
#include <iosfwd>

// One line of progress on a terminal while a conversion reads its input: the share of the data read, the reading
// speed in MB/s and the time left, redrawn in place at most once per interval and erased by finish(). Nothing is
// drawn before the first interval has passed, so a short run leaves no trace at all.
class ProgressLine {
public:
    // Seconds from any fixed point; the default is the steady clock.
    using Clock = std::function<double()>;

    static const double DEFAULT_INTERVAL;

    explicit ProgressLine(std::ostream& out, Clock clock = Clock(), double interval = DEFAULT_INTERVAL);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // Bytes of the data read so far, of bytesTotal (0 when the total is not known: no share, no time left).
    void update(unsigned long long bytesDone, unsigned long long bytesTotal);
    // Erases the line, if one was drawn; later updates draw nothing.
    void finish();

    // Whether standard error is a terminal, the only place a progress line belongs.
    static bool wanted();

private:
    void _draw(const char* text, int length);

    std::ostream& out;
    Clock clock;
    double interval;
    double start;
    double lastDraw;
    int drawnWidth = 0;
    bool finished = false;
};

#endif
