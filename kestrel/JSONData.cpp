#include "kestrel/JSONData.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <istream>
#include <limits>
#include <ostream>

namespace kestrel {

namespace {

const uint16_t MAX_REFCOUNT = 0xFFFF;

/// Stands for every character that cannot be represented: a lone surrogate escape, bytes that are not UTF-8.
const unsigned REPLACEMENT_CHARACTER = 0xFFFD;

/// Appends a double in fixed notation with the given number of decimals (what "%.*f" prints, without the
/// detour through the C library). A negative precision means six decimals, as in printf.
void appendFixed(std::string& out, double value, int precision) {
    if (precision < 0) {
        precision = 6;
    }
    // The integer part of a double has at most 309 digits.
    char small[400];
    if (precision <= 64) {
        std::to_chars_result r =
            std::to_chars(small, small + sizeof(small), value, std::chars_format::fixed, precision);
        out.append(small, r.ptr);
        return;
    }
    std::vector<char> big(static_cast<size_t>(precision) + 330);
    std::to_chars_result r =
        std::to_chars(big.data(), big.data() + big.size(), value, std::chars_format::fixed, precision);
    out.append(big.data(), r.ptr);
}

/// The double nearest to a decimal text ("-?digits(.digits)?(e[+-]?digits)?"), ties to even. Beyond the range of
/// double the result is an infinity, below it a zero, with the sign of the text.
double decimalToDouble(const char* first, const char* last) {
    double d = 0.0;
    std::from_chars_result r = std::from_chars(first, last, d);
    if (r.ec != std::errc::result_out_of_range) {
        return d;
    }
    // Out of range: the decimal exponent of the first significant digit tells overflow from underflow.
    const bool negative = *first == '-';
    long long magnitude = 0;
    bool significant = false;
    bool fraction = false;
    const char* p = negative ? first + 1 : first;
    for (; p < last && *p != 'e' && *p != 'E'; ++p) {
        if (*p == '.') {
            fraction = true;
        } else if (significant) {
            magnitude += fraction ? 0 : 1;
        } else if (*p != '0') {
            significant = true;
            magnitude = fraction ? magnitude : 1;
        } else if (fraction) {
            --magnitude;
        }
    }
    long long exponent = 0;
    if (p < last) {
        ++p;
        bool down = p < last && *p == '-';
        if (p < last && (*p == '-' || *p == '+')) {
            ++p;
        }
        for (; p < last && exponent < 1000000000; ++p) {
            exponent = exponent * 10 + (*p - '0');
        }
        exponent = down ? -exponent : exponent;
    }
    d = magnitude + exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    return negative ? -d : d;
}

// ---- Character sources of the parser ----

/// A NUL-terminated buffer; the position is advanced in place.
struct TextSource {
    static const char* name() { return "setFromJsonString()"; }
    const char*& p;
    int peek() const { return *p ? static_cast<unsigned char>(*p) : -1; }
    void advance() { ++p; }
    bool exhausted() const { return *p == 0; }
};

/// An input stream read one character at a time; peeked characters stay in the stream.
struct StreamSource {
    static const char* name() { return "setFromStream()"; }
    std::istream& in;
    int peek() const {
        std::istream::int_type c = in.peek();
        return std::istream::traits_type::eq_int_type(c, std::istream::traits_type::eof())
                   ? -1
                   : static_cast<unsigned char>(std::istream::traits_type::to_char_type(c));
    }
    void advance() { in.ignore(); }
    bool exhausted() const { return in.eof(); }
};

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

int hexValue(int c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

/// Consumes the given word; false at the first character that differs (nothing past it is read).
template <class Source> bool consumeWord(Source& src, const char* word) {
    for (; *word; ++word) {
        if (src.peek() != static_cast<unsigned char>(*word)) {
            return false;
        }
        src.advance();
    }
    return true;
}

} // namespace

JSONData::~JSONData() {
    reset();
}

void JSONData::retain() {
    if (refCount != MAX_REFCOUNT) {
        ++refCount;
    }
}

void JSONData::release() {
    if (refCount == MAX_REFCOUNT) {
        return;
    }
    if (refCount <= 1) {
        delete this;
        return;
    }
    --refCount;
}

void JSONData::_report(const char* operation, const char* problem) {
    fprintf(stderr, "JSONData::%s: %s\n", operation, problem);
}

// ---- Type and content ----

void JSONData::setType(int code) {
    if (code == type) {
        return;
    }
    reset();
    type = static_cast<uint16_t>(code);
    switch (code) {
    case TYPE_STRING:
        value.text = new std::string();
        break;
    case TYPE_OBJECT:
        value.entries = new EntryVector();
        break;
    case TYPE_ARRAY:
        value.elements = new ElementVector();
        break;
    default:
        value.integer = 0;
        break;
    }
}

void JSONData::reset() {
    switch (type) {
    case TYPE_OBJECT:
        clear();
        delete value.entries;
        break;
    case TYPE_ARRAY:
        clear();
        delete value.elements;
        break;
    case TYPE_STRING:
        delete value.text;
        break;
    default:
        break;
    }
    value.integer = 0;
    type = TYPE_UNDEFINED;
}

void JSONData::clear() {
    if (type == TYPE_OBJECT) {
        EntryVector& v = *value.entries;
        while (!v.empty()) {
            entry* e = v.back();
            v.pop_back();
            e->value->release();
            delete e;
        }
    } else if (type == TYPE_ARRAY) {
        ElementVector& v = *value.elements;
        while (!v.empty()) {
            JSONData* child = v.back();
            v.pop_back();
            child->release();
        }
    }
}

void JSONData::setBoolean(bool b) {
    setType(TYPE_BOOLEAN);
    value.boolean = b;
}

void JSONData::setLong(long long l) {
    setType(TYPE_LONG);
    value.integer = l;
}

void JSONData::setDouble(long double d) {
    setType(TYPE_DOUBLE);
    value.real = static_cast<double>(d);
}

void JSONData::setString(const std::string& text) {
    setType(TYPE_STRING);
    *value.text = text;
}

void JSONData::setString(const char* text) {
    setType(TYPE_STRING);
    if (text) {
        *value.text = text;
    }
}

// ---- Reading ----

int JSONData::length() const {
    if (type == TYPE_OBJECT) {
        return static_cast<int>(value.entries->size());
    }
    if (type == TYPE_ARRAY) {
        return static_cast<int>(value.elements->size());
    }
    return 0;
}

JSONData* JSONData::getByIndex(int i) const {
    if (i < 0 || i >= length()) {
        return nullptr;
    }
    return type == TYPE_OBJECT ? (*value.entries)[i]->value : (*value.elements)[i];
}

int JSONData::_findKey(const char* key, size_t keyLength) const {
    if (type != TYPE_OBJECT) {
        return -1;
    }
    const EntryVector& v = *value.entries;
    for (size_t i = v.size(); i-- > 0;) {
        const std::string& k = v[i]->key;
        if (k.size() == keyLength && memcmp(k.data(), key, keyLength) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

JSONData* JSONData::getByKey(const std::string& key) const {
    int i = _findKey(key.data(), key.size());
    return i < 0 ? nullptr : (*value.entries)[i]->value;
}

JSONData* JSONData::getByKey(const char* key) const {
    if (!key) {
        return nullptr;
    }
    int i = _findKey(key, strlen(key));
    return i < 0 ? nullptr : (*value.entries)[i]->value;
}

const std::string* JSONData::getKeyAtIndex(int i) const {
    if (type != TYPE_OBJECT || i < 0 || i >= length()) {
        return nullptr;
    }
    return &(*value.entries)[i]->key;
}

const std::string* JSONData::stringValue() const {
    return type == TYPE_STRING ? value.text : nullptr;
}

bool JSONData::booleanValue() const {
    return type == TYPE_BOOLEAN ? value.boolean : false;
}

long long JSONData::longValue() const {
    switch (type) {
    case TYPE_LONG:
        return value.integer;
    case TYPE_DOUBLE: {
        // Truncate toward zero; values beyond the 64-bit range saturate and NaN reads as 0 instead of
        // being an undefined conversion.
        double d = value.real;
        if (!(d == d)) {
            return 0;
        }
        if (d >= 9223372036854775807.0) {
            return INT64_MAX;
        }
        if (d <= -9223372036854775808.0) {
            return INT64_MIN;
        }
        return static_cast<long long>(d);
    }
    case TYPE_BOOLEAN:
        return value.boolean ? 1 : 0;
    default:
        return 0;
    }
}

long double JSONData::doubleValue() const {
    switch (type) {
    case TYPE_DOUBLE:
        return value.real;
    case TYPE_LONG:
        return static_cast<long double>(value.integer);
    case TYPE_BOOLEAN:
        return value.boolean ? 1.0L : 0.0L;
    default:
        return 0.0L;
    }
}

// ---- Building and changing containers ----

void JSONData::_setByKey(const char* key, size_t keyLength, JSONData* child) {
    setType(TYPE_OBJECT);
    if (child) {
        child->retain();
    }
    int i = _findKey(key, keyLength);
    EntryVector& v = *value.entries;
    if (i >= 0) {
        entry* e = v[i];
        JSONData* old = e->value;
        if (child) {
            e->value = child;
        } else {
            v.erase(v.begin() + i);
            delete e;
        }
        old->release();
        return;
    }
    if (child) {
        entry* e = new entry;
        e->key.assign(key, keyLength);
        e->value = child;
        v.push_back(e);
    }
}

void JSONData::setByKey(const std::string& key, JSONData* child) {
    _setByKey(key.data(), key.size(), child);
}

void JSONData::setByKey(const char* key, JSONData* child) {
    if (key) {
        _setByKey(key, strlen(key), child);
    }
}

void JSONData::setByIndex(int index, JSONData* child) {
    if (!child) {
        if (type == TYPE_ARRAY && index >= 0 && index < length()) {
            ElementVector& v = *value.elements;
            JSONData* old = v[index];
            v.erase(v.begin() + index);
            old->release();
        }
        return;
    }
    setType(TYPE_ARRAY);
    child->retain();
    ElementVector& v = *value.elements;
    int n = static_cast<int>(v.size());
    if (index == n) {
        v.push_back(child);
    } else if (index >= 0 && index < n) {
        JSONData* old = v[index];
        v[index] = child;
        old->release();
    } else {
        _report("setByIndex()", "index out of range");
        child->release();
    }
}

void JSONData::erase(int index) {
    int n = length();
    if (index == -1) {
        index = n - 1;
    }
    if (index < 0 || index >= n) {
        return;
    }
    if (type == TYPE_OBJECT) {
        EntryVector& v = *value.entries;
        entry* e = v[index];
        v.erase(v.begin() + index);
        e->value->release();
        delete e;
    } else {
        ElementVector& v = *value.elements;
        JSONData* old = v[index];
        v.erase(v.begin() + index);
        old->release();
    }
}

void JSONData::_eraseKey(const char* key, size_t keyLength) {
    int i = _findKey(key, keyLength);
    if (i >= 0) {
        erase(i);
    }
}

void JSONData::erase(const char* key) {
    if (key) {
        _eraseKey(key, strlen(key));
    }
}

void JSONData::erase(const std::string& key) {
    _eraseKey(key.data(), key.size());
}

JSONData* JSONData::clone() const {
    JSONData* c = new JSONData();
    c->setType(type);
    c->copy(*this);
    return c;
}

void JSONData::copy(const JSONData& src) {
    if (src.type != type) {
        // The source may lie inside this node's old content (released by the type change) or contain this
        // node (changed by it): copy it out first and take over the copy's content.
        JSONData* tmp = src.clone();
        reset();
        type = tmp->type;
        value = tmp->value;
        tmp->type = TYPE_UNDEFINED;
        tmp->value.integer = 0;
        delete tmp;
        return;
    }
    setType(src.type);
    switch (src.type) {
    case TYPE_BOOLEAN:
        value.boolean = src.value.boolean;
        break;
    case TYPE_LONG:
        value.integer = src.value.integer;
        break;
    case TYPE_DOUBLE:
        value.real = src.value.real;
        break;
    case TYPE_STRING:
        if (value.text != src.value.text) {
            *value.text = *src.value.text;
        }
        break;
    case TYPE_OBJECT: {
        // Every clone is made before anything old is released or replaced, so the source is read intact even
        // when it is this node, one of its children or one of its ancestors.
        EntryVector fresh;
        fresh.reserve(src.value.entries->size());
        for (const entry* s : *src.value.entries) {
            entry* e = new entry;
            e->key = s->key;
            e->value = s->value->clone();
            e->value->retain();
            fresh.push_back(e);
        }
        value.entries->swap(fresh);
        while (!fresh.empty()) {
            entry* e = fresh.back();
            fresh.pop_back();
            e->value->release();
            delete e;
        }
        break;
    }
    case TYPE_ARRAY: {
        ElementVector fresh;
        fresh.reserve(src.value.elements->size());
        for (const JSONData* s : *src.value.elements) {
            JSONData* c = s->clone();
            c->retain();
            fresh.push_back(c);
        }
        value.elements->swap(fresh);
        while (!fresh.empty()) {
            JSONData* c = fresh.back();
            fresh.pop_back();
            c->release();
        }
        break;
    }
    default:
        break;
    }
}

// ---- Serialising ----

void JSONData::quoteJsonString(const std::string& text, std::string& out) {
    out.push_back('"');
    escapeJsonText(text.data(), text.data() + text.size(),
                   [&out](const char* data, std::size_t length) { out.append(data, length); });
    out.push_back('"');
}

void JSONData::appendUtf8(std::string& out, unsigned codePoint) {
    if (codePoint < 0x80) {
        out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else if (codePoint < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    }
}

void JSONData::_appendStringValue(std::string& out, int precision) const {
    switch (type) {
    case TYPE_NULL:
        out.append("null");
        break;
    case TYPE_BOOLEAN:
        out.append(value.boolean ? "true" : "false");
        break;
    case TYPE_LONG: {
        char buf[24];
        std::to_chars_result r = std::to_chars(buf, buf + sizeof(buf), value.integer);
        out.append(buf, r.ptr);
        break;
    }
    case TYPE_DOUBLE: {
        size_t start = out.size();
        appendFixed(out, value.real, precision);
        if (precision > 0) {
            size_t n = out.size();
            while (n > start && out[n - 1] == '0') {
                --n;
            }
            if (n > start && out[n - 1] == '.') {
                --n;
            }
            out.resize(n);
        }
        break;
    }
    case TYPE_STRING:
        out.append(*value.text);
        break;
    default:
        break;
    }
}

void JSONData::_appendJsonScalar(std::string& out, int precision) const {
    // JSON has no text for NaN and the infinities.
    if (type == TYPE_DOUBLE && !std::isfinite(value.real)) {
        out.append("null");
    } else {
        _appendStringValue(out, precision);
    }
}

void JSONData::appendStringValue(std::string& out, int precision) const {
    _appendStringValue(out, precision);
}

void JSONData::appendJsonString(std::string& out, bool pretty, int precision, int depth) const {
    const int inner = depth + 1 < 50 ? depth + 1 : 50;
    const int outer = depth < 50 ? depth : 50;
    switch (type) {
    case TYPE_UNDEFINED:
        break;
    case TYPE_STRING:
        quoteJsonString(*value.text, out);
        break;
    case TYPE_ARRAY: {
        out.push_back('[');
        const ElementVector& v = *value.elements;
        for (size_t i = 0; i < v.size(); ++i) {
            if (i > 0) {
                out.push_back(',');
            }
            if (pretty) {
                out.push_back('\n');
                out.append(static_cast<size_t>(inner), ' ');
            }
            v[i]->appendJsonString(out, pretty, precision, depth + 1);
        }
        if (pretty) {
            out.push_back('\n');
            out.append(static_cast<size_t>(outer), ' ');
        }
        out.push_back(']');
        break;
    }
    case TYPE_OBJECT: {
        out.push_back('{');
        const EntryVector& v = *value.entries;
        for (size_t i = 0; i < v.size(); ++i) {
            if (i > 0) {
                out.push_back(',');
            }
            if (pretty) {
                out.push_back('\n');
                out.append(static_cast<size_t>(inner), ' ');
            }
            quoteJsonString(v[i]->key, out);
            out.push_back(':');
            if (pretty) {
                out.push_back(' ');
            }
            v[i]->value->appendJsonString(out, pretty, precision, depth + 1);
        }
        if (pretty) {
            out.push_back('\n');
            out.append(static_cast<size_t>(outer), ' ');
        }
        out.push_back('}');
        break;
    }
    default:
        _appendJsonScalar(out, precision);
        break;
    }
}

void JSONData::toJsonString(std::string& out, bool pretty, int precision) const {
    out.clear();
    appendJsonString(out, pretty, precision, 0);
}

void JSONData::appendStream(std::ostream& os) const {
    if (!os.good()) {
        return;
    }
    std::string text;
    switch (type) {
    case TYPE_UNDEFINED:
        break;
    case TYPE_STRING:
        quoteJsonString(*value.text, text);
        os << text;
        break;
    case TYPE_ARRAY: {
        os.put('[');
        const ElementVector& v = *value.elements;
        for (size_t i = 0; i < v.size() && os.good(); ++i) {
            if (i > 0) {
                os.put(',');
            }
            v[i]->appendStream(os);
        }
        os.put(']');
        break;
    }
    case TYPE_OBJECT: {
        os.put('{');
        const EntryVector& v = *value.entries;
        for (size_t i = 0; i < v.size() && os.good(); ++i) {
            if (i > 0) {
                os.put(',');
            }
            quoteJsonString(v[i]->key, text);
            text.push_back(':');
            os << text;
            text.clear();
            v[i]->value->appendStream(os);
        }
        os.put('}');
        break;
    }
    default:
        _appendJsonScalar(text, static_cast<int>(os.precision()));
        os << text;
        break;
    }
}

// ---- Parsing ----

template <class Source>
bool JSONData::_fetchNextType(Source& src, unsigned short& tokenType, bool& comma, bool& colon, bool& end) {
    comma = false;
    colon = false;
    end = false;
    for (;;) {
        int c = src.peek();
        while (c == '\t' || c == '\n' || c == '\r' || c == ' ') {
            src.advance();
            c = src.peek();
        }
        if (c != '/') {
            break;
        }
        src.advance();
        c = src.peek();
        if (c == '/') {
            // Line comment: up to and including the next line feed.
            src.advance();
            for (;;) {
                c = src.peek();
                if (c < 0) {
                    return false;
                }
                src.advance();
                if (c == '\n') {
                    break;
                }
            }
        } else if (c == '*') {
            // Block comment: up to and including the next "*/"; the opening asterisk does not count.
            src.advance();
            int previous = 0;
            for (;;) {
                c = src.peek();
                if (c < 0) {
                    return false;
                }
                src.advance();
                if (previous == '*' && c == '/') {
                    break;
                }
                previous = c;
            }
        } else {
            return false;
        }
    }
    switch (src.peek()) {
    case '"':
        tokenType = TYPE_STRING;
        return true;
    case '-':
    case '+':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
        tokenType = TYPE_LONG;
        return true;
    case '{':
        tokenType = TYPE_OBJECT;
        return true;
    case '}':
        tokenType = TYPE_OBJECT;
        end = true;
        return true;
    case '[':
        tokenType = TYPE_ARRAY;
        return true;
    case ']':
        tokenType = TYPE_ARRAY;
        end = true;
        return true;
    case 't':
    case 'f':
        tokenType = TYPE_BOOLEAN;
        return true;
    case 'n':
        tokenType = TYPE_NULL;
        return true;
    case ',':
        comma = true;
        return true;
    case ':':
        colon = true;
        return true;
    default:
        return false;
    }
}

template <class Source> bool JSONData::_parseString(Source& src, std::string& out) {
    out.clear();
    if (src.peek() != '"') {
        return false;
    }
    src.advance();
    // A high surrogate waits here for the low surrogate that completes the pair; whatever else follows it makes it
    // a lone surrogate, which becomes U+FFFD like a lone low surrogate.
    unsigned pendingHigh = 0;
    for (;;) {
        int c = src.peek();
        if (c < 0) {
            return false;
        }
        src.advance();
        if (c == '\\' && src.peek() == 'u') {
            src.advance();
            unsigned code = 0;
            for (int i = 0; i < 4; ++i) {
                int digit = hexValue(src.peek());
                if (digit < 0) {
                    return false;
                }
                src.advance();
                code = code * 16 + static_cast<unsigned>(digit);
            }
            const bool low = code >= 0xDC00 && code <= 0xDFFF;
            if (low && pendingHigh != 0) {
                appendUtf8(out, 0x10000 + ((pendingHigh - 0xD800) << 10) + (code - 0xDC00));
                pendingHigh = 0;
                continue;
            }
            if (pendingHigh != 0) {
                appendUtf8(out, REPLACEMENT_CHARACTER);
                pendingHigh = 0;
            }
            if (code >= 0xD800 && code <= 0xDBFF) {
                pendingHigh = code;
            } else {
                appendUtf8(out, low ? REPLACEMENT_CHARACTER : code);
            }
            continue;
        }
        if (pendingHigh != 0) {
            appendUtf8(out, REPLACEMENT_CHARACTER);
            pendingHigh = 0;
        }
        if (c == '"') {
            return true;
        }
        if (c != '\\') {
            out.push_back(static_cast<char>(c));
            continue;
        }
        c = src.peek();
        if (c < 0) {
            return false;
        }
        src.advance();
        switch (c) {
        case '"':
        case '\\':
        case '/':
            out.push_back(static_cast<char>(c));
            break;
        case 'b':
            out.push_back('\b');
            break;
        case 'f':
            out.push_back('\f');
            break;
        case 'n':
            out.push_back('\n');
            break;
        case 'r':
            out.push_back('\r');
            break;
        case 't':
            out.push_back('\t');
            break;
        default:
            out.push_back('\\');
            out.push_back(static_cast<char>(c));
            break;
        }
    }
}

template <class Source> bool JSONData::_parseNumber(Source& src) {
    // The text of the number is gathered and, unless it is an integer that fits 64 bits, converted once, correctly
    // rounded and independent of the locale.
    std::string text;
    bool negative = false;
    if (src.peek() == '-') {
        negative = true;
        text.push_back('-');
        src.advance();
    }
    if (!isDigit(src.peek())) {
        return false;
    }
    uint64_t integer = 0;
    bool fits = true;
    int c;
    while (isDigit(c = src.peek())) {
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (integer > (UINT64_MAX - digit) / 10) {
            fits = false;
        }
        integer = integer * 10 + digit;
        text.push_back(static_cast<char>(c));
        src.advance();
    }
    bool real = false;
    // Each position is peeked once: a second peek at the end of a stream would set its fail bit.
    if (c == '.') {
        // "1." is accepted as 1.0.
        real = true;
        src.advance();
        c = src.peek();
        if (isDigit(c)) {
            text.push_back('.');
        }
        for (; isDigit(c); c = src.peek()) {
            text.push_back(static_cast<char>(c));
            src.advance();
        }
    }
    if (c == 'e' || c == 'E') {
        real = true;
        src.advance();
        text.push_back('e');
        c = src.peek();
        if (c == '+' || c == '-') {
            text.push_back(static_cast<char>(c));
            src.advance();
            c = src.peek();
        }
        if (!isDigit(c)) {
            return false;
        }
        for (; isDigit(c); c = src.peek()) {
            text.push_back(static_cast<char>(c));
            src.advance();
        }
    }
    const uint64_t limit = negative ? uint64_t(INT64_MAX) + 1 : uint64_t(INT64_MAX);
    // "-0" is a double: an integer zero has no sign, and a negative zero must read back as one.
    if (!real && fits && integer <= limit && !(negative && integer == 0)) {
        setLong(static_cast<long long>(negative ? 0 - integer : integer));
    } else {
        setDouble(decimalToDouble(text.data(), text.data() + text.size()));
    }
    return true;
}

template <class Source> bool JSONData::_parseValue(Source& src, int depth) {
    unsigned short tokenType = TYPE_UNDEFINED;
    bool comma, colon, end;
    if (!_fetchNextType(src, tokenType, comma, colon, end) || comma || colon || end) {
        if (!src.exhausted()) {
            _report(Source::name(), "syntax error: missing value");
        }
        return false;
    }
    switch (tokenType) {
    case TYPE_NULL:
        if (!consumeWord(src, "null")) {
            _report(Source::name(), "syntax error: invalid null value");
            return false;
        }
        setNull();
        return true;
    case TYPE_BOOLEAN: {
        bool b = src.peek() == 't';
        if (!consumeWord(src, b ? "true" : "false")) {
            _report(Source::name(), "syntax error: invalid boolean value");
            return false;
        }
        setBoolean(b);
        return true;
    }
    case TYPE_STRING:
        setType(TYPE_STRING);
        if (!_parseString(src, *value.text)) {
            _report(Source::name(), "syntax error: invalid string");
            return false;
        }
        return true;
    case TYPE_LONG:
        if (!_parseNumber(src)) {
            _report(Source::name(), "syntax error: invalid number");
            return false;
        }
        return true;
    case TYPE_OBJECT:
        return _parseObject(src, depth + 1);
    default:
        return _parseArray(src, depth + 1);
    }
}

template <class Source> bool JSONData::_parseObject(Source& src, int depth) {
    // Each nested container costs a few stack frames; refusing absurd nesting keeps a hostile document from
    // overflowing the stack (and keeps the recursive release and serialisation of parsed trees bounded).
    if (depth > MAX_PARSE_DEPTH) {
        _report(Source::name(), "syntax error: nesting too deep");
        return false;
    }
    setType(TYPE_OBJECT);
    src.advance();
    // The comma and colon tokens leave the class of the token before them in place.
    unsigned short tokenType = TYPE_OBJECT;
    bool comma, colon, end;
    for (;;) {
        if (!_fetchNextType(src, tokenType, comma, colon, end)) {
            _report(Source::name(), "syntax error: object not closed");
            return false;
        }
        if (end) {
            if (tokenType == TYPE_OBJECT) {
                src.advance();
                return true;
            }
            _report(Source::name(), "syntax error: object not closed");
            return false;
        }
        if (tokenType != TYPE_STRING) {
            _report(Source::name(), "syntax error: object key must be a string");
            return false;
        }
        entry* e = new entry;
        if (!_parseString(src, e->key)) {
            delete e;
            _report(Source::name(), "syntax error: invalid string for object key");
            return false;
        }
        if (!_fetchNextType(src, tokenType, comma, colon, end) || !colon) {
            delete e;
            _report(Source::name(), "syntax error: object colon expected");
            return false;
        }
        src.advance();
        e->value = new JSONData();
        e->value->refCount = 1;
        if (!e->value->_parseValue(src, depth)) {
            e->value->release();
            delete e;
            return false;
        }
        if (!_fetchNextType(src, tokenType, comma, colon, end) || !(comma || (end && tokenType == TYPE_OBJECT))) {
            e->value->release();
            delete e;
            _report(Source::name(), "syntax error: object comma or end expected");
            return false;
        }
        src.advance();
        value.entries->push_back(e);
        if (end) {
            return true;
        }
    }
}

template <class Source> bool JSONData::_parseArray(Source& src, int depth) {
    if (depth > MAX_PARSE_DEPTH) {
        _report(Source::name(), "syntax error: nesting too deep");
        return false;
    }
    setType(TYPE_ARRAY);
    src.advance();
    unsigned short tokenType = TYPE_ARRAY;
    bool comma, colon, end;
    for (;;) {
        if (!_fetchNextType(src, tokenType, comma, colon, end)) {
            _report(Source::name(), "syntax error: array not closed");
            return false;
        }
        if (end) {
            if (tokenType == TYPE_ARRAY) {
                src.advance();
                return true;
            }
            _report(Source::name(), "syntax error: array not closed");
            return false;
        }
        JSONData* child = new JSONData();
        child->refCount = 1;
        if (!child->_parseValue(src, depth)) {
            child->release();
            return false;
        }
        if (!_fetchNextType(src, tokenType, comma, colon, end) || !(comma || (end && tokenType == TYPE_ARRAY))) {
            child->release();
            _report(Source::name(), "syntax error: array comma or end expected");
            return false;
        }
        src.advance();
        value.elements->push_back(child);
        if (end) {
            return true;
        }
    }
}

bool JSONData::setFromJsonString(const char*& p) {
    if (!p) {
        return false;
    }
    TextSource src{p};
    return _parseValue(src, 0);
}

bool JSONData::setFromJsonStlString(const std::string& text) {
    const char* p = text.c_str();
    return setFromJsonString(p);
}

bool JSONData::setFromStream(std::istream& in) {
    StreamSource src{in};
    return _parseValue(src, 0);
}

bool JSONData::fetchNextType(const char*& p, unsigned short& tokenType, bool& comma, bool& colon, bool& end) {
    if (!p) {
        comma = colon = end = false;
        return false;
    }
    TextSource src{p};
    return _fetchNextType(src, tokenType, comma, colon, end);
}

bool JSONData::fetchNextType(std::istream& in, unsigned short& tokenType, bool& comma, bool& colon, bool& end) {
    StreamSource src{in};
    return _fetchNextType(src, tokenType, comma, colon, end);
}

bool JSONData::parseJsonString(const char*& p, std::string& out) {
    if (!p) {
        out.clear();
        return false;
    }
    TextSource src{p};
    return _parseString(src, out);
}

bool JSONData::parseJsonString(std::istream& in, std::string& out) {
    StreamSource src{in};
    return _parseString(src, out);
}

bool JSONData::parseJsonNumberIntoSelf(const char*& p) {
    if (!p) {
        return false;
    }
    TextSource src{p};
    return _parseNumber(src);
}

bool JSONData::parseJsonNumberIntoSelf(std::istream& in) {
    StreamSource src{in};
    return _parseNumber(src);
}

} // namespace kestrel
