#include "perfevents/AncillaryUint64TracePointField.h"

namespace perfevents {

AncillaryUint64TracePointField::~AncillaryUint64TracePointField() = default;

int8_t AncillaryUint64TracePointField::getInt8(const PerfEventDataSampleAncillary& ancillary,
                                               const unsigned char* data) const {
    return static_cast<int8_t>(getValue(ancillary, data));
}

int16_t AncillaryUint64TracePointField::getInt16(const PerfEventDataSampleAncillary& ancillary,
                                                 const unsigned char* data) const {
    return static_cast<int16_t>(getValue(ancillary, data));
}

int32_t AncillaryUint64TracePointField::getInt32(const PerfEventDataSampleAncillary& ancillary,
                                                 const unsigned char* data) const {
    return static_cast<int32_t>(getValue(ancillary, data));
}

int64_t AncillaryUint64TracePointField::getInt64(const PerfEventDataSampleAncillary& ancillary,
                                                 const unsigned char* data) const {
    return static_cast<int64_t>(getValue(ancillary, data));
}

uint8_t AncillaryUint64TracePointField::getUint8(const PerfEventDataSampleAncillary& ancillary,
                                                 const unsigned char* data) const {
    return static_cast<uint8_t>(getValue(ancillary, data));
}

uint16_t AncillaryUint64TracePointField::getUint16(const PerfEventDataSampleAncillary& ancillary,
                                                   const unsigned char* data) const {
    return static_cast<uint16_t>(getValue(ancillary, data));
}

uint32_t AncillaryUint64TracePointField::getUint32(const PerfEventDataSampleAncillary& ancillary,
                                                   const unsigned char* data) const {
    return static_cast<uint32_t>(getValue(ancillary, data));
}

uint64_t AncillaryUint64TracePointField::getUint64(const PerfEventDataSampleAncillary& ancillary,
                                                   const unsigned char* data) const {
    return static_cast<uint64_t>(getValue(ancillary, data));
}

float AncillaryUint64TracePointField::getFloat(const PerfEventDataSampleAncillary& ancillary,
                                               const unsigned char* data) const {
    return static_cast<float>(getValue(ancillary, data));
}

double AncillaryUint64TracePointField::getDouble(const PerfEventDataSampleAncillary& ancillary,
                                                 const unsigned char* data) const {
    return static_cast<double>(getValue(ancillary, data));
}

long double AncillaryUint64TracePointField::getLongDouble(const PerfEventDataSampleAncillary& ancillary,
                                                          const unsigned char* data) const {
    return static_cast<long double>(getDouble(ancillary, data));
}

} // namespace perfevents
