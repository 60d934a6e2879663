#include "kestrel/JsomWriter.h"
#include "kestrel/ChunkPipeline.h"
#include "kestrel/JSONData.h"
#include "kestrel/RowText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>

namespace kestrel {

namespace {

/// The longest text of one number.
const int NUMBER_BUFFER = JsomWriter::NUMBER_BUFFER_SIZE;

const char INDENT_TEXT[] = "\n                                               ";
static_assert(sizeof(INDENT_TEXT) == JsomWriter::MAX_INDENT + 2, "a line feed and the widest indentation");

const uint64_t POWERS_OF_TEN[] = {1,
                                  10,
                                  100,
                                  1000,
                                  10000,
                                  100000,
                                  1000000,
                                  10000000,
                                  100000000,
                                  1000000000,
                                  10000000000ull,
                                  100000000000ull,
                                  1000000000000ull,
                                  10000000000000ull,
                                  100000000000000ull,
                                  1000000000000000ull,
                                  10000000000000000ull,
                                  100000000000000000ull,
                                  1000000000000000000ull,
                                  10000000000000000000ull};

/// "00" to "99": two digits per table look-up halve the divisions of a number's text.
const char DIGIT_PAIRS[201] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                              "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                              "8081828384858687888990919293949596979899";

inline void putPair(char* p, uint64_t value) {
    std::memcpy(p, DIGIT_PAIRS + 2 * value, 2);
}

/// Writes the decimal digits of value, without leading zeros, and returns the end.
inline char* putInteger(char* p, uint64_t value) {
    int digits = 1;
    while (digits < 20 && value >= POWERS_OF_TEN[digits]) {
        ++digits;
    }
    char* end = p + digits;
    char* q = end;
    while (value >= 100) {
        q -= 2;
        putPair(q, value % 100);
        value /= 100;
    }
    if (value >= 10) {
        putPair(q - 2, value);
    } else {
        q[-1] = static_cast<char>('0' + value);
    }
    return end;
}

/// Writes fraction (below 10^precision) as exactly `precision` digits, leading zeros included.
inline void putFraction(char* p, uint64_t fraction, int precision) {
    if (precision == 6) {
        // Three independent divisions by constants instead of a chain of six.
        putPair(p, fraction / 10000);
        putPair(p + 2, fraction / 100 % 100);
        putPair(p + 4, fraction % 100);
        return;
    }
    if (precision == 1) {
        p[0] = static_cast<char>('0' + fraction);
        return;
    }
    int i = precision;
    while (i >= 2) {
        i -= 2;
        putPair(p + i, fraction % 100);
        fraction /= 100;
    }
    if (i == 1) {
        p[0] = static_cast<char>('0' + fraction);
    }
}

/**
 * Writes units of the last of `precision` decimals as "integer part . fraction" and returns the end; Scale is
 * 10^precision, or 0 to look it up. With trim set, trailing zeros of the fraction are left out, and the point
 * too when nothing remains after it.
 */
template <uint64_t Scale> char* putUnits(char* p, uint64_t units, int precision, bool trim) {
    const uint64_t scale = Scale != 0 ? Scale : POWERS_OF_TEN[precision];
    p = putInteger(p, units / scale);
    uint64_t fraction = units % scale;
    if (trim && fraction == 0) {
        return p;
    }
    *p++ = '.';
    if (Scale == 1000000 && trim) {
        // The fraction is not zero; the last pair that is not "00" tells how many of its digits remain.
        const uint64_t high = fraction / 10000;
        const uint64_t middle = fraction / 100 % 100;
        const uint64_t low = fraction % 100;
        putPair(p, high);
        putPair(p + 2, middle);
        putPair(p + 4, low);
        if (low != 0) {
            return p + 6 - (DIGIT_PAIRS[2 * low + 1] == '0');
        }
        if (middle != 0) {
            return p + 4 - (DIGIT_PAIRS[2 * middle + 1] == '0');
        }
        return p + 2 - (DIGIT_PAIRS[2 * high + 1] == '0');
    }
    putFraction(p, fraction, precision);
    p += precision;
    if (trim) {
        // The fraction is not zero: a digit other than '0' stops the loop before the point.
        while (p[-1] == '0') {
            --p;
        }
    }
    return p;
}

/**
 * The exact binary value of a finite double times 10^precision (1 to 9), rounded to nearest, ties to even, in
 * integer arithmetic, as printf rounds; false when the result would not fit 64 bits.
 */
bool exactUnits(uint64_t bits, int precision, uint64_t& units) {
    int exponent = static_cast<int>((bits >> 52) & 0x7FF);
    uint64_t mantissa = bits & ((uint64_t(1) << 52) - 1);
    if (exponent == 0) {
        exponent = 1; // subnormal
    } else {
        mantissa |= uint64_t(1) << 52;
    }
    int shift = 1075 - exponent; // d == mantissa / 2^shift
    // Below 1e13 the exponent keeps shift positive; the product stays below 2^83.
    unsigned __int128 scaled = static_cast<unsigned __int128>(mantissa) * POWERS_OF_TEN[precision];
    if (shift <= 0) {
        return false;
    }
    if (shift >= 100) {
        units = 0; // far below half a unit of the last decimal
        return true;
    }
    unsigned __int128 quotient = scaled >> shift;
    unsigned __int128 remainder = scaled - (quotient << shift);
    unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
    if (remainder > half || (remainder == half && (quotient & 1) != 0)) {
        ++quotient;
    }
    if ((quotient >> 64) != 0) {
        return false;
    }
    units = static_cast<uint64_t>(quotient);
    return true;
}

/**
 * Fixed notation with 1 to 9 decimals for a double whose value in units of the last decimal fits 64 bits
 * (times and values of everyday size), rounded as printf rounds. With trim set, trailing zeros of the fraction and a
 * point left last are dropped. Returns 0 when the value is outside this range.
 */
int formatFixedFast(char* buf, double d, int precision, bool trim) {
    if (precision < 1 || precision > 9 || !(d > -1e13 && d < 1e13)) {
        return 0;
    }
    uint64_t bits;
    memcpy(&bits, &d, sizeof(bits));
    const bool negative = (bits >> 63) != 0;
    // Mostly the product in double arithmetic decides: below 2^40 it is within 2^-14 of the exact product, so when
    // its fraction is further than that from one half, it rounds to the same integer. Only values that close to a
    // tie take the exact integer path.
    const double scaled = (negative ? -d : d) * static_cast<double>(POWERS_OF_TEN[precision]);
    uint64_t units;
    if (scaled < 1099511627776.0) {
        units = static_cast<uint64_t>(scaled);
        const double fraction = scaled - static_cast<double>(units); // exact
        if (std::fabs(fraction - 0.5) > 1.0 / 1024) {
            // Without a branch: which way it goes is as good as random.
            units += static_cast<uint64_t>(fraction > 0.5);
        } else if (!exactUnits(bits, precision, units)) {
            return 0;
        }
    } else if (!exactUnits(bits, precision, units)) {
        return 0;
    }
    char* p = buf;
    if (negative) {
        *p++ = '-';
    }
    // The precisions the plots use get a constant divisor, which the compiler turns into a multiplication.
    if (precision == 6) {
        p = putUnits<1000000>(p, units, 6, trim);
    } else if (precision == 1) {
        p = putUnits<10>(p, units, 1, trim);
    } else {
        p = putUnits<0>(p, units, precision, trim);
    }
    return static_cast<int>(p - buf);
}

/**
 * Formats a long double as printf would with the given format and precision. A value that is exactly a double
 * (every value the program writes; the caller has converted it to d and compared) goes through std::to_chars,
 * which produces the same digits much faster; anything else falls back to the C library. Returns the length, at
 * most NUMBER_BUFFER - 1.
 */
template <class V> int formatNumber(char* buf, V value, double d, bool exact, std::chars_format format, int precision) {
    if (exact) {
        if (format == std::chars_format::fixed) {
            int n = formatFixedFast(buf, d, precision, false);
            if (n > 0) {
                return n;
            }
        }
        std::to_chars_result r = std::to_chars(buf, buf + NUMBER_BUFFER - 1, d, format, precision);
        if (r.ec == std::errc()) {
            return static_cast<int>(r.ptr - buf);
        }
    }
    int n = snprintf(buf, NUMBER_BUFFER, format == std::chars_format::scientific ? "%.*Le" : "%.*Lf", precision,
                     static_cast<long double>(value));
    if (n < 0) {
        return 0;
    }
    return n < NUMBER_BUFFER ? n : NUMBER_BUFFER - 1;
}

/**
 * A finite number: magnitudes above 1e16 in exponent notation with six decimals, others in fixed notation with
 * the given decimals (6 when negative) and trailing zeros dropped, or with six decimals for precision 0.
 */
template <class V> int formatFinite(char* buf, V value, double d, bool exact, int precision) {
    const V limit = static_cast<V>(1e16);
    bool large = exact ? (d > 1e16 || d < -1e16) : (value > limit || value < -limit);
    if (large) {
        return formatNumber(buf, value, d, exact, std::chars_format::scientific, 6);
    }
    if (precision == 0) {
        return formatNumber(buf, value, d, exact, std::chars_format::fixed, 6);
    }
    const int decimals = precision < 0 ? 6 : precision;
    if (exact) {
        // The fast path trims as it writes; its text always is longer than precision + 1 characters.
        int n = formatFixedFast(buf, d, decimals, true);
        if (n > 0) {
            return n;
        }
    }
    int length = formatNumber(buf, value, d, exact, std::chars_format::fixed, decimals);
    if (length > precision + 1) {
        while (length > 1 && buf[length - 1] == '0') {
            --length;
        }
        if (length > 1 && buf[length - 1] == '.') {
            --length;
        }
    }
    return length;
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

JsomWriter::JsomWriter(std::ostream* stream) : out(stream), buffer(new char[BUFFER_SIZE]) {}

JsomWriter::~JsomWriter() {
    end();
}

// ---- Low-level output ----

void JsomWriter::_flushBuffer() {
    if (used > 0) {
        if (out && out->rdbuf()->sputn(buffer.get(), used) != used) {
            out->setstate(std::ios::badbit);
        }
        used = 0;
    }
}

void JsomWriter::_writeThrough(const char* text, int length) {
    _flushBuffer();
    if (length > BUFFER_SIZE / 2 || state == 0) {
        if (out && out->rdbuf()->sputn(text, length) != length) {
            out->setstate(std::ios::badbit);
        }
        return;
    }
    std::memcpy(buffer.get(), text, static_cast<std::size_t>(length));
    used = length;
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
    // Every text is escaped, also one marked verbatim: labels are taken from channel files and recordings too,
    // and the output must stay strict JSON in UTF-8 whatever they hold. Plain text passes as one run.
    (void)verbatim;
    writeChar('"');
    JSONData::escapeJsonText(text, text + (length > 0 ? length : 0),
                             [this](const char* data, std::size_t n) { write(data, static_cast<int>(n)); });
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
    _closeContainer("endObject", "object", '{', '}');
}

void JsomWriter::endArray() {
    _closeContainer("endArray", "array", '[', ']');
}

void JsomWriter::_closeContainer(const char* operation, const char* container, char open, char close) {
    if (state != open && state != close) {
        reportNoContainer(operation, container, state);
        return;
    }
    popState();
    if (whitespace) {
        indent();
    }
    writeChar(close);
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
    if (!std::isfinite(value)) {
        // JSON has no text for NaN and the infinities.
        write("null", 4);
        return;
    }
    // Where long double is wider than double its arithmetic runs in software: convert once, and compare in
    // double when the value is exactly one (1e16 is a double, so the comparison gives the same answer).
    double d = static_cast<double>(value);
    char buf[NUMBER_BUFFER];
    write(buf, formatFinite(buf, value, d, static_cast<long double>(d) == value, precision));
}

void JsomWriter::appendDouble(double value, int precision) {
    if (!_prologue("appendDouble")) {
        return;
    }
    if (!std::isfinite(value)) {
        write("null", 4);
        return;
    }
    char buf[NUMBER_BUFFER];
    write(buf, formatFinite(buf, value, value, true, precision));
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

int JsomWriter::formatDouble(char* buf, double value, int precision) {
    if (!std::isfinite(value)) {
        std::memcpy(buf, "null", 4);
        return 4;
    }
    return formatFinite(buf, value, value, true, precision);
}

int JsomWriter::formatLong(char* buf, long long value) {
    return formatInteger(buf, value);
}

int JsomWriter::formatUnsignedLong(char* buf, unsigned long long value) {
    return formatInteger(buf, value);
}

void JsomWriter::appendElements(std::size_t count,
                                const std::function<void(std::size_t, std::size_t, RowText&)>& format,
                                const std::function<void(std::size_t)>& writeOne) {
    if (whitespace || !formatAhead || (state != '[' && state != ']')) {
        for (std::size_t i = 0; i < count; ++i) {
            writeOne(i);
        }
        return;
    }
    const std::size_t chunks = (count + ELEMENTS_PER_CHUNK - 1) / ELEMENTS_PER_CHUNK;
    if (chunks > 1 && !pipeline) {
        pipeline.reset(new ChunkPipeline());
    }
    auto produce = [count, &format](std::size_t chunk, RowText& text) {
        const std::size_t begin = chunk * ELEMENTS_PER_CHUNK;
        format(begin, count - begin < ELEMENTS_PER_CHUNK ? count : begin + ELEMENTS_PER_CHUNK, text);
    };
    auto consume = [this](std::size_t, const RowText& text) { appendElementText(text.data(), text.size()); };
    if (chunks > 1) {
        pipeline->run(chunks, produce, consume);
    } else if (chunks == 1) {
        // One chunk is formatted right here, without the worker.
        RowText text;
        produce(0, text);
        consume(0, text);
    }
}

void JsomWriter::appendElementText(const char* text, std::size_t length) {
    if (length == 0) {
        return;
    }
    if (whitespace || (state != '[' && state != ']')) {
        reportInvalidSequence("appendElementText", state);
        return;
    }
    if (state == '[') {
        state = ']';
    } else {
        writeChar(',');
    }
    // A value starts at the beginning, after every ',' and after every '[' but that of an empty array. The rule puts a
    // line feed before the first value that starts once the column has reached the limit: jump to where that happens
    // and look for the next value start from there.
    std::size_t pos = 0;
    for (;;) {
        if (column >= MAX_LINE_LENGTH) {
            writeChar('\n');
            column = 0;
        }
        const std::size_t reach = pos + static_cast<std::size_t>(MAX_LINE_LENGTH - column);
        std::size_t i = reach - 1;
        while (i + 1 < length && text[i] != ',' && (text[i] != '[' || text[i + 1] == ']')) {
            ++i;
        }
        if (i + 1 >= length) {
            write(text + pos, static_cast<int>(length - pos));
            return;
        }
        write(text + pos, static_cast<int>(i + 1 - pos));
        pos = i + 1;
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
    _flushBuffer();
    if (out) {
        out->flush();
    }
}

} // namespace kestrel
