#ifndef TESTS_KESTREL_STRICTJSON_H
#define TESTS_KESTREL_STRICTJSON_H

// A strict reader for the tests: RFC 8259 JSON in UTF-8, one value with optional whitespace around it, nothing
// lenient (no comments, trailing commas, NaN, raw control characters, unpaired surrogate escapes or bytes that are
// not UTF-8). It is written independently of the project's parser, so that the two can check each other.

#include <string>

namespace strictjson {

class Reader {
public:
    explicit Reader(const std::string& text) : s(text) {}

    /// Whether the whole text is one strict JSON value; otherwise where reading stopped.
    bool valid(std::string* problem = nullptr) {
        bool ok = value(0) && (skip(), i == s.size());
        if (!ok && problem != nullptr) {
            *problem = "invalid at byte " + std::to_string(i) + ": ..." + s.substr(i, 40);
        }
        return ok;
    }

private:
    const std::string& s;
    size_t i = 0;

    int peek() const { return i < s.size() ? static_cast<unsigned char>(s[i]) : -1; }
    void skip() {
        while (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r') {
            ++i;
        }
    }
    bool literal(const char* word) {
        for (; *word; ++word, ++i) {
            if (peek() != static_cast<unsigned char>(*word)) {
                return false;
            }
        }
        return true;
    }
    bool digits() {
        size_t start = i;
        while (peek() >= '0' && peek() <= '9') {
            ++i;
        }
        return i > start;
    }
    bool number() {
        if (peek() == '-') {
            ++i;
        }
        if (peek() == '0') {
            ++i;
        } else if (!digits()) {
            return false;
        }
        if (peek() == '.' && (++i, !digits())) {
            return false;
        }
        if (peek() == 'e' || peek() == 'E') {
            ++i;
            if (peek() == '+' || peek() == '-') {
                ++i;
            }
            return digits();
        }
        return true;
    }
    unsigned hex4() {
        unsigned v = 0;
        for (int k = 0; k < 4; ++k, ++i) {
            int c = peek();
            int d = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
            if (d < 0) {
                return 0x110000;
            }
            v = v * 16 + static_cast<unsigned>(d);
        }
        return v;
    }
    // One UTF-8 character from the table of well-formed byte sequences.
    bool utf8() {
        unsigned c = static_cast<unsigned>(peek());
        unsigned lo = 0x80, hi = 0xBF;
        int n = c >= 0xC2 && c <= 0xDF ? 1 : c >= 0xE0 && c <= 0xEF ? 2 : c >= 0xF0 && c <= 0xF4 ? 3 : 0;
        if (c == 0xE0)
            lo = 0xA0;
        if (c == 0xED)
            hi = 0x9F;
        if (c == 0xF0)
            lo = 0x90;
        if (c == 0xF4)
            hi = 0x8F;
        if (n == 0) {
            return false;
        }
        ++i;
        for (int k = 0; k < n; ++k, ++i, lo = 0x80, hi = 0xBF) {
            if (peek() < static_cast<int>(lo) || peek() > static_cast<int>(hi)) {
                return false;
            }
        }
        return true;
    }
    bool string() {
        if (!literal("\"")) {
            return false;
        }
        for (;;) {
            int c = peek();
            if (c == '"') {
                ++i;
                return true;
            }
            if (c < 0x20) {
                return false; // the end of the text, or a raw control character
            }
            if (c >= 0x80) {
                if (!utf8()) {
                    return false;
                }
                continue;
            }
            ++i;
            if (c != '\\') {
                continue;
            }
            c = peek();
            ++i;
            if (c != 'u') {
                if (c < 0 || std::string("\"\\/bfnrt").find(static_cast<char>(c)) == std::string::npos) {
                    return false;
                }
                continue;
            }
            unsigned unit = hex4();
            if (unit >= 0xDC00 && unit <= 0xDFFF) {
                return false;
            }
            if (unit >= 0xD800 && unit <= 0xDBFF) {
                unsigned low = literal("\\u") ? hex4() : 0;
                if (low < 0xDC00 || low > 0xDFFF) {
                    return false;
                }
            } else if (unit > 0xFFFF) {
                return false;
            }
        }
    }
    bool value(int depth) {
        skip();
        if (depth > 600) {
            return false;
        }
        int c = peek();
        if (c == '{' || c == '[') {
            ++i;
            const char close = c == '{' ? '}' : ']';
            skip();
            if (peek() == close) {
                ++i;
                return true;
            }
            for (;;) {
                if (c == '{') {
                    skip();
                    if (!string() || (skip(), !literal(":"))) {
                        return false;
                    }
                }
                if (!value(depth + 1)) {
                    return false;
                }
                skip();
                if (peek() == close) {
                    ++i;
                    return true;
                }
                if (!literal(",")) {
                    return false;
                }
            }
        }
        if (c == '"') {
            return string();
        }
        if (c == 't') {
            return literal("true");
        }
        if (c == 'f') {
            return literal("false");
        }
        if (c == 'n') {
            return literal("null");
        }
        return number();
    }
};

inline bool valid(const std::string& text, std::string* problem = nullptr) {
    return Reader(text).valid(problem);
}

} // namespace strictjson

#endif
