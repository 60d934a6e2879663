#ifndef PLOTWRIGHT_PERFEVENTS_INT64TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_INT64TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads a signed 64-bit integer ("int64_t") from the raw data. */
class Int64TracePointField : public RawDataTracePointField<int64_t> {
public:
    Int64TracePointField();
    ~Int64TracePointField() override;
};

} // namespace perfevents

#endif
