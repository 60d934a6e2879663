#include "perfevents/NumericTracePointField.h"

namespace perfevents {

NumericTracePointField::~NumericTracePointField() = default;

bool NumericTracePointField::isFloatingPoint() const {
    return false;
}

} // namespace perfevents
