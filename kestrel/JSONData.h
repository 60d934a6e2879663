#ifndef KESTREL_JSONDATA_H
#define KESTREL_JSONDATA_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace kestrel {

/**
 * One reference-counted node of an in-memory JSON document.
 *
 * A node holds one value of one of eight types. Objects keep their members in insertion order and may hold the
 * same key more than once; every lookup, replacement and removal by key acts on the last entry with that key.
 * Container slots and document handles each hold one reference; the node frees itself when the last reference
 * is released. Nodes are always created with new and never copied by value.
 */
class JSONData {
public:
    enum {
        TYPE_UNDEFINED = 0,
        TYPE_NULL = 1,
        TYPE_BOOLEAN = 2,
        TYPE_OBJECT = 3,
        TYPE_ARRAY = 4,
        TYPE_STRING = 5,
        TYPE_LONG = 6,
        TYPE_DOUBLE = 7
    };

    /// Containers nested deeper than this are refused by the parsers, so hostile input cannot exhaust the stack.
    static const int MAX_PARSE_DEPTH = 512;

    /// One member of an object: an owned key and a value holding one reference.
    struct entry {
        std::string key;
        JSONData* value = nullptr;
    };

    JSONData() = default;
    ~JSONData();
    JSONData(const JSONData&) = delete;
    JSONData& operator=(const JSONData&) = delete;

    // Reference counting. A count that reaches 65535 stays there (the node is then never freed) rather than
    // wrapping around and freeing a node that is still in use.
    void retain();
    /// Drops one reference; frees the node when none is left (also when it had none, as a fresh clone).
    void release();
    unsigned getRefCount() const { return refCount; }

    // Type and content.
    int getType() const { return type; }
    void setType(int code);
    void reset();
    void clear();
    void setNull() { setType(TYPE_NULL); }
    void setObject() { setType(TYPE_OBJECT); }
    void setArray() { setType(TYPE_ARRAY); }
    void setBoolean(bool value);
    void setLong(long long value);
    void setDouble(long double value);
    void setString(const std::string& text);
    void setString(const char* text);

    // Reading.
    int length() const;
    JSONData* getByIndex(int i) const;
    JSONData* getByKey(const std::string& key) const;
    JSONData* getByKey(const char* key) const;
    const std::string* getKeyAtIndex(int i) const;
    const std::string* stringValue() const;
    bool booleanValue() const;
    long long longValue() const;
    long double doubleValue() const;

    // Building and changing containers.
    void setByKey(const std::string& key, JSONData* value);
    void setByKey(const char* key, JSONData* value);
    void setByIndex(int index, JSONData* value);
    void erase(int index);
    void erase(const char* key);
    void erase(const std::string& key);
    JSONData* clone() const;
    void copy(const JSONData& src);

    // Serialising.
    static void quoteJsonString(const std::string& text, std::string& out);
    // Hands the bytes from p to end to sink(const char* data, std::size_t length) as the contents of a strict JSON
    // string in UTF-8: runs that need no change are passed whole; the double quote, the backslash and every
    // control character are escaped (\b, \t, \n, \f, \r where they exist, \u00XX otherwise); bytes that are not
    // UTF-8 are replaced by U+FFFD, one for each maximal ill-formed part of a sequence.
    template <class Sink> static void escapeJsonText(const char* p, const char* end, Sink&& sink);
    // The well-formed UTF-8 sequence at text (text < end): its length in bytes; or, when there is none, minus the
    // number of bytes of its longest ill-formed start (at least one), which stand for one replacement character.
    static int utf8Sequence(const char* text, const char* end);
    // Appends a code point (at most U+10FFFF, no surrogate) in UTF-8.
    static void appendUtf8(std::string& out, unsigned codePoint);
    void appendStringValue(std::string& out, int precision) const;
    void appendJsonString(std::string& out, bool pretty, int precision, int depth) const;
    void toJsonString(std::string& out, bool pretty, int precision) const;
    void appendStream(std::ostream& os) const;

