#ifndef KESTREL_JSOMWRITER_H
#define KESTREL_JSOMWRITER_H

#include <cstddef>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

namespace kestrel {

class ChunkPipeline;
class RowText;

/**
 * Writes one JSON document straight to an output stream as a sequence of calls, without building a tree.
 *
 * The writer inserts commas, colons and (with `whitespace` set) line breaks and indentation itself, keeps a
 * stack of the open containers, refuses calls that would produce invalid JSON with a one-line report on
 * standard error, closes whatever is still open in end() (also run by the destructor), and breaks lines that
 * grow beyond 24576 characters before the next value.
 */
class JsomWriter {
public:
    /// A line feed is written before a value once this many characters have been counted.
    static const int MAX_LINE_LENGTH = 24576;
    /// Indentation of pretty output stops growing at this many spaces.
    static const int MAX_INDENT = 47;

    explicit JsomWriter(std::ostream* out);
    virtual ~JsomWriter();
    JsomWriter(const JsomWriter&) = delete;
    JsomWriter& operator=(const JsomWriter&) = delete;

    void startObject();
    void endObject();
    void startArray();
    void endArray();
    // Labels and strings are always written as strict JSON strings in UTF-8 (see JSONData::escapeJsonText); the
    // verbatim flag, a caller's statement that the text needs no escaping, is accepted but changes nothing.
    void appendLabel(const char* label, int length, bool verbatim);
    void appendLabel(const char* label, bool verbatim);
    void appendNull();
    void appendBoolean(bool value);
    void appendString(const char* text, int length, bool verbatim);
    void appendString(const std::string& text, bool verbatim);
    void appendLong(long long value);
    void appendUnsignedLong(unsigned long long value);
    void appendInt(int value);
    void appendUnsignedInt(unsigned int value);
    /// NaN and the infinities are written as null.
    void appendDouble(long double value, int precision);
    /// The same for a double, without a detour through long double (which is software arithmetic on some
    /// targets).
    void appendDouble(double value, int precision);
    /// Writes text that already is JSON as one value.
    void appendJsonValue(const char* text, int length);

    /**
     * Writes `count` elements of the current array, the same bytes as writeOne(0) to writeOne(count - 1) would.
     * In compact layout the elements are formatted ahead in chunks of ELEMENTS_PER_CHUNK: format(begin, end, text)
     * writes elements begin to end - 1 into text, and is called from this thread and from the writer's worker
     * thread at the same time, so it may only read data that nothing changes during this call. In pretty layout,
     * outside an array or with formatAhead off, writeOne(i) writes element i through this writer's calls.
     */
    void appendElements(std::size_t count, const std::function<void(std::size_t, std::size_t, RowText&)>& format,
                        const std::function<void(std::size_t)>& writeOne);
    /**
     * Appends elements of the current array given as compact text (as RowText writes it): values separated by
     * commas, holding nothing but numbers, null, '[', ']' and ',', so that a value starts after every ',' and after
     * every '[' that does not close at once. The separator before the first element and the line feeds of the
     * line-length rule are written exactly where the value calls would write them. Compact layout only; in pretty
     * layout or outside an array the call is reported and writes nothing.
     */
    void appendElementText(const char* text, std::size_t length);

    /// Room the buffer of formatDouble and formatLong needs.
    static constexpr int NUMBER_BUFFER_SIZE = 256;
    /// The text appendDouble(value, precision) writes for a double (null for NaN and the infinities); returns its
    /// length.
    static int formatDouble(char* buf, double value, int precision);
    /// The text appendLong writes; returns its length.
    static int formatLong(char* buf, long long value);
    /// The text appendUnsignedLong writes; returns its length.
    static int formatUnsignedLong(char* buf, unsigned long long value);

    /// Elements formatted ahead by appendElements come in chunks of this many.
    static constexpr std::size_t ELEMENTS_PER_CHUNK = 2048;

    /// Closes every open container (a pending label gets null), resets the writer and flushes the stream.
    void end();
    void flush();

private:
    std::ostream* out;

public:
    /// Output is gathered in a buffer of this size and handed to the stream in blocks.
    static const int BUFFER_SIZE = 1 << 16;

    /// Pretty layout: line breaks and one space of indentation per level. Set it before the first call.
    bool whitespace = false;
    /// appendElements formats compact elements ahead, on two threads; false writes each through the value calls
    /// (the same bytes, one thread).
    bool formatAhead = true;

protected:
    void quote(const char* text, int length, bool verbatim);
    void indent();
    void write(const char* text, int length) {
        if (length <= 0) {
            return;
        }
        column += length;
        if (used + length > BUFFER_SIZE || state == 0) {
            _writeThrough(text, length);
            return;
        }
        std::memcpy(buffer.get() + used, text, static_cast<std::size_t>(length));
        used += length;
    }
    void writeChar(char c) {
        ++column;
        if (used == BUFFER_SIZE || state == 0) {
            _writeThrough(&c, 1);
            return;
        }
        buffer[used++] = c;
    }

private:
    bool _prologue(const char* operation);
    /// Hands the buffer and then text to the stream. Outside every container (state 0) nothing is held back,
    /// so a finished document or top-level value is in the stream at once.
    void _writeThrough(const char* text, int length);
    void _flushBuffer();
    // Closes the innermost container when it is of the kind opened by open (close once it has members).
    void _closeContainer(const char* operation, const char* container, char open, char close);
    void _writeNumber(const char* text, int length);
    void pushState(char c);
    void popState();

    char state = 0;
    int column = 0;
    std::unique_ptr<char[]> buffer;
    int used = 0;
    std::string stateStack;
    /// Formats the chunks of appendElements; created with the first call that has more than one chunk.
    std::unique_ptr<ChunkPipeline> pipeline;
};

} // namespace kestrel

#endif
