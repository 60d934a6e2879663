#ifndef PLOTWRIGHT_PERFEVENTS_ANCILLARYUINT32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ANCILLARYUINT32TRACEPOINTFIELD_H

#include "perfevents/AncillaryTracePointField.h"

namespace perfevents {

/** Base of the readers whose value is an unsigned 32-bit number that does not come from the raw data. */
using AncillaryUint32TracePointField = AncillaryTracePointField<uint32_t>;

} // namespace perfevents

#endif
