#include "perfevents/TracePointField.h"

namespace perfevents {

TracePointField::~TracePointField() = default;

} // namespace perfevents
