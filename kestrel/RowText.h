#ifndef KESTREL_ROWTEXT_H
#define KESTREL_ROWTEXT_H

#include "kestrel/JsomWriter.h"

#include <cstddef>
#include <memory>

namespace kestrel {

/**
 * Collects the compact JSON text of a run of array elements (numbers and arrays of them), as JsomWriter would write
 * them in compact layout: the same number texts, commas between the elements, no separator before the first and no
 * line feeds. Its calls have the names of the writer's, so that one piece of code can write rows to either; the text
 * is then handed to JsomWriter::appendElementText, which adds the separator and the line-length line feeds.
 *
 * Several may be filled on different threads at once; one object is used by one thread at a time.
 */
class RowText {
public:
    RowText() = default;
    RowText(const RowText&) = delete;
    RowText& operator=(const RowText&) = delete;

    /// Empties the text and keeps the storage.
    void clear() {
        end = buffer.get();
        comma = false;
    }

    void startArray() {
        _reserve();
        if (comma) {
            *end++ = ',';
        }
        *end++ = '[';
        comma = false;
    }

    void endArray() {
        _reserve();
        *end++ = ']';
        comma = true;
    }

    void appendDouble(double value, int precision) {
        _separate();
        end += JsomWriter::formatDouble(end, value, precision);
    }

    void appendLong(long long value) {
        _separate();
        end += JsomWriter::formatLong(end, value);
    }

    void appendUnsignedLong(unsigned long long value) {
        _separate();
        end += JsomWriter::formatUnsignedLong(end, value);
    }

    const char* data() const { return buffer.get(); }
    std::size_t size() const { return static_cast<std::size_t>(end - buffer.get()); }

private:
    /// Room for a separator, a number of the longest text and a bracket.
    static constexpr std::size_t VALUE_ROOM = JsomWriter::NUMBER_BUFFER_SIZE + 2;

    void _reserve() {
        if (static_cast<std::size_t>(limit - end) < VALUE_ROOM) {
            _grow();
        }
    }
    void _separate() {
        _reserve();
        if (comma) {
            *end++ = ',';
        }
        comma = true;
    }
    void _grow();

    std::unique_ptr<char[]> buffer;
    char* end = nullptr;
    char* limit = nullptr;
    /// An element or value was written at this level: the next one needs a comma.
    bool comma = false;
};

} // namespace kestrel

#endif
