#include "kestrel/Time.h"

#include "kestrel/Logger.h"

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <sys/time.h>

using kestrel::Logger;

namespace {

double fakeTimeOffset = 0.0;
// -1.0 until the system start time has been determined.
double systemStartTime = -1.0;

Logger* timeLogger() {
    static Logger* logger = Logger::getLogger("Time");
    return logger;
}

} // namespace

double getNow() {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1000000.0 + fakeTimeOffset;
}

void setFakeTimeOffset(double offset) {
    if (offset == fakeTimeOffset) {
        return;
    }
    fakeTimeOffset = offset;
    timeLogger()->infof("Fake time offset has been set to %f", offset);
}

double getFakeTimeOffset() {
    return fakeTimeOffset;
}

double getSystemStartTime() {
    if (systemStartTime != -1.0) {
        return systemStartTime;
    }
    FILE* file = fopen("/proc/uptime", "r");
    if (file == nullptr) {
        timeLogger()->errorf("getSystemStartTime: Could not open /proc/uptime");
        systemStartTime = 0.0;
        return 0.0;
    }
    double uptime = 0.0;
    double idleTime = 0.0;
    int count = fscanf(file, "%lf %lf", &uptime, &idleTime);
    double now = getNow();
    fclose(file);
    if (count < 1) {
        timeLogger()->errorf("getSystemStartTime: Could not parse /proc/uptime");
        systemStartTime = 0.0;
        return 0.0;
    }
    systemStartTime = now - uptime;
    timeLogger()->debugf("getSystemStartTime: uptime=%f, idletime=%f, now=%f", uptime, idleTime, now);
    timeLogger()->infof("The system start time is %f", systemStartTime);
    return systemStartTime;
}

size_t timeToString(double time, char* buffer) {
    // Whole seconds truncated toward zero to 32 bits; out-of-range values are clamped rather than left to
    // an undefined conversion.
    int32_t seconds;
    if (!(time > -2147483648.0)) { // also catches NaN
        seconds = time != time ? 0 : INT32_MIN;
    } else if (time >= 2147483648.0) {
        seconds = INT32_MAX;
    } else {
        seconds = static_cast<int32_t>(time);
    }
    double fraction = (time - seconds) * 1000.0;
    int milliseconds = (fraction > -1000.0 && fraction < 1000.0) ? static_cast<int>(fraction) : 0;

    char pattern[80];
    snprintf(pattern, sizeof(pattern), "%%x %%X.%d", milliseconds);
    time_t whole = seconds;
    struct tm utc;
    if (gmtime_r(&whole, &utc) == nullptr) {
        buffer[0] = '\0';
        return 0;
    }
    size_t length = strftime(buffer, 80, pattern, &utc);
    if (length == 0) {
        buffer[0] = '\0';
    }
    return length;
}

void timeToString(double time, std::string& text) {
    char buffer[80];
    size_t length = timeToString(time, buffer);
    text.assign(buffer, length);
}
