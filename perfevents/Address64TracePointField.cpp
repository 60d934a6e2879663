#include "perfevents/Address64TracePointField.h"

namespace perfevents {

Address64TracePointField::Address64TracePointField() : RawAddressTracePointField<uint64_t>(CASTTYPE_ADDRESS64) {}

Address64TracePointField::~Address64TracePointField() = default;

} // namespace perfevents
