#include "perfevents/Int8TracePointField.h"

namespace perfevents {

Int8TracePointField::Int8TracePointField() : RawDataTracePointField<int8_t>(CASTTYPE_INT8) {}

Int8TracePointField::~Int8TracePointField() = default;

} // namespace perfevents
