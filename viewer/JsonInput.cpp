#include "viewer/JsonInput.h"

#include "viewer/PlotDataError.h"

#include <algorithm>
#include <cstring>

namespace viewer {

namespace {

// Line breaks in [from, to): memchr runs through text without any at memory speed.
long countLines(const char* from, const char* to) {
    long lines = 0;
    while (from < to) {
        const void* found = std::memchr(from, '\n', static_cast<std::size_t>(to - from));
        if (!found) {
            break;
        }
        ++lines;
        from = static_cast<const char*>(found) + 1;
    }
    return lines;
}

bool isDigit(int c) { return c >= '0' && c <= '9'; }

// The end of the JSON number that starts at q, when it ends before `end`; null otherwise.
const char* scanNumber(const char* q, const char* end) {
    if (q < end && *q == '-') {
        ++q;
    }
    const char* firstDigit = q;
    while (q < end && isDigit(*q)) {
        ++q;
    }
    if (q == firstDigit || (q - firstDigit > 1 && *firstDigit == '0')) {
        return nullptr;
    }
    if (q < end && *q == '.') {
        const char* fraction = ++q;
        while (q < end && isDigit(*q)) {
            ++q;
        }
        if (q == fraction) {
            return nullptr;
        }
    }
    if (q < end && (*q == 'e' || *q == 'E')) {
        ++q;
        if (q < end && (*q == '+' || *q == '-')) {
            ++q;
        }
        const char* exponent = q;
        while (q < end && isDigit(*q)) {
            ++q;
        }
        if (q == exponent) {
            return nullptr;
        }
    }
    return q < end ? q : nullptr;
}

void appendUtf8(std::string& out, unsigned code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// A character of the input made fit for a message.
std::string shown(int c) {
    if (c < 0) {
        return "the end of the input";
    }
    if (c < 0x20 || c >= 0x7F) {
        static const char hex[] = "0123456789abcdef";
        return std::string("byte 0x") + hex[(c >> 4) & 15] + hex[c & 15];
    }
    return std::string("'") + static_cast<char>(c) + "'";
}

} // namespace

JsonInput::JsonInput(std::istream& in, std::string source, std::size_t bufferSize)
    : place(source + ": "), source(std::move(source)), in(in), buffer(std::max<std::size_t>(1, bufferSize)) {
    p = end = buffer.data();
}

bool JsonInput::_refill() {
    lines += countLines(buffer.data(), p);
    consumed += static_cast<std::uint64_t>(p - buffer.data());
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    std::streamsize got = in.gcount();
    if (in.bad()) {
        fail("cannot read the input");
    }
    p = buffer.data();
    end = p + got;
    return got > 0;
}

long JsonInput::line() { return lines + countLines(buffer.data(), p); }

void JsonInput::syntaxError(const std::string& what) {
    throw PlotDataError(place + "not JSON: syntax error: " + what + " (line " + std::to_string(line()) + ")");
}

void JsonInput::fail(const std::string& what) const { throw PlotDataError(place + what); }

int JsonInput::peekSignificant() {
    for (;;) {
        while (p < end && (*p == ' ' || *p == '\n' || *p == '\r' || *p == '\t')) {
            ++p;
        }
        if (p < end) {
            return static_cast<unsigned char>(*p);
        }
        if (!_refill()) {
            return -1;
        }
    }
}

void JsonInput::expect(char c, const char* expected) {
    int next = peekSignificant();
    if (next != static_cast<unsigned char>(c)) {
        syntaxError(std::string("expected ") + expected + ", found " + shown(next));
    }
    ++p;
}

bool JsonInput::nextMember(char close) {
    int next = peekSignificant();
    if (next == ',') {
        ++p;
        return true;
    }
    if (next == static_cast<unsigned char>(close)) {
        ++p;
        return false;
    }
    syntaxError(std::string("expected ',' or '") + close + "', found " + shown(next));
}

JsonInput::Kind JsonInput::kind() {
    int c = peekSignificant();
    switch (c) {
    case -1:
        return KIND_END;
    case '{':
        return KIND_OBJECT;
    case '[':
        return KIND_ARRAY;
    case '"':
        return KIND_STRING;
    case 't':
    case 'f':
        return KIND_BOOLEAN;
    case 'n':
        return KIND_NULL;
    default:
        return c == '-' || isDigit(c) ? KIND_NUMBER : KIND_OTHER;
    }
}

const char* JsonInput::kindName(Kind kind) {
    switch (kind) {
    case KIND_OBJECT:
        return "an object";
    case KIND_ARRAY:
        return "an array";
    case KIND_STRING:
        return "a string";
    case KIND_NUMBER:
        return "a number";
    case KIND_BOOLEAN:
        return "a boolean";
    case KIND_NULL:
        return "null";
    default:
        return "missing";
    }
}

unsigned JsonInput::_hex4() {
    unsigned code = 0;
    for (int i = 0; i < 4; ++i) {
        int c = peek();
        int digit = isDigit(c) ? c - '0' : (c >= 'a' && c <= 'f') ? c - 'a' + 10 : (c >= 'A' && c <= 'F') ? c - 'A' + 10 : -1;
        if (digit < 0) {
            syntaxError("bad \\u escape: " + shown(c));
        }
        skip();
        code = code * 16 + static_cast<unsigned>(digit);
    }
    return code;
}

void JsonInput::readString(std::string& out) {
    expect('"', "a string");
    out.clear();
    for (;;) {
        // Plain characters in runs, straight from the buffer.
        const char* run = p;
        while (p < end && *p != '"' && *p != '\\' && static_cast<unsigned char>(*p) >= 0x20) {
            ++p;
        }
        out.append(run, static_cast<std::size_t>(p - run));
        int c = peek();
        if (c == '"') {
            skip();
            return;
        }
        if (c < 0x20) {
            syntaxError(c < 0 ? "a string is not closed" : "a control character (" + shown(c) + ") inside a string");
        }
        if (c != '\\') {
            continue; // the run met the end of the buffer
        }
        skip(); // the backslash
        int e = peek();
        if (e < 0) {
            syntaxError("a string is not closed");
        }
        skip();
        switch (e) {
        case '"':
        case '\\':
        case '/':
            out += static_cast<char>(e);
            break;
        case 'b':
            out += '\b';
            break;
        case 'f':
            out += '\f';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        case 't':
            out += '\t';
            break;
        case 'u': {
            unsigned code = _hex4();
            if (code >= 0xD800 && code < 0xDC00 && peek() == '\\') {
                skip();
                if (peek() != 'u') {
                    syntaxError("a lone surrogate escape");
                }
                skip();
                unsigned low = _hex4();
                if (low < 0xDC00 || low >= 0xE000) {
                    syntaxError("a lone surrogate escape");
                }
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
            } else if (code >= 0xD800 && code < 0xE000) {
                code = 0xFFFD; // a lone surrogate has no UTF-8 form
            }
            appendUtf8(out, code);
            break;
        }
        default:
            syntaxError("bad escape \\" + shown(e));
        }
    }
}

std::string_view JsonInput::readNumberView() {
    peekSignificant();
    // Most numbers lie whole in the buffer: scanned in place; readNumber goes character by character for the
    // rest and for the errors.
    const char* q = scanNumber(p, end);
    if (q && static_cast<std::size_t>(q - p) <= MAX_NUMBER) {
        std::string_view view(p, static_cast<std::size_t>(q - p));
        p = q;
        return view;
    }
    readNumber(scratch);
    return scratch;
}

bool JsonInput::readNumberRow(std::string_view* numbers, int count) {
    const char* q = p;
    if (end - q < 2 || *q != '[') {
        return false;
    }
    ++q;
    for (int i = 0; i < count; ++i) {
        const char* stop = scanNumber(q, end);
        if (!stop || *stop != (i + 1 < count ? ',' : ']') || static_cast<std::size_t>(stop - q) > MAX_NUMBER) {
            return false;
        }
        numbers[i] = std::string_view(q, static_cast<std::size_t>(stop - q));
        q = stop + 1;
    }
    p = q;
    return true;
}

void JsonInput::readNumber(std::string& out) {
    peekSignificant();
    out.clear();
    auto take = [&]() {
        if (out.size() >= MAX_NUMBER) {
            syntaxError("a number of more than " + std::to_string(MAX_NUMBER) + " characters");
        }
        out += static_cast<char>(peek());
        skip();
    };
    auto digits = [&](const char* what) {
        if (!isDigit(peek())) {
            syntaxError(std::string("expected ") + what + ", found " + shown(peek()));
        }
        while (isDigit(peek())) {
            take();
        }
    };
    if (peek() == '-') {
        take();
    }
    if (peek() == '0') {
        take();
    } else {
        digits("a digit");
    }
    if (peek() == '.') {
        take();
        digits("a digit after the decimal point");
    }
    if (peek() == 'e' || peek() == 'E') {
        take();
        if (peek() == '+' || peek() == '-') {
            take();
        }
        digits("a digit of the exponent");
    }
}

JsonInput::Kind JsonInput::readValue(std::string* out, bool bigIntegersAsText) {
    Kind found = kind();
    _readValue(out, bigIntegersAsText, 0);
    return found;
}

void JsonInput::appendQuoted(std::string& out, const std::string& text) {
    static const char hex[] = "0123456789abcdef";
    out += '"';
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20) {
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += ch;
        }
    }
    out += '"';
}

