#ifndef PERFEVENTS_PERFEVENTDATAUNTHROTTLE_H
#define PERFEVENTS_PERFEVENTDATAUNTHROTTLE_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// PERF_RECORD_UNTHROTTLE: sampling of a stream was resumed.
class PerfEventDataUnthrottle : public PerfEventData {
public:
    explicit PerfEventDataUnthrottle(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataUnthrottle() override;
    Type getType() const override { return TYPE_UNTHROTTLE; }

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
