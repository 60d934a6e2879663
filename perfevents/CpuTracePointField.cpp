#include "perfevents/CpuTracePointField.h"

#include "perfevents/PerfEventDataSampleAncillary.h"

namespace perfevents {

CpuTracePointField::CpuTracePointField() : AncillaryUint64TracePointField(sizeof(uint64_t), CASTTYPE_UINT64) {}

CpuTracePointField::~CpuTracePointField() = default;

uint64_t CpuTracePointField::getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char*) const {
    return ancillary.getCpu();
}

} // namespace perfevents
