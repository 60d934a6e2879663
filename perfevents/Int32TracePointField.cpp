#include "perfevents/Int32TracePointField.h"

namespace perfevents {

Int32TracePointField::Int32TracePointField() : RawDataTracePointField<int32_t>(CASTTYPE_INT32) {}

Int32TracePointField::~Int32TracePointField() = default;

} // namespace perfevents
