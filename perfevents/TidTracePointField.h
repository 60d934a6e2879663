#ifndef PLOTWRIGHT_PERFEVENTS_TIDTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_TIDTRACEPOINTFIELD_H

#include "perfevents/AncillaryUint32TracePointField.h"

namespace perfevents {

/** Reads the sample's thread value from its ancillary view (getTid); the raw data is not used. */
class TidTracePointField : public AncillaryUint32TracePointField {
public:
    TidTracePointField();
    ~TidTracePointField() override;

    uint32_t getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
