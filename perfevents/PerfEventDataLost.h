#ifndef PERFEVENTS_PERFEVENTDATALOST_H
#define PERFEVENTS_PERFEVENTDATALOST_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// PERF_RECORD_LOST: events the kernel dropped.
class PerfEventDataLost : public PerfEventData {
public:
    explicit PerfEventDataLost(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataLost() override;
    Type getType() const override { return TYPE_LOST; }

    unsigned long long getId() const { return id; }
    unsigned long long getLost() const { return lost; }

private:
    unsigned long long id;
    unsigned long long lost;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
