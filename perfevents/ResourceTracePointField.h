#ifndef PLOTWRIGHT_PERFEVENTS_RESOURCETRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_RESOURCETRACEPOINTFIELD_H

#include "perfevents/AncillaryUint64TracePointField.h"

namespace perfevents {

/** Reads the sample's resource value from its ancillary view (getResource); the raw data is not used. */
class ResourceTracePointField : public AncillaryUint64TracePointField {
public:
    ResourceTracePointField();
    ~ResourceTracePointField() override;

    uint64_t getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
