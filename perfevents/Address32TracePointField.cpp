#include "perfevents/Address32TracePointField.h"

namespace perfevents {

Address32TracePointField::Address32TracePointField() : RawAddressTracePointField<uint32_t>(CASTTYPE_ADDRESS32) {}

Address32TracePointField::~Address32TracePointField() = default;

} // namespace perfevents
