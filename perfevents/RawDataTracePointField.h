#ifndef PLOTWRIGHT_PERFEVENTS_RAWDATATRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_RAWDATATRACEPOINTFIELD_H

#include "perfevents/NumericTracePointField.h"

namespace perfevents {

/**
 * The common part of the readers that take an integer of native type T out of the raw data: every getter reads
 * the one value at the field's offset (0 when it lies outside the data) and converts it.
 */
template <typename T> class RawDataTracePointField : public NumericTracePointField {
public:
    int8_t getInt8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<int8_t>(getValue(ancillary, data));
    }
    int16_t getInt16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<int16_t>(getValue(ancillary, data));
    }
    int32_t getInt32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<int32_t>(getValue(ancillary, data));
    }
    int64_t getInt64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<int64_t>(getValue(ancillary, data));
    }
    uint8_t getUint8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint8_t>(getValue(ancillary, data));
    }
    uint16_t getUint16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint16_t>(getValue(ancillary, data));
    }
    uint32_t getUint32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint32_t>(getValue(ancillary, data));
    }
    uint64_t getUint64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<uint64_t>(getValue(ancillary, data));
    }
    float getFloat(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<float>(getValue(ancillary, data));
    }
    double getDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<double>(getValue(ancillary, data));
    }
    long double getLongDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override {
        return static_cast<long double>(static_cast<double>(getValue(ancillary, data)));
    }

    /** The native value at the field's offset, or 0 when it does not lie wholly inside the data. */
    T getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const {
        return readRaw<T>(ancillary, data);
    }

protected:
    explicit RawDataTracePointField(const char* typeName) : NumericTracePointField(sizeof(T), typeName) {}
};

} // namespace perfevents

#endif
