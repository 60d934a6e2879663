#ifndef PLOTWRIGHT_PERFEVENTS_ADDRESS64TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ADDRESS64TRACEPOINTFIELD_H

#include "perfevents/RawAddressTracePointField.h"

namespace perfevents {

/** Reads a 64-bit address from the raw data. */
class Address64TracePointField : public RawAddressTracePointField<uint64_t> {
public:
    Address64TracePointField();
    ~Address64TracePointField() override;
};

} // namespace perfevents

#endif
