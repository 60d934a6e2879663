#include "perfevents/AddressTracePointField.h"

namespace perfevents {

AddressTracePointField::~AddressTracePointField() = default;

} // namespace perfevents
