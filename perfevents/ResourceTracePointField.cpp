#include "perfevents/ResourceTracePointField.h"

#include "perfevents/PerfEventDataSampleAncillary.h"

namespace perfevents {

ResourceTracePointField::ResourceTracePointField()
    : AncillaryUint64TracePointField(sizeof(uint64_t), CASTTYPE_UINT64) {}

ResourceTracePointField::~ResourceTracePointField() = default;

uint64_t ResourceTracePointField::getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char*) const {
    return ancillary.getResource();
}

} // namespace perfevents