void JsonInput::_readValue(std::string* out, bool bigIntegersAsText, int depth) {
    if (depth > MAX_DEPTH) {
        syntaxError("values nested more than " + std::to_string(MAX_DEPTH) + " deep");
    }
    int c = peekSignificant();
    if (c == '{' || c == '[') {
        char close = c == '{' ? '}' : ']';
        skip();
        if (out) {
            *out += static_cast<char>(c);
        }
        if (peekSignificant() == static_cast<unsigned char>(close)) {
            skip();
            if (out) {
                *out += close;
            }
            return;
        }
        bool first = true;
        do {
            if (out && !first) {
                *out += ',';
            }
            first = false;
            if (c == '{') {
                readString(scratch);
                if (out) {
                    appendQuoted(*out, scratch);
                    *out += ':';
                }
                expect(':', "':'");
            }
            _readValue(out, bigIntegersAsText, depth + 1);
        } while (nextMember(close));
        if (out) {
            *out += close;
        }
    } else if (c == '"') {
        readString(scratch);
        if (out) {
            appendQuoted(*out, scratch);
        }
    } else if (c == '-' || isDigit(c)) {
        readNumber(scratch);
        if (out) {
            std::size_t digits = scratch.size() - (scratch[0] == '-' ? 1 : 0);
            bool integer = scratch.find_first_of(".eE") == std::string::npos;
            if (bigIntegersAsText && integer && digits > 15) {
                *out += '"' + scratch + '"';
            } else {
                *out += scratch;
            }
        }
    } else {
        const char* word = c == 't' ? "true" : c == 'f' ? "false" : c == 'n' ? "null" : nullptr;
        if (!word) {
            syntaxError("expected a value, found " + shown(c));
        }
        for (const char* w = word; *w; ++w) {
            if (peek() != static_cast<unsigned char>(*w)) {
                syntaxError(std::string("expected ") + word + ", found " + shown(peek()));
            }
            skip();
        }
        if (out) {
            *out += word;
        }
    }
}

} // namespace viewer
