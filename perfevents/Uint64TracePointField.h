#ifndef PLOTWRIGHT_PERFEVENTS_UINT64TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_UINT64TRACEPOINTFIELD_H

#include "perfevents/RawDataTracePointField.h"

namespace perfevents {

/** Reads an unsigned 64-bit integer ("uint64_t") from the raw data. */
class Uint64TracePointField : public RawDataTracePointField<uint64_t> {
public:
    Uint64TracePointField();
    ~Uint64TracePointField() override;
};

} // namespace perfevents

#endif
