#ifndef PLOTWRIGHT_PERFEVENTS_UINT16TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_UINT16TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads an unsigned 16-bit integer ("uint16_t") from the raw data. */
class Uint16TracePointField : public RawDataTracePointField<uint16_t> {
public:
    Uint16TracePointField();
    ~Uint16TracePointField() override;
};

} // namespace perfevents

#endif
