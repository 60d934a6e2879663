#ifndef PLOTWRIGHT_PERFEVENTS_ANCILLARYTRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_ANCILLARYTRACEPOINTFIELD_H

#include "perfevents/NumericTracePointField.h"

namespace perfevents {

/**
 * Base of the readers whose value is an unsigned integer of type T that does not come from the raw data (a value of
 * the sample's ancillary view, or a constant). Every getter converts the result of getValue; the raw data is
 * never touched.
 */
template <typename T> class AncillaryTracePointField : public NumericTracePointField {
public:
    ~AncillaryTracePointField() override;

    int8_t getInt8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int16_t getInt16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int32_t getInt32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    int64_t getInt64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint8_t getUint8(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint16_t getUint16(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint32_t getUint32(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    uint64_t getUint64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    float getFloat(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    double getDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;
    long double getLongDouble(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const override;

    /** The reader's value for one sample. */
    virtual T getValue(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const = 0;

protected:
    AncillaryTracePointField(uint32_t size, const char* typeName) : NumericTracePointField(size, typeName) {}
};

extern template class AncillaryTracePointField<uint32_t>;
extern template class AncillaryTracePointField<uint64_t>;

} // namespace perfevents

#endif
