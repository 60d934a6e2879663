#include "perfevents/TidTracePointField.h"

#include "perfevents/PerfEventDataSampleAncillary.h"

namespace perfevents {

TidTracePointField::TidTracePointField() : AncillaryUint32TracePointField(sizeof(uint32_t), CASTTYPE_UINT32) {}

TidTracePointField::~TidTracePointField() = default;

uint32_t TidTracePointField::getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char*) const {
    return ancillary.getTid();
}

} // namespace perfevents
