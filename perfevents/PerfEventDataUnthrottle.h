#ifndef PERFEVENTS_PERFEVENTDATAUNTHROTTLE_H
#define PERFEVENTS_PERFEVENTDATAUNTHROTTLE_H

#include "perfevents/PerfEventDataThrottleRecord.h"

namespace perfevents {

/// PERF_RECORD_UNTHROTTLE: sampling of a stream was resumed.
class PerfEventDataUnthrottle : public PerfEventDataThrottleRecord {
public:
    explicit PerfEventDataUnthrottle(const PerfEventAttribute& attribute);
    ~PerfEventDataUnthrottle() override;
    Type getType() const override { return TYPE_UNTHROTTLE; }

private:
    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
