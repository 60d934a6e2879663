#ifndef PLOTWRIGHT_PERFEVENTS_RAWADDRESSTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_RAWADDRESSTRACEPOINTFIELD_H

#include "perfevents/AddressTracePointField.h"

namespace perfevents {

/**
 * The common part of the address readers: the address is an unsigned integer of type T at the field's offset in
 * the raw data, widened or narrowed to the width asked for.
 */
template <typename T> class RawAddressTracePointField : public AddressTracePointField {
public:
    bool is64Bit() const override { return sizeof(T) == sizeof(uint64_t); }
    uint32_t getAddress32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint32_t>(readRaw<T>(ancillary, data));
    }
    uint64_t getAddress64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint64_t>(readRaw<T>(ancillary, data));
    }

protected:
    explicit RawAddressTracePointField(const char* typeName) : AddressTracePointField(sizeof(T), typeName) {}
};

} // namespace perfevents

#endif
