#include "perfevents/Uint8TracePointField.h"

namespace perfevents {

Uint8TracePointField::Uint8TracePointField() : RawDataTracePointField<uint8_t>(CASTTYPE_UINT8) {}

Uint8TracePointField::~Uint8TracePointField() = default;

} // namespace perfevents
