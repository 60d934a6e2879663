#include "perfevents/Address64TracePointField.h"

namespace perfevents {

Address64TracePointField::Address64TracePointField() : AddressTracePointField(sizeof(uint64_t), CASTTYPE_ADDRESS64) {}

Address64TracePointField::~Address64TracePointField() = default;

bool Address64TracePointField::is64Bit() const {
    return true;
}

uint32_t Address64TracePointField::getAddress32(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint32_t>(readRaw<uint64_t>(ancillary, data));
}

uint64_t Address64TracePointField::getAddress64(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint64_t>(readRaw<uint64_t>(ancillary, data));
}

} // namespace perfevents
