#ifndef PLOTWRIGHT_PERFEVENTS_UINT8TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_UINT8TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads an unsigned 8-bit integer ("uint8_t") from the raw data. */
class Uint8TracePointField : public RawDataTracePointField<uint8_t> {
public:
    Uint8TracePointField();
    ~Uint8TracePointField() override;
};

} // namespace perfevents

#endif
