#include "perfevents/Uint16TracePointField.h"

namespace perfevents {

Uint16TracePointField::Uint16TracePointField() : RawDataTracePointField<uint16_t>(CASTTYPE_UINT16) {}

Uint16TracePointField::~Uint16TracePointField() = default;

} // namespace perfevents
