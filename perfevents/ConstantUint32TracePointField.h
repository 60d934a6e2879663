#ifndef PLOTWRIGHT_PERFEVENTS_CONSTANTUINT32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_CONSTANTUINT32TRACEPOINTFIELD_H

#include "perfevents/AncillaryUint32TracePointField.h"

namespace perfevents {

/** A reader that returns the constant N for every sample, whatever its data. */
template <uint32_t N> class ConstantUint32TracePointField : public AncillaryUint32TracePointField {
public:
    ConstantUint32TracePointField() : AncillaryUint32TracePointField(sizeof(uint32_t), CASTTYPE_UINT32) {}

    uint32_t getValue(const PerfEventDataSampleAncillary&, const unsigned char*) const override { return N; }
};

} // namespace perfevents

#endif
