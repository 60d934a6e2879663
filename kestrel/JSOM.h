#ifndef KESTREL_JSOM_H
#define KESTREL_JSOM_H

#include "kestrel/JSONData.h"

#include <iosfwd>
#include <string>

namespace kestrel {

/**
 * A handle on one place in a JSON document, passed and returned by value.
 *
 * The place is either an existing node (resolved) or a member or element that does not exist yet (pending).
 * Reading a pending place yields the caller's default and creates nothing; writing through it creates the node
 * there. Navigation never throws: misuse is reported as one line on standard error and yields a copy of JERROR,
 * which reads as empty and refuses writes.
 *
 * Assignment copies the source's value into the tree at this handle's place; it never re-points the handle.
 * Pending handles keep the address of their key, so the key text must outlive the handle.
 */
class JSOM {
public:
    enum {
        INFO_UNSET = 0,      ///< a default handle: no parent, no node yet
        INFO_NODE = 1,       ///< resolved on a node
        INFO_KEY_TEXT = 2,   ///< pending: the member named by a C string
        INFO_KEY_STRING = 3, ///< pending: the member named by a std::string
        INFO_INDEX = 4,      ///< pending: the element at an index
        INFO_NULL = 5        ///< null reference: no node and none can be made
    };

    static const JSOM BLANK;
    static JSOM JERROR;
    static const std::string EMPTY_STRING;
    /// Decimals used when a double is turned into text by stringValue() and stringValuePtr().
    static int defaultPrecision;

    JSOM() = default;
    JSOM(const JSOM& other);
    explicit JSOM(JSONData* node);
    JSOM(JSONData* node, JSONData* parent);
    JSOM(JSONData* parent, int index);
    JSOM(JSONData* parent, const char* key);
    JSOM(JSONData* parent, const std::string& key);
    ~JSOM();

    /// Copies the source's value into this handle's place (see the class comment).
    JSOM& operator=(const JSOM& src);
    /// True when both handles denote the same place: `h == JSOM::JERROR` tells a failed result.
    bool operator==(const JSOM& other) const;
    bool operator!=(const JSOM& other) const { return !(*this == other); }

    // Navigation. An unresolved handle gets its node first, so these are usable on const handles too.
    JSOM operator[](int index) const;
    JSOM operator[](const char* key) const;
    JSOM operator[](const std::string& key) const;
    JSOM at(int index) const;
    JSOM at(const char* key) const;
    JSOM at(const std::string& key) const;

    // Typed reading; a text is converted and stored back into the node when it fits the asked type.
    long long longValue(long long def) const;
    long double doubleValue(long double def) const;
    bool booleanValue(bool def) const;
    const std::string& stringValue(const std::string& def) const;
    const char* stringValuePtr(const char* def) const;
    bool isNull() const { return _typeIs(JSONData::TYPE_NULL); }
    bool isBoolean() const { return _typeIs(JSONData::TYPE_BOOLEAN); }
    bool isNumber() const { return _typeIs(JSONData::TYPE_LONG) || _typeIs(JSONData::TYPE_DOUBLE); }
    bool isString() const { return _typeIs(JSONData::TYPE_STRING); }
    bool isObject() const { return _typeIs(JSONData::TYPE_OBJECT); }
    bool isArray() const { return _typeIs(JSONData::TYPE_ARRAY); }
    bool isResolved() const { return infoKind == INFO_NODE; }
    /// True for JERROR and its copies.
    bool isError() const { return infoKind == INFO_NULL; }
    const std::string* key(int i) const;
    int size() const;
    /// The node of a resolved handle, else null. No reference is taken for the caller.
    JSONData* node() const { return infoKind == INFO_NODE ? info.node : nullptr; }

    // Writing; an unresolved handle first gets its node.
    JSOM& setLong(long long value);
    JSOM& setDouble(long double value);
    JSOM& setBoolean(bool value);
    JSOM& setString(const char* text);
    JSOM& setString(const std::string& text);
    JSOM& copy(const JSOM& src);
    JSOM& clear();
    JSOM& erase(int index);
    JSOM& erase(const char* key);
    JSOM& erase(const std::string& key);

    // Loading and saving.
    JSOM& fromString(const std::string& text);
    JSOM& fromString(const char* text);
    JSOM& fromFile(const char* path);
    std::istream& fromStream(std::istream& in);
    std::string& toString(std::string& out, int precision) const;
    std::string& toCompactString(std::string& out, int precision) const;
    bool toFile(const char* path, int precision) const;
    bool toCompactFile(const char* path, int precision) const;
    std::ostream& toStream(std::ostream& os) const;

    /// Replaces references of the form ${NAME} in every string value below this handle by the value of the
    /// environment variable NAME.
    void expandValues();

private:
    struct NullTag {};
    constexpr explicit JSOM(NullTag) : infoKind(INFO_NULL) {}

    bool makeInfoNode(const char* name) const;
    JSOM _navigate(int index, const char* name) const;
    JSOM _navigate(const char* key, const std::string* keyString, const char* name) const;
    bool _typeIs(int type) const { return infoKind == INFO_NODE && info.node->getType() == type; }
    static void _report(const char* name, const char* problem);
    static void _expandValues(JSOM& handle);
    static void _expandString(JSOM& handle);

    // Resolving a pending handle changes these, also through navigation on a const handle.
    mutable JSONData* parent = nullptr;
    mutable int infoKind = INFO_UNSET;
    mutable union Info {
        JSONData* node;
        const char* keyText;
        const std::string* keyString;
        int index;
    } info{};
};

} // namespace kestrel

#endif
