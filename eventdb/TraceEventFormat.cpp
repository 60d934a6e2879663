#include "eventdb/TraceEventFormat.h"

namespace eventdb {

namespace {

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

} // namespace

bool TraceEventFormat::Field::operator==(const Field& other) const {
    return name == other.name && type == other.type && offset == other.offset && size == other.size &&
           isSigned == other.isSigned;
}

bool TraceEventFormat::Field::isCommon() const {
    return startsWith(name, "common_");
}

bool TraceEventFormat::Field::isArray() const {
    return !isVariableLength() && type.find('[') != std::string::npos;
}

bool TraceEventFormat::Field::isVariableLength() const {
    return startsWith(type, "__data_loc") || startsWith(type, "__rel_loc");
}

bool TraceEventFormat::Field::isPointer() const {
    return !isVariableLength() && !isArray() && type.find('*') != std::string::npos;
}

const char* TraceEventFormat::Field::castType() const {
    if (isVariableLength() || isArray()) {
        return nullptr;
    }
    if (isPointer()) {
        return size == 4 ? "address32_t" : size == 8 ? "address64_t" : nullptr;
    }
    if (startsWith(type, "struct ") || startsWith(type, "union ")) {
        return nullptr;
    }
    switch (size) {
    case 1:
        return isSigned ? "int8_t" : "uint8_t";
    case 2:
        return isSigned ? "int16_t" : "uint16_t";
    case 4:
        return isSigned ? "int32_t" : "uint32_t";
    case 8:
        return isSigned ? "int64_t" : "uint64_t";
    default:
        return nullptr;
    }
}

std::string TraceEventFormat::Field::describe() const {
    return type + " " + name + " (offset " + std::to_string(offset) + ", size " + std::to_string(size) +
           (isSigned ? ", signed)" : ", unsigned)");
}

bool TraceEventFormat::operator==(const TraceEventFormat& other) const {
    return system == other.system && name == other.name && id == other.id && fields == other.fields;
}

} // namespace eventdb
