#ifndef PLOTWRIGHT_PERFEVENTS_CPUTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_CPUTRACEPOINTFIELD_H

#include "perfevents/AncillaryUint64TracePointField.h"

namespace perfevents {

/** Reads the sample's cpu value from its ancillary view (getCpu); the raw data is not used. */
class CpuTracePointField : public AncillaryUint64TracePointField {
public:
    CpuTracePointField();
    ~CpuTracePointField() override;

    uint64_t getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
