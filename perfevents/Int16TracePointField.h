#ifndef PLOTWRIGHT_PERFEVENTS_INT16TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_INT16TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads a signed 16-bit integer ("int16_t") from the raw data. */
class Int16TracePointField : public RawDataTracePointField<int16_t> {
public:
    Int16TracePointField();
    ~Int16TracePointField() override;
};

} // namespace perfevents

#endif
