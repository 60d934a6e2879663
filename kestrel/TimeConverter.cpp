#include "kestrel/TimeConverter.h"

namespace kestrel {

void TimeConverter::setup(double clockStartTime, double duration, double skew, double offset, double base) {
    this->clockStartTime = clockStartTime;
    this->skew = skew;
    this->offset = offset;
    this->base = base;
    if (clockStartTime == 0.0) {
        // The first time stamp starts the interval, which then has no end.
        clockEndTime = 0.0;
        dataStartTime = 0.0;
        dataEndTime = 0.0;
        clockOrigin = 0.0;
        return;
    }
    dataStartTime = (clockStartTime - offset) / skew + base;
    if (duration > 0.0) {
        clockEndTime = clockStartTime + duration;
        dataEndTime = (clockEndTime - offset) / skew + base;
    } else {
        clockEndTime = 0.0;
        dataEndTime = 0.0;
    }
    clockOrigin = clockStartTime;
}

bool TimeConverter::nextTimestamp(double dataTime, double& clockTime) {
    if (dataStartTime == 0.0) {
        dataStartTime = dataTime;
        clockOrigin = (dataTime - base) * skew + offset;
        clockTime = 0.0;
    } else {
        clockTime = (dataTime - base) * skew + offset - clockOrigin;
    }
    if (dataTime < dataStartTime) {
        return false;
    }
    if (dataTime < dataEndTime) {
        return true;
    }
    return dataEndTime == 0.0;
}

} // namespace kestrel
