#include "perfevents/Uint64TracePointField.h"

namespace perfevents {

Uint64TracePointField::Uint64TracePointField() : RawDataTracePointField<uint64_t>(CASTTYPE_UINT64) {}

Uint64TracePointField::~Uint64TracePointField() = default;

} // namespace perfevents
