#include "perfevents/TracePointFieldFactory.h"

namespace perfevents {

TracePointFieldFactory::~TracePointFieldFactory() = default;

} // namespace perfevents
