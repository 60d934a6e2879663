#ifndef PLOTWRIGHT_PERFEVENTS_UINT32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_UINT32TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads an unsigned 32-bit integer ("uint32_t") from the raw data. */
class Uint32TracePointField : public RawDataTracePointField<uint32_t> {
public:
    Uint32TracePointField();
    ~Uint32TracePointField() override;
};

} // namespace perfevents

#endif
