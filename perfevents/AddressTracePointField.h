#ifndef PLOTWRIGHT_PERFEVENTS_ADDRESSTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ADDRESSTRACEPOINTFIELD_H

#include "perfevents/TracePointField.h"

namespace perfevents {

/**
 * A reader of an address field (a pointer of the traced system). The getters take the sample's ancillary view
 * and the first byte of its raw data; an address that does not lie wholly inside the raw data reads as 0.
 */
class AddressTracePointField : public TracePointField {
public:
    ~AddressTracePointField() override;

    /** Whether the stored address is 64 bits wide. */
    virtual bool is64Bit() const = 0;
    virtual uint32_t getAddress32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual uint64_t getAddress64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;

protected:
    AddressTracePointField(uint32_t size, const char* typeName) : TracePointField(size, typeName) {}
};

} // namespace perfevents

#endif
