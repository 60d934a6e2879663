#ifndef PERFEVENTS_TRACEDATINPUT_H
#define PERFEVENTS_TRACEDATINPUT_H

#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace perfevents {

/// Thrown for a part of a trace.dat file that is damaged or lies beyond the end of the file.
class TraceDatDamage : public std::runtime_error {
public:
    explicit TraceDatDamage(const std::string& message) : std::runtime_error(message) {}
};

/// Reads numbers (in the file's byte order), texts and byte runs from a stream that holds `limit` bytes: the
/// trace.dat file itself, or the decompressed content of one of its sections. Nothing is read past the limit:
/// a read that would go there throws TraceDatDamage naming what was to be read, before any memory is reserved
/// for it.
class TraceDatInput {
public:
    /// The stream's position 0 is the start of what is read; `limit` bytes lie there.
    TraceDatInput(std::istream& stream, std::uint64_t limit, bool bigEndian);

    void setBigEndian(bool value) { bigEndian = value; }
    bool isBigEndian() const { return bigEndian; }
    std::uint64_t tell() const { return position; }
    std::uint64_t getLimit() const { return limit; }
    std::uint64_t remaining() const { return limit - position; }

    void seek(std::uint64_t offset, const std::string& what);
    void skip(std::uint64_t count, const std::string& what);
    std::uint16_t u16(const std::string& what) { return static_cast<std::uint16_t>(number(2, what)); }
    std::uint32_t u32(const std::string& what) { return static_cast<std::uint32_t>(number(4, what)); }
    std::uint64_t u64(const std::string& what) { return number(8, what); }
    std::uint64_t number(unsigned size, const std::string& what);
    /// A NUL-terminated text of at most maxLength characters.
    std::string text(const std::string& what, std::size_t maxLength = 4096);
    /// count bytes.
    std::string bytes(std::uint64_t count, const std::string& what);
    void bytes(std::uint64_t count, std::vector<unsigned char>& out, const std::string& what);

    /// The number of `size` bytes at `data` in the given byte order.
    static std::uint64_t decode(const unsigned char* data, unsigned size, bool bigEndian);

private:
    void _read(void* buffer, std::uint64_t count, const std::string& what);

    std::istream& stream;
    std::uint64_t limit;
    std::uint64_t position;
    bool bigEndian;
};

} // namespace perfevents

#endif
