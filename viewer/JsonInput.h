#ifndef VIEWER_JSONINPUT_H
#define VIEWER_JSONINPUT_H

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace viewer {

/**
 * JSON text read from a stream in pieces, token by token, without building a tree.
 *
 * The reader of plot data walks the text with it: it asks for the next character, a string, a number's text or
 * any value as compact text. Memory stays within one buffer of the stream plus the token being read, and every
 * step consumes input, so reading is linear in the input. Syntax errors are thrown as PlotDataError with the
 * message prefix given by `place` ("file: " or "file: document 2: "), the problem and the line.
 */
class JsonInput {
public:
    /// What a value starts with, as JSON names it.
    enum Kind { KIND_END, KIND_OBJECT, KIND_ARRAY, KIND_STRING, KIND_NUMBER, KIND_BOOLEAN, KIND_NULL, KIND_OTHER };

    /// Reads `in` in pieces of `bufferSize` bytes.
    JsonInput(std::istream& in, std::string source, std::size_t bufferSize = 1 << 20);

    /// The next character after white space, not consumed; -1 at the end of the input.
    int peekSignificant();
    /// The next character, not consumed; -1 at the end.
    int peek() {
        if (p == end && !_refill()) {
            return -1;
        }
        return static_cast<unsigned char>(*p);
    }
    void skip() { ++p; }
    /// Consumes the character `c` after white space, else throws a syntax error that names `expected`.
    void expect(char c, const char* expected);
    /// After white space: consumes ',' and returns true, or consumes `close` and returns false.
    bool nextMember(char close);

    /// The kind of value that starts at the next significant character.
    Kind kind();
    /// "an object", "a number", ... of a kind.
    static const char* kindName(Kind kind);

    /// Reads a string value (the next significant character must be '"') into `out`, decoded to UTF-8.
    void readString(std::string& out);
    /// Reads a number's text exactly as written (JSON's number grammar, at most 1024 characters).
    void readNumber(std::string& out);
    /// The same as a view, valid until the next read: into the buffer where the number lies whole in it.
    std::string_view readNumberView();
    /// Reads an array of exactly `count` numbers written without white space ("[0.5,7]"), the usual form of a
    /// point, when it lies whole in the buffer: views of the numbers go to `numbers`. False, with nothing
    /// consumed, for anything else, which the caller reads the general way.
    bool readNumberRow(std::string_view* numbers, int count);
    /// Reads any value, appending it to `out` as compact JSON (null: skips it). Numbers are kept as written,
    /// except that integers of more than 15 digits become strings when `bigIntegersAsText` is set, so that a
    /// reader using doubles keeps them exact. Returns the value's kind.
    Kind readValue(std::string* out, bool bigIntegersAsText = false);

    /// Appends `text` to `out` as a JSON string.
    static void appendQuoted(std::string& out, const std::string& text);

    /// Throws a PlotDataError "<place>not JSON: syntax error: <what> (line N)".
    [[noreturn]] void syntaxError(const std::string& what);
    /// Throws a PlotDataError "<place><what>".
    [[noreturn]] void fail(const std::string& what) const;

    /// Bytes consumed so far.
    std::uint64_t offset() const { return consumed + static_cast<std::uint64_t>(p - buffer.data()); }
    /// Line (from 1) of the next character.
    long line();

    /// Prefix of messages: the source and, from the second document on, the document number.
    std::string place;
    const std::string source;

    static const int MAX_DEPTH = 512;
    static const std::size_t MAX_NUMBER = 1024;

private:
    bool _refill();
    void _readValue(std::string* out, bool bigIntegersAsText, int depth);
    unsigned _hex4();

    std::istream& in;
    std::vector<char> buffer;
    const char* p;
    const char* end;
    std::uint64_t consumed = 0;
    long lines = 1;
    std::string scratch;
};

} // namespace viewer

#endif
