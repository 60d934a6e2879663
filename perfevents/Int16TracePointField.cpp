#include "perfevents/Int16TracePointField.h"

namespace perfevents {

Int16TracePointField::Int16TracePointField() : RawDataTracePointField<int16_t>(CASTTYPE_INT16) {}

Int16TracePointField::~Int16TracePointField() = default;

} // namespace perfevents
