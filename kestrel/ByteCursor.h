#ifndef KESTREL_BYTECURSOR_H
#define KESTREL_BYTECURSOR_H

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

namespace kestrel {

/**
 * Reads values one after another out of a byte range that it does not own, and never outside it: every read
 * says whether the bytes were there, and one that fails leaves the position where it was. Values are copied
 * with memcpy, in host byte order, so they may stand at any offset. All of it is inline: reading a record
 * header through a cursor costs what three memcpy calls cost.
 */
class ByteCursor {
public:
    ByteCursor() = default;
    ByteCursor(const unsigned char* data, std::size_t size) : data(data), size(size) {}

    /// Reads a value of a trivially copyable type and moves past it.
    template <typename T> bool read(T& value) {
        static_assert(std::is_trivially_copyable<T>::value, "ByteCursor reads trivially copyable values only");
        if (sizeof(T) > size - position)
            return false;
        std::memcpy(&value, data + position, sizeof(T));
        position += sizeof(T);
        return true;
    }
    /// Reads a value at an offset from the start without moving.
    template <typename T> bool peekAt(std::size_t offset, T& value) const {
        static_assert(std::is_trivially_copyable<T>::value, "ByteCursor reads trivially copyable values only");
        if (offset > size || sizeof(T) > size - offset)
            return false;
        std::memcpy(&value, data + offset, sizeof(T));
        return true;
    }
    /// Copies count bytes and moves past them.
    bool readBytes(void* out, std::size_t count) {
        if (count > size - position)
            return false;
        if (count > 0)
            std::memcpy(out, data + position, count);
        position += count;
        return true;
    }
    /// Moves past count bytes.
    bool skip(std::size_t count) {
        if (count > size - position)
            return false;
        position += count;
        return true;
    }
    /// Moves to an offset from the start (the end included).
    bool seek(std::size_t offset) {
        if (offset > size)
            return false;
        position = offset;
        return true;
    }
    /// Reads a NUL-terminated text and moves past its NUL; false when no NUL comes before the end.
    bool readString(std::string& text) {
        if (position == size)
            return false;
        const void* nul = std::memchr(data + position, 0, size - position);
        if (nul == nullptr)
            return false;
        const std::size_t length = static_cast<const unsigned char*>(nul) - (data + position);
        text.assign(reinterpret_cast<const char*>(data + position), length);
        position += length + 1;
        return true;
    }
    /// Reads a text field of a fixed width (which need not hold a NUL: the text ends at the first NUL or at the
    /// width) and moves past the whole field.
    bool readFixedString(std::string& text, std::size_t width) {
        if (width > size - position)
            return false;
        const char* start = reinterpret_cast<const char*>(data + position);
        const void* nul = width > 0 ? std::memchr(start, 0, width) : nullptr;
        text.assign(start, nul != nullptr ? static_cast<const char*>(nul) - start : width);
        position += width;
        return true;
    }
    /// A cursor over the next count bytes, which this one moves past; an empty cursor and false when they are
    /// not all there.
    bool take(std::size_t count, ByteCursor& part) {
        if (count > size - position)
            return false;
        part = ByteCursor(data + position, count);
        position += count;
        return true;
    }

    const unsigned char* here() const { return data + position; }
    std::size_t getPosition() const { return position; }
    std::size_t remaining() const { return size - position; }
    std::size_t getSize() const { return size; }

private:
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    std::size_t position = 0;
};

} // namespace kestrel

#endif
