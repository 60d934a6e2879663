#ifndef PLOTWRIGHT_PERFEVENTS_ADDRESS32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ADDRESS32TRACEPOINTFIELD_H

#include "perfevents/RawAddressTracePointField.h"

namespace perfevents {

/** Reads a 32-bit address from the raw data. */
class Address32TracePointField : public RawAddressTracePointField<uint32_t> {
public:
    Address32TracePointField();
    ~Address32TracePointField() override;
};

} // namespace perfevents

#endif
