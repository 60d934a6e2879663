#ifndef PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELD_H
#define PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELD_H

#include "perfevents/PerfEventDataSampleAncillary.h"

#include <cstdint>
#include <cstring>

namespace perfevents {

/**
 * Base of every trace point field reader: where a field lies in a sample's raw data and which reader type reads
 * it.
 *
 * Every read operation of the derived readers takes the sample's ancillary view and the first byte of the
 * sample's raw data; the ancillary view also tells how many bytes of raw data there are (getRawSize). A field
 * that lies wholly or partly outside the raw data (or raw data that is missing altogether) reads as 0, so no
 * reader ever touches a byte beyond the sample.
 */
class TracePointField {
public:
    static constexpr const char* CASTTYPE_ADDRESS32 = "address32_t";
    static constexpr const char* CASTTYPE_ADDRESS64 = "address64_t";
    static constexpr const char* CASTTYPE_INT8 = "int8_t";
    static constexpr const char* CASTTYPE_INT16 = "int16_t";
    static constexpr const char* CASTTYPE_INT32 = "int32_t";
    static constexpr const char* CASTTYPE_INT64 = "int64_t";
    static constexpr const char* CASTTYPE_UINT8 = "uint8_t";
    static constexpr const char* CASTTYPE_UINT16 = "uint16_t";
    static constexpr const char* CASTTYPE_UINT32 = "uint32_t";
    static constexpr const char* CASTTYPE_UINT64 = "uint64_t";
    static constexpr const char* CASTTYPE_FLOAT = "float";
    static constexpr const char* CASTTYPE_DOUBLE = "double";
    static constexpr const char* CASTTYPE_LONGDOUBLE = "long double";
    static constexpr const char* ANCILLARYTYPE_CPU = "__ancillary_cpu";
    static constexpr const char* ANCILLARYTYPE_PID = "__ancillary_pid";
    static constexpr const char* ANCILLARYTYPE_TID = "__ancillary_tid";
    static constexpr const char* ANCILLARYTYPE_RESOURCE = "__ancillary_resource";
    static constexpr const char* ANCILLARYTYPE_ZERO = "__ancillary_zero";
    static constexpr const char* ANCILLARYTYPE_ONE = "__ancillary_one";
    static constexpr const char* ANCILLARYTYPE_TWO = "__ancillary_two";
    static constexpr const char* ANCILLARYTYPE_THREE = "__ancillary_three";
    static constexpr const char* ANCILLARYTYPE_FOUR = "__ancillary_four";
    static constexpr const char* ANCILLARYTYPE_FIVE = "__ancillary_five";
    static constexpr const char* ANCILLARYTYPE_SIX = "__ancillary_six";
    static constexpr const char* ANCILLARYTYPE_SEVEN = "__ancillary_seven";

    virtual ~TracePointField();

    /** The field's size in bytes (informational: the readers read their native width). */
    uint32_t getSize() const { return size; }
    /** The field's byte offset in the raw data. */
    uint32_t getOffset() const { return offset; }
    /** The reader type name, one of the CASTTYPE_ constants. */
    const char* getTypeName() const { return typeName; }

    void setSize(uint32_t newSize) { size = newSize; }
    void setOffset(uint32_t newOffset) { offset = newOffset; }

protected:
    TracePointField(uint32_t size, const char* typeName) : size(size), offset(0), typeName(typeName) {}

    /** Whether `width` bytes at the field's offset lie inside `length` bytes of raw data at `data`. */
    bool isInside(const unsigned char* data, uint64_t length, uint64_t width) const {
        return data != nullptr && width <= length && offset <= length - width;
    }

    /**
     * The value of type T at the field's offset in the sample's raw data, in host byte order, or 0 when it does
     * not lie wholly inside the data. The offset need not be a multiple of the width.
     */
    template <typename T> T readRaw(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const {
        T value = 0;
        if (isInside(data, ancillary.getRawSize(), sizeof(T))) {
            std::memcpy(&value, data + offset, sizeof(T));
        }
        return value;
    }

private:
    uint32_t size;
    uint32_t offset;
    const char* typeName;
};

} // namespace perfevents

#endif
