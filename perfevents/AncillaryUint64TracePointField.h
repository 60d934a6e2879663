#ifndef PLOTWRIGHT_PERFEVENTS_ANCILLARYUINT64TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ANCILLARYUINT64TRACEPOINTFIELD_H

#include "perfevents/AncillaryTracePointField.h"

namespace perfevents {

/** Base of the readers whose value is an unsigned 64-bit number that does not come from the raw data. */
using AncillaryUint64TracePointField = AncillaryTracePointField<uint64_t>;

} // namespace perfevents

#endif
