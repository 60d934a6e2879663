#include "perfevents/TextTracePointField.h"

#include <cstring>
#include <string>

namespace perfevents {

namespace {
const char* const TEXT_TYPE = "text";
} // namespace

TextTracePointField::TextTracePointField(Layout layout, TextDictionary& texts)
    : NumericTracePointField(layout == FIXED_ARRAY ? 0 : 4, TEXT_TYPE), layout(layout), texts(texts) {}

TextTracePointField::~TextTracePointField() {}

bool TextTracePointField::layoutOf(const std::string& declaredType, Layout& found) {
    auto startsWith = [&declaredType](const char* prefix) {
        return declaredType.compare(0, std::strlen(prefix), prefix) == 0;
    };
    if (startsWith("__data_loc ") || startsWith("__rel_loc ")) {
        // Only texts: "__data_loc char[]", also with const or unsigned char.
        if (declaredType.find("char[]") == std::string::npos)
            return false;
        found = startsWith("__data_loc ") ? DATA_LOC : REL_LOC;
        return true;
    }
    // A fixed array of plain characters; arrays of unsigned char are bytes (addresses and the like), not text.
    const std::size_t bracket = declaredType.find('[');
    if (bracket == std::string::npos)
        return false;
    const std::string element = declaredType.substr(0, bracket);
    if (element != "char" && element != "const char")
        return false;
    found = FIXED_ARRAY;
    return true;
}

int64_t TextTracePointField::getInt64(const PerfEventDataSampleAncillary& ancillary, const unsigned char* data) const {
    const uint64_t length = ancillary.getRawSize();
    uint64_t start = getOffset(), size = getSize();
    if (layout != FIXED_ARRAY) {
        uint32_t location = 0;
        if (!isInside(data, length, sizeof(location)))
            return texts.numberOf("", 0);
        std::memcpy(&location, data + getOffset(), sizeof(location));
        start = (location & 0xffffu) + (layout == REL_LOC ? getOffset() + sizeof(location) : 0);
        size = location >> 16;
    }
    if (data == nullptr || start > length || size > length - start)
        return texts.numberOf("", 0);
    const char* text = reinterpret_cast<const char*>(data + start);
    const void* nul = size > 0 ? std::memchr(text, 0, size) : nullptr;
    return texts.numberOf(text, nul != nullptr ? static_cast<const char*>(nul) - text : size);
}

int8_t TextTracePointField::getInt8(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<int8_t>(getInt64(a, d));
}
int16_t TextTracePointField::getInt16(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<int16_t>(getInt64(a, d));
}
int32_t TextTracePointField::getInt32(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<int32_t>(getInt64(a, d));
}
uint8_t TextTracePointField::getUint8(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<uint8_t>(getInt64(a, d));
}
uint16_t TextTracePointField::getUint16(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<uint16_t>(getInt64(a, d));
}
uint32_t TextTracePointField::getUint32(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<uint32_t>(getInt64(a, d));
}
uint64_t TextTracePointField::getUint64(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<uint64_t>(getInt64(a, d));
}
float TextTracePointField::getFloat(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<float>(getInt64(a, d));
}
double TextTracePointField::getDouble(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<double>(getInt64(a, d));
}
long double TextTracePointField::getLongDouble(const PerfEventDataSampleAncillary& a, const unsigned char* d) const {
    return static_cast<long double>(getDouble(a, d));
}

} // namespace perfevents
