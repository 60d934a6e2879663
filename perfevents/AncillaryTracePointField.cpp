#include "perfevents/AncillaryTracePointField.h"

namespace perfevents {

template <typename T> AncillaryTracePointField<T>::~AncillaryTracePointField() = default;

template <typename T>
int8_t AncillaryTracePointField<T>::getInt8(const PerfEventDataSampleAncillary& ancillary,
                                            const unsigned char* data) const {
    return static_cast<int8_t>(getValue(ancillary, data));
}

template <typename T>
int16_t AncillaryTracePointField<T>::getInt16(const PerfEventDataSampleAncillary& ancillary,
                                              const unsigned char* data) const {
    return static_cast<int16_t>(getValue(ancillary, data));
}

template <typename T>
int32_t AncillaryTracePointField<T>::getInt32(const PerfEventDataSampleAncillary& ancillary,
                                              const unsigned char* data) const {
    return static_cast<int32_t>(getValue(ancillary, data));
}

template <typename T>
int64_t AncillaryTracePointField<T>::getInt64(const PerfEventDataSampleAncillary& ancillary,
                                              const unsigned char* data) const {
    return static_cast<int64_t>(getValue(ancillary, data));
}

template <typename T>
uint8_t AncillaryTracePointField<T>::getUint8(const PerfEventDataSampleAncillary& ancillary,
                                              const unsigned char* data) const {
    return static_cast<uint8_t>(getValue(ancillary, data));
}

template <typename T>
uint16_t AncillaryTracePointField<T>::getUint16(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint16_t>(getValue(ancillary, data));
}

template <typename T>
uint32_t AncillaryTracePointField<T>::getUint32(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint32_t>(getValue(ancillary, data));
}

template <typename T>
uint64_t AncillaryTracePointField<T>::getUint64(const PerfEventDataSampleAncillary& ancillary,
                                                const unsigned char* data) const {
    return static_cast<uint64_t>(getValue(ancillary, data));
}

template <typename T>
float AncillaryTracePointField<T>::getFloat(const PerfEventDataSampleAncillary& ancillary,
                                            const unsigned char* data) const {
    return static_cast<float>(getValue(ancillary, data));
}

template <typename T>
double AncillaryTracePointField<T>::getDouble(const PerfEventDataSampleAncillary& ancillary,
                                              const unsigned char* data) const {
    return static_cast<double>(getValue(ancillary, data));
}

template <typename T>
long double AncillaryTracePointField<T>::getLongDouble(const PerfEventDataSampleAncillary& ancillary,
                                                       const unsigned char* data) const {
    return static_cast<long double>(getDouble(ancillary, data));
}

template class AncillaryTracePointField<uint32_t>;
template class AncillaryTracePointField<uint64_t>;

} // namespace perfevents