    // Parsing. The text forms read up to a NUL character; the read position is left just after the value.
    // \uXXXX escapes are decoded to UTF-8 (surrogate pairs joined, a lone surrogate read as U+FFFD); numbers may
    // have an exponent and are read correctly rounded: an integer that fits 64 bits as a long, anything else as
    // the nearest double.
    bool setFromJsonString(const char*& p);
    bool setFromJsonStlString(const std::string& text);
    bool setFromStream(std::istream& in);
    static bool fetchNextType(const char*& p, unsigned short& type, bool& comma, bool& colon, bool& end);
    static bool fetchNextType(std::istream& in, unsigned short& type, bool& comma, bool& colon, bool& end);
    static bool parseJsonString(const char*& p, std::string& out);
    static bool parseJsonString(std::istream& in, std::string& out);
    bool parseJsonNumberIntoSelf(const char*& p);
    bool parseJsonNumberIntoSelf(std::istream& in);

private:
    typedef std::vector<entry*> EntryVector;
    typedef std::vector<JSONData*> ElementVector;

    int _findKey(const char* key, size_t keyLength) const;
    void _setByKey(const char* key, size_t keyLength, JSONData* value);
    void _eraseKey(const char* key, size_t keyLength);
    void _appendStringValue(std::string& out, int precision) const;
    // A scalar as a JSON token: its string value, but null for a double that is not finite.
    void _appendJsonScalar(std::string& out, int precision) const;
    static void _report(const char* operation, const char* problem);

    // The parser works on a small character source; one source type reads a NUL-terminated buffer, one a stream.
    template <class Source>
    static bool _fetchNextType(Source& src, unsigned short& type, bool& comma, bool& colon, bool& end);
    template <class Source> static bool _parseString(Source& src, std::string& out);
    template <class Source> bool _parseNumber(Source& src);
    template <class Source> bool _parseValue(Source& src, int depth);
    template <class Source> bool _parseObject(Source& src, int depth);
    template <class Source> bool _parseArray(Source& src, int depth);

    uint16_t type = TYPE_UNDEFINED;
    uint16_t refCount = 0;
    union {
        long long integer;
        bool boolean;
        double real;
        std::string* text;
        EntryVector* entries;
        ElementVector* elements;
    } value{};
};

inline int JSONData::utf8Sequence(const char* text, const char* end) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    const std::ptrdiff_t available = end - text;
    const unsigned lead = p[0];
    if (lead < 0x80) {
        return 1;
    }
    // Continuation bytes are 0x80 to 0xBF; the second byte's range is narrower after some leads, which excludes
    // overlong forms, surrogates and code points above U+10FFFF.
    int continuations;
    unsigned low = 0x80;
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        continuations = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        continuations = 2;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        continuations = 3;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return -1;
    }
    for (int i = 1; i <= continuations; ++i) {
        if (i >= available || p[i] < low || p[i] > high) {
            return -i;
        }
        low = 0x80;
        high = 0xBF;
    }
    return continuations + 1;
}

template <class Sink> void JSONData::escapeJsonText(const char* p, const char* end, Sink&& sink) {
    static const char HEX[] = "0123456789abcdef";
    const char* run = p;
    while (p < end) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
            ++p;
            continue;
        }
        if (c >= 0x80) {
            const int n = utf8Sequence(p, end);
            if (n > 0) {
                p += n;
                continue;
            }
            // Not UTF-8: the longest start of a sequence that went wrong becomes one replacement character.
            sink(run, static_cast<std::size_t>(p - run));
            sink("\xEF\xBF\xBD", std::size_t(3));
            p += -n;
            run = p;
            continue;
        }
        char escape[6] = {'\\', 0, 0, 0, 0, 0};
        std::size_t length = 2;
        switch (c) {
        case '\b':
            escape[1] = 'b';
            break;
        case '\t':
            escape[1] = 't';
            break;
        case '\n':
            escape[1] = 'n';
            break;
        case '\f':
            escape[1] = 'f';
            break;
        case '\r':
            escape[1] = 'r';
            break;
        case '"':
        case '\\':
            escape[1] = static_cast<char>(c);
            break;
        default:
            escape[1] = 'u';
            escape[2] = '0';
            escape[3] = '0';
            escape[4] = HEX[c >> 4];
            escape[5] = HEX[c & 0xF];
            length = 6;
            break;
        }
        sink(run, static_cast<std::size_t>(p - run));
        sink(static_cast<const char*>(escape), length);
        ++p;
        run = p;
    }
    sink(run, static_cast<std::size_t>(end - run));
}

} // namespace kestrel

#endif
