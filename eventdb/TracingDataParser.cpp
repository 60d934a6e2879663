#include "eventdb/TracingDataParser.h"

#include "eventdb/TraceFormatParser.h"

#include <cstring>
#include <stdexcept>

namespace eventdb {

namespace {

const bool HOST_BIG_ENDIAN = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// Longer version texts than this are taken for damage.
const size_t MAX_VERSION_LENGTH = 32;
// Longer system names than this are taken for damage (tracefs directory names are short).
const size_t MAX_SYSTEM_LENGTH = 255;

uint32_t swap32(uint32_t value) {
    return ((value & 0xFFu) << 24) | ((value & 0xFF00u) << 8) | ((value >> 8) & 0xFF00u) | (value >> 24);
}

uint64_t swap64(uint64_t value) {
    return (static_cast<uint64_t>(swap32(static_cast<uint32_t>(value))) << 32) |
           swap32(static_cast<uint32_t>(value >> 32));
}

} // namespace

TracingDataParser::TracingDataParser(const unsigned char* data, size_t size) : data(data), size(data ? size : 0) {}

std::vector<TraceEventFormat> TracingDataParser::parse() {
    position = 0;
    static const char signature[] = {0x17, 0x08, 0x44, 't', 'r', 'a', 'c', 'i', 'n', 'g'};
    if (size < sizeof(signature) || std::memcmp(data, signature, sizeof(signature)) != 0) {
        throw std::runtime_error("not a tracing data section (wrong signature)");
    }
    position = sizeof(signature);
    version = _readString("the version");
    if (version.size() > MAX_VERSION_LENGTH) {
        throw std::runtime_error("damaged tracing data section: the version text is too long");
    }
    const unsigned char* flags = _take(2, "the endianness and long size");
    if (flags[0] > 1) {
        throw std::runtime_error("damaged tracing data section: invalid endianness " + std::to_string(flags[0]));
    }
    swapBytes = (flags[0] == 1) != HOST_BIG_ENDIAN;
    if (flags[1] != 4 && flags[1] != 8) {
        throw std::runtime_error("damaged tracing data section: invalid size of a long " + std::to_string(flags[1]));
    }
    longSize = flags[1];
    pageSize = _readU32("the page size");

    _expect("header_page", 12, "the header_page label");
    _take(_readU64("the header_page size"), "the header_page text");
    _expect("header_event", 13, "the header_event label");
    _take(_readU64("the header_event size"), "the header_event text");

    std::vector<TraceEventFormat> formats;
    _readFormats("ftrace", _readU32("the count of ftrace formats"), formats);
    uint32_t systems = _readU32("the count of event systems");
    for (uint32_t s = 0; s < systems; ++s) {
        std::string system = _readString("the name of event system " + std::to_string(s + 1));
        if (system.size() > MAX_SYSTEM_LENGTH || !TraceFormatParser::isValidName(system)) {
            throw std::runtime_error("damaged tracing data section: invalid name of event system " +
                                     std::to_string(s + 1));
        }
        _readFormats(system, _readU32("the event count of system " + system), formats);
    }

    _take(_readU32("the kernel symbols size"), "the kernel symbols");
    _take(_readU32("the printk formats size"), "the printk formats");
    if (position < size) {
        _take(_readU64("the saved command lines size"), "the saved command lines");
    }
    return formats;
}

void TracingDataParser::_readFormats(const std::string& system, uint32_t count,
                                     std::vector<TraceEventFormat>& formats) {
    for (uint32_t i = 0; i < count; ++i) {
        std::string what = "format text " + std::to_string(i + 1) + " of system " + system;
        uint64_t length = _readU64("the size of " + what);
        const unsigned char* text = _take(length, what);
        try {
            TraceEventFormat format = TraceFormatParser::parse(reinterpret_cast<const char*>(text), length);
            format.system = system;
            formats.push_back(format);
        } catch (const std::runtime_error& e) {
            throw std::runtime_error("damaged tracing data section: " + what + ": " + e.what());
        }
    }
}

const unsigned char* TracingDataParser::_take(uint64_t count, const std::string& what) {
    if (count > size - position) {
        throw std::runtime_error("damaged tracing data section: " + what + " runs past its end (at byte " +
                                 std::to_string(position) + " of " + std::to_string(size) + ")");
    }
    const unsigned char* start = data + position;
    position += count;
    return start;
}

void TracingDataParser::_expect(const char* bytes, size_t count, const std::string& what) {
    if (std::memcmp(_take(count, what), bytes, count) != 0) {
        throw std::runtime_error("damaged tracing data section: " + what + " is missing (at byte " +
                                 std::to_string(position - count) + ")");
    }
}

uint32_t TracingDataParser::_readU32(const std::string& what) {
    uint32_t value;
    std::memcpy(&value, _take(sizeof(value), what), sizeof(value));
    return swapBytes ? swap32(value) : value;
}

uint64_t TracingDataParser::_readU64(const std::string& what) {
    uint64_t value;
    std::memcpy(&value, _take(sizeof(value), what), sizeof(value));
    return swapBytes ? swap64(value) : value;
}

std::string TracingDataParser::_readString(const std::string& what) {
    const void* end = std::memchr(data + position, '\0', size - position);
    if (end == nullptr) {
        throw std::runtime_error("damaged tracing data section: " + what + " runs past its end");
    }
    size_t length = static_cast<const unsigned char*>(end) - (data + position);
    std::string text(reinterpret_cast<const char*>(_take(length + 1, what)), length);
    return text;
}

} // namespace eventdb
