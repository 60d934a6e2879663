#ifndef PLOTWRIGHT_PERFEVENTS_INT32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_INT32TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads a signed 32-bit integer ("int32_t") from the raw data. */
class Int32TracePointField : public RawDataTracePointField<int32_t> {
public:
    Int32TracePointField();
    ~Int32TracePointField() override;
};

} // namespace perfevents

#endif
