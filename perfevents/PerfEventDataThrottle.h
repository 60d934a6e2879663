#ifndef PERFEVENTS_PERFEVENTDATATHROTTLE_H
#define PERFEVENTS_PERFEVENTDATATHROTTLE_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// PERF_RECORD_THROTTLE: sampling of a stream was throttled.
class PerfEventDataThrottle : public PerfEventData {
public:
    explicit PerfEventDataThrottle(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataThrottle() override;
    Type getType() const override { return TYPE_THROTTLE; }

    unsigned long long getTime() const { return time; }
    unsigned long long getId() const { return id; }
    unsigned long long getStreamId() const { return streamId; }

private:
    unsigned long long time;
    unsigned long long id;
    unsigned long long streamId;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
