#ifndef PLOTWRIGHT_PERFEVENTS_PIDTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_PIDTRACEPOINTFIELD_H

#include "perfevents/AncillaryUint32TracePointField.h"

namespace perfevents {

/** Reads the sample's process value from its ancillary view (getPid); the raw data is not used. */
class PidTracePointField : public AncillaryUint32TracePointField {
public:
    PidTracePointField();
    ~PidTracePointField() override;

    uint32_t getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
