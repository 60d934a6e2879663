#include "kestrel/JsomWriter.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <ostream>

namespace kestrel {

namespace {

/// The longest text of one number.
const int NUMBER_BUFFER = 256;

const char INDENT_TEXT[] = "\n                                               ";
static_assert(sizeof(INDENT_TEXT) == JsomWriter::MAX_INDENT + 2, "a line feed and the widest indentation");

/**
 * Formats a long double as printf would with the given format and precision. A value that is exactly a double
 * (every value the program writes) goes through std::to_chars, which produces the same digits much faster;
 * anything else falls back to the C library. Returns the length, at most NUMBER_BUFFER - 1.
 */
int formatNumber(char* buf, long double value, std::chars_format format, int precision) {
    double d = static_cast<double>(value);
    if (static_cast<long double>(d) == value) {
        std::to_chars_result r = std::to_chars(buf, buf + NUMBER_BUFFER - 1, d, format, precision);
        if (r.ec == std::errc()) {
            return static_cast<int>(r.ptr - buf);
        }
    }
    int n = snprintf(buf, NUMBER_BUFFER, format == std::chars_format::scientific ? "%.*Le" : "%.*Lf", precision, value);
    if (n < 0) {
        return 0;
    }
    return n < NUMBER_BUFFER ? n : NUMBER_BUFFER - 1;
}

template <class T> int formatInteger(char* buf, T value) {
    return static_cast<int>(std::to_chars(buf, buf + NUMBER_BUFFER, value).ptr - buf);
}

void reportInvalidSequence(const char* operation, char state) {
    fprintf(stderr, "ERROR: JsonWriter::%s() Invalid sequence. state: %c\n", operation, state);
    fflush(stderr);
}

void reportNoContainer(const char* operation, const char* container, char state) {
    fprintf(stderr, "ERROR: JsonWriter::%s() No current %s on stack. state: %c\n", operation, container, state);
    fflush(stderr);
}

} // namespace

JsomWriter::JsomWriter(std::ostream* stream) : out(stream) {}

JsomWriter::~JsomWriter() {
    end();
}

// ---- Low-level output ----

void JsomWriter::write(const char* text, int length) {
    if (length <= 0) {
        return;
    }
    column += length;
    // Straight to the stream buffer: a sentry per token would cost more than the token itself.
    if (out && out->rdbuf()->sputn(text, length) != length) {
        out->setstate(std::ios::badbit);
    }
}

void JsomWriter::writeChar(char c) {
    ++column;
    if (out && std::ostream::traits_type::eq_int_type(out->rdbuf()->sputc(c), std::ostream::traits_type::eof())) {
        out->setstate(std::ios::badbit);
    }
}

void JsomWriter::indent() {
    if (state == 0) {
        writeChar('\n');
        column = 0;
        return;
    }
    int depth = static_cast<int>(stateStack.size()) + 1;
    write(INDENT_TEXT, 1 + (depth < MAX_INDENT ? depth : MAX_INDENT));
}

void JsomWriter::quote(const char* text, int length, bool verbatim) {
    if (!text) {
        write("null", 4);
        return;
    }
    writeChar('"');
    if (verbatim) {
        write(text, length);
    } else {
        const char* run = text;
        const char* end = text + (length > 0 ? length : 0);
        for (const char* p = text; p < end; ++p) {
            const char* rep;
            switch (*p) {
            case '\b':
                rep = "\\b";
                break;
            case '\t':
                rep = "\\t";
                break;
            case '\n':
                rep = "\\n";
                break;
            case '\f':
                rep = "\\f";
                break;
            case '\r':
                rep = "\\r";
                break;
            case '"':
                rep = "\\\"";
                break;
            case '\\':
                rep = "\\\\";
                break;
            default:
                continue;
            }
            write(run, static_cast<int>(p - run));
            write(rep, 2);
            run = p + 1;
        }
        write(run, static_cast<int>(end - run));
    }
    writeChar('"');
}

// ---- State ----

void JsomWriter::pushState(char c) {
    if (state != 0) {
        stateStack.push_back(state);
    }
    state = c;
}

void JsomWriter::popState() {
    if (stateStack.empty()) {
        state = 0;
    } else {
        state = stateStack.back();
        stateStack.pop_back();
    }
}

/// Everything a value needs before it: the separator, the layout whitespace and the line-length break.
/// False (after the report) when a value is not allowed here.
bool JsomWriter::_prologue(const char* operation) {
    if (state == '{' || state == '}') {
        reportInvalidSequence(operation, state);
        return false;
    }
    if (state == ':') {
        popState();
    }
    if (state == '[') {
        state = ']';
    } else if (state == ']') {
        writeChar(',');
    }
    if (whitespace) {
        if (state == '{' || state == '}') {
            writeChar(' ');
        } else if (state != 0) {
            indent();
        }
    }
    if (column >= MAX_LINE_LENGTH) {
        writeChar('\n');
        column = 0;
    }
    return true;
}

// ---- Containers ----

void JsomWriter::startObject() {
    if (_prologue("startObject")) {
        writeChar('{');
        pushState('{');
    }
}

void JsomWriter::startArray() {
    if (_prologue("startArray")) {
        writeChar('[');
        pushState('[');
    }
}

void JsomWriter::endObject() {
    if (state != '{' && state != '}') {
        reportNoContainer("endObject", "object", state);
        return;
    }
    popState();
    if (whitespace) {
        indent();
    }
    writeChar('}');
}

void JsomWriter::endArray() {
    if (state != '[' && state != ']') {
        reportNoContainer("endArray", "array", state);
        return;
    }
    popState();
    if (whitespace) {
        indent();
    }
    writeChar(']');
}

void JsomWriter::appendLabel(const char* label, int length, bool verbatim) {
    if (state != '{' && state != '}') {
        reportNoContainer("appendLabel", "object", state);
        return;
    }
    if (state == '}') {
        writeChar(',');
    } else {
        state = '}';
    }
    if (whitespace) {
        indent();
    }
    quote(label, length, verbatim);
    writeChar(':');
    pushState(':');
}

void JsomWriter::appendLabel(const char* label, bool verbatim) {
    appendLabel(label, label ? static_cast<int>(strlen(label)) : 0, verbatim);
}

// ---- Values ----

void JsomWriter::appendNull() {
    if (_prologue("appendNull")) {
        write("null", 4);
    }
}

void JsomWriter::appendBoolean(bool value) {
    if (_prologue("appendBoolean")) {
        if (value) {
            write("true", 4);
        } else {
            write("false", 5);
        }
    }
}

void JsomWriter::appendString(const char* text, int length, bool verbatim) {
    if (_prologue("appendString")) {
        quote(text, length, verbatim);
    }
}

void JsomWriter::appendString(const std::string& text, bool verbatim) {
    if (_prologue("appendString")) {
        quote(text.data(), static_cast<int>(text.size()), verbatim);
    }
}

void JsomWriter::appendLong(long long value) {
    if (_prologue("appendLong")) {
        char buf[NUMBER_BUFFER];
        write(buf, formatInteger(buf, value));
    }
}

void JsomWriter::appendUnsignedLong(unsigned long long value) {
    if (_prologue("appendUnsignedLong")) {
        char buf[NUMBER_BUFFER];
        write(buf, formatInteger(buf, value));
    }
}

void JsomWriter::appendInt(int value) {
    if (_prologue("appendInt")) {
        char buf[NUMBER_BUFFER];
        write(buf, formatInteger(buf, value));
    }
}

void JsomWriter::appendUnsignedInt(unsigned int value) {
    if (_prologue("appendUnsignedInt")) {
        char buf[NUMBER_BUFFER];
        write(buf, formatInteger(buf, value));
    }
}

void JsomWriter::appendDouble(long double value, int precision) {
    if (!_prologue("appendDouble")) {
        return;
    }
    char buf[NUMBER_BUFFER];
    int length;
    if (value > 1e16L || value < -1e16L) {
        // Large magnitudes in exponent notation with six decimals (infinities land here too).
        length = formatNumber(buf, value, std::chars_format::scientific, 6);
    } else if (precision != 0) {
        length = formatNumber(buf, value, std::chars_format::fixed, precision < 0 ? 6 : precision);
        if (length > precision + 1) {
            while (length > 1 && buf[length - 1] == '0') {
                --length;
            }
            if (length > 1 && buf[length - 1] == '.') {
                --length;
            }
        }
    } else {
        length = formatNumber(buf, value, std::chars_format::fixed, 6);
    }
    write(buf, length);
}

void JsomWriter::appendJsonValue(const char* text, int length) {
    if (_prologue("appendJsonValue")) {
        if (text) {
            write(text, length);
        } else {
            write("null", 4);
        }
    }
}

// ---- Finishing ----

void JsomWriter::end() {
    if (state == ':') {
        appendNull();
    }
    while (state != 0) {
        char closed = state;
        popState();
        if (whitespace) {
            indent();
        }
        writeChar(closed == '{' || closed == '}' ? '}' : ']');
    }
    stateStack.clear();
    state = 0;
    flush();
}

void JsomWriter::flush() {
    if (out) {
        out->flush();
    }
}

} // namespace kestrel
