#ifndef KESTREL_TIMECONVERTER_H
#define KESTREL_TIMECONVERTER_H

namespace kestrel {

// Converts data time stamps (seconds on the traced system's clock) to the caller's clock and limits them
// to a collection interval on that clock:
//   clock time = (data time - base) * skew + offset
//   data time  = (clock time - offset) / skew + base
// Converted times are given relative to the clock origin.
class TimeConverter {
public:
    TimeConverter() = default;
    virtual ~TimeConverter() = default;

    // Sets the conversion and the collection interval. A clockStartTime of 0.0 means the interval starts at
    // the first time stamp and has no end; a duration of 0.0 or less means no end.
    void setup(double clockStartTime, double duration, double skew, double offset, double base);

    // Converts dataTime into clockTime (relative to the clock origin; written also when rejected) and
    // returns whether dataTime lies in the collection interval [dataStartTime, dataEndTime).
    bool nextTimestamp(double dataTime, double& clockTime);

    // The clock time of a data time, not relative to the origin.
    double toClockTime(double dataTime) const { return (dataTime - base) * skew + offset; }

    double getClockStartTime() const { return clockStartTime; }
    double getClockEndTime() const { return clockEndTime; }
    double getDataStartTime() const { return dataStartTime; }
    double getDataEndTime() const { return dataEndTime; }
    double getSkew() const { return skew; }
    double getOffset() const { return offset; }
    double getBase() const { return base; }
    double getClockOrigin() const { return clockOrigin; }

private:
    double clockStartTime = 0.0;
    double clockEndTime = 0.0;
    double dataStartTime = 0.0;
    double dataEndTime = 0.0;
    double skew = 0.0;
    double offset = 0.0;
    double base = 0.0;
    double clockOrigin = 0.0;
};

} // namespace kestrel

#endif
