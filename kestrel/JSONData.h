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
    // Hands the characters from p to end to sink(const char* data, std::size_t length) with the JSON escapes
    // applied: unescaped runs are passed whole, each escaped character as its two-character escape.
    template <class Sink> static void escapeJsonText(const char* p, const char* end, Sink&& sink);
    void appendStringValue(std::string& out, int precision) const;
    void appendJsonString(std::string& out, bool pretty, int precision, int depth) const;
    void toJsonString(std::string& out, bool pretty, int precision) const;
    void appendStream(std::ostream& os) const;

    // Parsing. The text forms read up to a NUL character; the read position is left just after the value.
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

template <class Sink> void JSONData::escapeJsonText(const char* p, const char* end, Sink&& sink) {
    const char* run = p;
    for (; p < end; ++p) {
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
        sink(run, static_cast<std::size_t>(p - run));
        sink(rep, std::size_t(2));
        run = p + 1;
    }
    sink(run, static_cast<std::size_t>(end - run));
}

} // namespace kestrel

#endif
