#include "perfevents/Int64TracePointField.h"

namespace perfevents {

Int64TracePointField::Int64TracePointField() : RawDataTracePointField<int64_t>(CASTTYPE_INT64) {}

Int64TracePointField::~Int64TracePointField() = default;

} // namespace perfevents
