#include "perfevents/Address32TracePointField.h"

namespace perfevents {

Address32TracePointField::Address32TracePointField() : AddressTracePointField(sizeof(uint32_t), CASTTYPE_ADDRESS32) {}

Address32TracePointField::~Address32TracePointField() = default;

bool Address32TracePointField::is64Bit() const {
    return false;
}

uint32_t Address32TracePointField::getAddress32(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint32_t>(readRaw<uint32_t>(ancillary, data));
}

uint64_t Address32TracePointField::getAddress64(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint64_t>(readRaw<uint32_t>(ancillary, data));
}

} // namespace perfevents
