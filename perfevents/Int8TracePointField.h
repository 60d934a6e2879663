#ifndef PLOTWRIGHT_PERFEVENTS_INT8TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_INT8TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads a signed 8-bit integer ("int8_t") from the raw data. */
class Int8TracePointField : public RawDataTracePointField<int8_t> {
public:
    Int8TracePointField();
    ~Int8TracePointField() override;
};

} // namespace perfevents

#endif
