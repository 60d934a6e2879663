#ifndef PERFEVENTS_PERFEVENTDATATHROTTLE_H
#define PERFEVENTS_PERFEVENTDATATHROTTLE_H

#include "perfevents/PerfEventDataThrottleRecord.h"

namespace perfevents {

/// PERF_RECORD_THROTTLE: sampling of a stream was throttled.
class PerfEventDataThrottle : public PerfEventDataThrottleRecord {
public:
    explicit PerfEventDataThrottle(const PerfEventAttribute& attribute);
    ~PerfEventDataThrottle() override;
    Type getType() const override { return TYPE_THROTTLE; }

private:
    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
