#ifndef PLOTWRIGHT_PERFEVENTS_NUMERICTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_NUMERICTRACEPOINTFIELD_H

#include "perfevents/TracePointField.h"

namespace perfevents {

/**
 * A reader of a numeric field that hands the value out in whatever type the caller asks for.
 *
 * Each getter takes the sample's ancillary view and the first byte of its raw data (getRawSize of the view
 * bounds it). Conversions are the ordinary integral and floating ones: narrowing keeps the low bits, signed sources
 * sign-extend, unsigned sources zero-extend; getLongDouble goes through double.
 */
class NumericTracePointField : public TracePointField {
public:
    ~NumericTracePointField() override;

    virtual bool isFloatingPoint() const;

    virtual int8_t getInt8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual int16_t getInt16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual int32_t getInt32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual int64_t getInt64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual uint8_t getUint8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual uint16_t getUint16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual uint32_t getUint32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual uint64_t getUint64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual float getFloat(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual double getDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;
    virtual long double getLongDouble(const PerfEventDataSampleAncillary& ancillary,
                                      const unsigned char* data) const = 0;

protected:
    NumericTracePointField(uint32_t size, const char* typeName) : TracePointField(size, typeName) {}
};

} // namespace perfevents

#endif
