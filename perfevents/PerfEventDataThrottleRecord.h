#ifndef PERFEVENTS_PERFEVENTDATATHROTTLERECORD_H
#define PERFEVENTS_PERFEVENTDATATHROTTLERECORD_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// The body shared by the records of sampling being throttled or resumed: time, id and stream id.
class PerfEventDataThrottleRecord : public PerfEventData {
public:
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataThrottleRecord() override;

    unsigned long long getTime() const { return time; }
    unsigned long long getId() const { return id; }
    unsigned long long getStreamId() const { return streamId; }

protected:
    explicit PerfEventDataThrottleRecord(const PerfEventAttribute& attribute);

private:
    unsigned long long time;
    unsigned long long id;
    unsigned long long streamId;
};

} // namespace perfevents

#endif
