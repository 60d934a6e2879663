#include "perfevents/TraceDatInput.h"

namespace perfevents {

TraceDatInput::TraceDatInput(std::istream& stream, std::uint64_t limit, bool bigEndian)
    : stream(stream), limit(limit), position(0), bigEndian(bigEndian) {
    stream.clear();
    stream.seekg(0);
}

void TraceDatInput::seek(std::uint64_t offset, const std::string& what) {
    if (offset > limit)
        throw TraceDatDamage(what + " lies at byte " + std::to_string(offset) + ", past the end (" +
                             std::to_string(limit) + " bytes)");
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(offset));
    if (!stream)
        throw TraceDatDamage("cannot seek to " + what + " at byte " + std::to_string(offset));
    position = offset;
}

void TraceDatInput::skip(std::uint64_t count, const std::string& what) {
    if (count > remaining())
        throw TraceDatDamage(what + " (" + std::to_string(count) + " bytes at byte " + std::to_string(position) +
                             ") runs past the end (" + std::to_string(limit) + " bytes)");
    seek(position + count, what);
}

void TraceDatInput::_read(void* buffer, std::uint64_t count, const std::string& what) {
    if (count > remaining())
        throw TraceDatDamage(what + " (" + std::to_string(count) + " bytes at byte " + std::to_string(position) +
                             ") runs past the end (" + std::to_string(limit) + " bytes)");
    stream.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
    if (static_cast<std::uint64_t>(stream.gcount()) != count)
        throw TraceDatDamage("cannot read " + what + " at byte " + std::to_string(position));
    position += count;
}

std::uint64_t TraceDatInput::decode(const unsigned char* data, unsigned size, bool bigEndian) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < size; ++i)
        value |= static_cast<std::uint64_t>(data[bigEndian ? size - 1 - i : i]) << (8 * i);
    return value;
}

std::uint64_t TraceDatInput::number(unsigned size, const std::string& what) {
    unsigned char buffer[8];
    _read(buffer, size, what);
    return decode(buffer, size, bigEndian);
}

std::string TraceDatInput::text(const std::string& what, std::size_t maxLength) {
    std::string result;
    for (;;) {
        char c;
        _read(&c, 1, what);
        if (c == '\0')
            return result;
        if (result.size() >= maxLength)
            throw TraceDatDamage(what + " at byte " + std::to_string(position - result.size() - 1) +
                                 " is not a text (no end within " + std::to_string(maxLength) + " bytes)");
        result.push_back(c);
    }
}

std::string TraceDatInput::bytes(std::uint64_t count, const std::string& what) {
    if (count > remaining())
        _read(nullptr, count, what); // throws
    std::string result(static_cast<std::size_t>(count), '\0');
    if (count > 0)
        _read(&result[0], count, what);
    return result;
}

void TraceDatInput::bytes(std::uint64_t count, std::vector<unsigned char>& out, const std::string& what) {
    if (count > remaining())
        _read(nullptr, count, what); // throws
    out.resize(static_cast<std::size_t>(count));
    if (count > 0)
        _read(out.data(), count, what);
}

} // namespace perfevents
