#include "perfevents/PidTracePointField.h"

#include "perfevents/PerfEventDataSampleAncillary.h"

namespace perfevents {

PidTracePointField::PidTracePointField() : AncillaryUint32TracePointField(sizeof(uint32_t), CASTTYPE_UINT32) {}

PidTracePointField::~PidTracePointField() = default;

uint32_t PidTracePointField::getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char*) const {
    return ancillary.getPid();
}

} // namespace perfevents
