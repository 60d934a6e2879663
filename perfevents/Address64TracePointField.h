#ifndef PLOTWRIGHT_PERFEVENTS_ADDRESS64TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ADDRESS64TRACEPOINTFIELD_H

#include "perfevents/AddressTracePointField.h"

namespace perfevents {

/** Reads a 64-bit address from the raw data. */
class Address64TracePointField : public AddressTracePointField {
public:
    Address64TracePointField();
    ~Address64TracePointField() override;

    bool is64Bit() const override;
    uint32_t getAddress32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint64_t getAddress64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
};

} // namespace perfevents

#endif
