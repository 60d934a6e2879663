#ifndef PLOTWRIGHT_PERFEVENTS_ADDRESS32TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ADDRESS32TRACEPOINTFIELD_H

#include "perfevents/AddressTracePointField.h"

namespace perfevents {

/** Reads a 32-bit address from the raw data. */
class Address32TracePointField : public AddressTracePointField {
public:
    Address32TracePointField();
    ~Address32TracePointField() override;

    bool is64Bit() const override;
    uint32_t getAddress32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint64_t getAddress64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
