#ifndef PERFEVENTS_TRACEEVENTFORMAT_H
#define PERFEVENTS_TRACEEVENTFORMAT_H

#include <cstdint>
#include <string>
#include <vector>

namespace eventdb {

/**
 * The description of one trace point as the kernel publishes it in a format text: its system, name, numeric id
 * and the fields of its raw data.
 */
class TraceEventFormat {
public:
    /** One field of the raw data. */
    struct Field {
        std::string name;
        /** The declared C type; array dimensions are appended ("char[16]"). */
        std::string type;
        uint32_t offset = 0;
        uint32_t size = 0;
        bool isSigned = false;

        bool operator==(const Field& other) const;
        bool operator!=(const Field& other) const { return !(*this == other); }

        /** Whether the field is one of the fields every trace point begins with. */
        bool isCommon() const;
        /** Whether the field is a fixed-size array. */
        bool isArray() const;
        /** Whether the field is a __data_loc or __rel_loc reference to variable-length data. */
        bool isVariableLength() const;
        /** Whether the field holds a pointer. */
        bool isPointer() const;
        /**
         * The name of the reader type that reads the field ("int32_t", "address64_t", ...), or null when no
         * reader can read it (arrays, variable-length data, structures, odd sizes).
         */
        const char* castType() const;
        /** The field as one line of text, for messages. */
        std::string describe() const;
    };

    std::string system;
    std::string name;
    uint32_t id = 0;
    std::vector<Field> fields;

    /** The name under which perf knows the trace point: "system:name". */
    std::string fullName() const { return system + ":" + name; }

    bool operator==(const TraceEventFormat& other) const;
    bool operator!=(const TraceEventFormat& other) const { return !(*this == other); }
};

} // namespace eventdb

#endif
