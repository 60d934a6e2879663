#ifndef KESTREL_TIME_H
#define KESTREL_TIME_H

#include <cstddef>
#include <string>

// Time helpers of the support library. They log through the logger named "Time".

// The time of day in seconds (with microseconds) plus the fake time offset.
double getNow();

// An offset added to every getNow(), for running against a shifted clock.
void setFakeTimeOffset(double offset);
double getFakeTimeOffset();

// The time of day at which the system booted, from /proc/uptime; determined once and cached. 0.0 when
// /proc/uptime cannot be read.
double getSystemStartTime();

// Formats a time (seconds since the epoch) in UTC as the locale's date and time followed by a point and the
// milliseconds without leading zeros. buffer must hold at least 80 bytes; returns the length written.
size_t timeToString(double time, char* buffer);
void timeToString(double time, std::string& text);

#endif
