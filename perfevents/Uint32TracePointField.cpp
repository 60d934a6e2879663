#include "perfevents/Uint32TracePointField.h"

namespace perfevents {

Uint32TracePointField::Uint32TracePointField() : RawDataTracePointField<uint32_t>(CASTTYPE_UINT32) {}

Uint32TracePointField::~Uint32TracePointField() = default;

} // namespace perfevents
