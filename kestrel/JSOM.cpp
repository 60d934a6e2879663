#include "kestrel/JSOM.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <ostream>
#include <sys/stat.h>

namespace kestrel {

const JSOM JSOM::BLANK;
JSOM JSOM::JERROR{JSOM::NullTag()};
const std::string JSOM::EMPTY_STRING;
int JSOM::defaultPrecision = 4;

namespace {

/// "-?[0-9]+" and nothing else; the value wraps around beyond 64 bits.
bool textToLong(const std::string& text, long long& result) {
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && text[i] == '-') {
        negative = true;
        ++i;
    }
    if (i == text.size()) {
        return false;
    }
    uint64_t value = 0;
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<uint64_t>(c - '0');
    }
    result = static_cast<long long>(negative ? 0 - value : value);
    return true;
}

/// "-?[0-9]+(\.[0-9]*)?" and nothing else.
bool textToDouble(const std::string& text, long double& result) {
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && text[i] == '-') {
        negative = true;
        ++i;
    }
    size_t digitsStart = i;
    long double value = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
        value = value * 10 + (text[i] - '0');
        ++i;
    }
    if (i == digitsStart) {
        return false;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        long double place = 1;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            place *= 10;
            value += (text[i] - '0') / place;
            ++i;
        }
    }
    if (i != text.size()) {
        return false;
    }
    result = negative ? -value : value;
    return true;
}

/// The words taken as booleans, in any letter case; false when the text is none of them.
bool textToBoolean(const std::string& text, bool& result) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    static const char* const TRUE_WORDS[] = {"t", "y", "1", "on", "yes", "true"};
    static const char* const FALSE_WORDS[] = {"f", "n", "0", "off"};
    for (const char* w : TRUE_WORDS) {
        if (lower == w) {
            result = true;
            return true;
        }
    }
    for (const char* w : FALSE_WORDS) {
        if (lower == w) {
            result = false;
            return true;
        }
    }
    return false;
}

} // namespace

// ---- Construction and lifetime ----

JSOM::JSOM(const JSOM& other) : parent(other.parent), infoKind(other.infoKind), info(other.info) {
    if (parent) {
        parent->retain();
    }
    if (infoKind == INFO_NODE) {
        info.node->retain();
    }
}

JSOM::JSOM(JSONData* node) {
    if (node) {
        infoKind = INFO_NODE;
        info.node = node;
        node->retain();
    } else {
        infoKind = INFO_NULL;
    }
}

JSOM::JSOM(JSONData* node, JSONData* parentNode) : JSOM(node) {
    parent = parentNode;
    if (parent) {
        parent->retain();
    }
}

JSOM::JSOM(JSONData* parentNode, int index) : parent(parentNode), infoKind(INFO_INDEX) {
    info.index = index;
    if (parent) {
        parent->retain();
    }
}

JSOM::JSOM(JSONData* parentNode, const char* key) : parent(parentNode), infoKind(INFO_KEY_TEXT) {
    info.keyText = key;
    if (parent) {
        parent->retain();
    }
}

JSOM::JSOM(JSONData* parentNode, const std::string& key) : parent(parentNode), infoKind(INFO_KEY_STRING) {
    info.keyString = &key;
    if (parent) {
        parent->retain();
    }
}

JSOM::~JSOM() {
    if (infoKind == INFO_NODE) {
        info.node->release();
    }
    if (parent) {
        parent->release();
    }
}

JSOM& JSOM::operator=(const JSOM& src) {
    if (&src == this || src.infoKind != INFO_NODE) {
        return *this;
    }
    if (!makeInfoNode("operator=()")) {
        return JERROR;
    }
    info.node->copy(*src.info.node);
    return *this;
}

bool JSOM::operator==(const JSOM& other) const {
    if (infoKind != other.infoKind || parent != other.parent) {
        return false;
    }
    switch (infoKind) {
    case INFO_NODE:
        return info.node == other.info.node;
    case INFO_KEY_TEXT:
        return info.keyText == other.info.keyText;
    case INFO_KEY_STRING:
        return info.keyString == other.info.keyString;
    case INFO_INDEX:
        return info.index == other.info.index;
    default:
        return true;
    }
}

void JSOM::_report(const char* name, const char* problem) {
    fprintf(stderr, "JSOM::%s: %s\n", name, problem);
}

bool JSOM::makeInfoNode(const char* name) const {
    if (infoKind == INFO_NODE) {
        return true;
    }
    if (infoKind == INFO_NULL) {
        _report(name, parent ? "internal error, no info" : "null reference error");
        return false;
    }
    JSONData* node = new JSONData();
    node->retain();
    if (parent) {
        if (infoKind == INFO_KEY_TEXT) {
            parent->setByKey(info.keyText, node);
        } else if (infoKind == INFO_KEY_STRING) {
            parent->setByKey(*info.keyString, node);
        } else {
            parent->setByIndex(info.index, node);
        }
    }
    infoKind = INFO_NODE;
    info.node = node;
    return true;
}

// ---- Navigation ----

JSOM JSOM::_navigate(int index, const char* name) const {
    if (infoKind != INFO_NODE) {
        if (!makeInfoNode(name)) {
            return JERROR;
        }
        info.node->setArray();
    }
    JSONData* node = info.node;
    int n = node->length();
    if (index == -1 || index == n) {
        return JSOM(node, n);
    }
    if (index >= 0 && index < n) {
        return JSOM(node->getByIndex(index), node);
    }
    _report(name, "index out of bounds");
    return JERROR;
}

JSOM JSOM::_navigate(const char* key, const std::string* keyString, const char* name) const {
    if (infoKind != INFO_NODE) {
        if (!makeInfoNode(name)) {
            return JERROR;
        }
        info.node->setObject();
    }
    JSONData* node = info.node;
    JSONData* child = keyString ? node->getByKey(*keyString) : node->getByKey(key);
    if (child) {
        return JSOM(child, node);
    }
    return keyString ? JSOM(node, *keyString) : JSOM(node, key);
}

JSOM JSOM::operator[](int index) const {
    return _navigate(index, "operator[](int32_t)");
}

JSOM JSOM::at(int index) const {
    return _navigate(index, "at(int32_t)");
}

JSOM JSOM::operator[](const char* key) const {
    if (!key) {
        _report("operator[](char *)", "null key pointer");
        return JERROR;
    }
    return _navigate(key, nullptr, "operator[](char *)");
}

JSOM JSOM::at(const char* key) const {
    if (!key) {
        _report("at(char *)", "null key pointer");
        return JERROR;
    }
    return _navigate(key, nullptr, "at(char *)");
}

JSOM JSOM::operator[](const std::string& key) const {
    return _navigate(nullptr, &key, "operator[](string &)");
}

JSOM JSOM::at(const std::string& key) const {
    return _navigate(nullptr, &key, "at(string &)");
}

// ---- Reading ----

long long JSOM::longValue(long long def) const {
    if (infoKind != INFO_NODE) {
        return def;
    }
    JSONData* node = info.node;
    switch (node->getType()) {
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
    case JSONData::TYPE_BOOLEAN:
        return node->longValue();
    case JSONData::TYPE_STRING: {
        long long value;
        if (!textToLong(*node->stringValue(), value)) {
            return def;
        }
        node->setLong(value);
        return value;
    }
    default:
        return def;
    }
}

long double JSOM::doubleValue(long double def) const {
    if (infoKind != INFO_NODE) {
        return def;
    }
    JSONData* node = info.node;
    switch (node->getType()) {
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
    case JSONData::TYPE_BOOLEAN:
        return node->doubleValue();
    case JSONData::TYPE_STRING: {
        long double value;
        if (!textToDouble(*node->stringValue(), value)) {
            return def;
        }
        node->setDouble(value);
        return node->doubleValue();
    }
    default:
        return def;
    }
}

bool JSOM::booleanValue(bool def) const {
    if (infoKind != INFO_NODE) {
        return def;
    }
    JSONData* node = info.node;
    switch (node->getType()) {
    case JSONData::TYPE_BOOLEAN:
        return node->booleanValue();
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
        return node->longValue() != 0;
    case JSONData::TYPE_STRING: {
        bool value;
        if (!textToBoolean(*node->stringValue(), value)) {
            return def;
        }
        node->setBoolean(value);
        return value;
    }
    default:
        return def;
    }
}

const std::string& JSOM::stringValue(const std::string& def) const {
    if (infoKind != INFO_NODE) {
        return def;
    }
    JSONData* node = info.node;
    switch (node->getType()) {
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
    case JSONData::TYPE_BOOLEAN: {
        std::string text;
        node->appendStringValue(text, defaultPrecision);
        node->setString(text);
        return *node->stringValue();
    }
    case JSONData::TYPE_STRING:
        return *node->stringValue();
    default:
        return def;
    }
}

const char* JSOM::stringValuePtr(const char* def) const {
    if (infoKind != INFO_NODE) {
        return def;
    }
    switch (info.node->getType()) {
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
    case JSONData::TYPE_BOOLEAN:
    case JSONData::TYPE_STRING:
        return stringValue(EMPTY_STRING).c_str();
    default:
        return def;
    }
}

const std::string* JSOM::key(int i) const {
    return infoKind == INFO_NODE ? info.node->getKeyAtIndex(i) : nullptr;
}

int JSOM::size() const {
    return infoKind == INFO_NODE ? info.node->length() : 0;
}

// ---- Writing ----

JSOM& JSOM::setLong(long long value) {
    if (makeInfoNode("setLong()")) {
        info.node->setLong(value);
    }
    return *this;
}

JSOM& JSOM::setDouble(long double value) {
    if (makeInfoNode("setDouble()")) {
        info.node->setDouble(value);
    }
    return *this;
}

JSOM& JSOM::setBoolean(bool value) {
    if (makeInfoNode("setBoolean()")) {
        info.node->setBoolean(value);
    }
    return *this;
}

JSOM& JSOM::setString(const char* text) {
    if (makeInfoNode("setString(char *)")) {
        if (text) {
            info.node->setString(text);
        } else {
            info.node->setNull();
        }
    }
    return *this;
}

JSOM& JSOM::setString(const std::string& text) {
    if (makeInfoNode("setString(string &)")) {
        info.node->setString(text);
    }
    return *this;
}

JSOM& JSOM::copy(const JSOM& src) {
    if (makeInfoNode("copy()")) {
        if (src.infoKind == INFO_NODE) {
            info.node->copy(*src.info.node);
        } else {
            info.node->setBoolean(false);
        }
    }
    return *this;
}

JSOM& JSOM::clear() {
    if (infoKind == INFO_NODE) {
        info.node->clear();
    }
    return *this;
}

JSOM& JSOM::erase(int index) {
    if (infoKind == INFO_NODE) {
        info.node->erase(index);
    }
    return *this;
}

JSOM& JSOM::erase(const char* key) {
    if (infoKind == INFO_NODE) {
        info.node->erase(key);
    }
    return *this;
}

JSOM& JSOM::erase(const std::string& key) {
    if (infoKind == INFO_NODE) {
        info.node->erase(key);
    }
    return *this;
}

// ---- Loading and saving ----

JSOM& JSOM::fromString(const std::string& text) {
    return fromString(text.c_str());
}

JSOM& JSOM::fromString(const char* text) {
    if (!text || !makeInfoNode("fromString()")) {
        return JERROR;
    }
    return info.node->setFromJsonString(text) ? *this : JERROR;
}

JSOM& JSOM::fromFile(const char* path) {
    FILE* file = path ? fopen(path, "rb") : nullptr;
    if (!file) {
        std::string problem = "could not open file '";
        problem += path ? path : "(null)";
        problem += "'";
        _report("fromFile()", problem.c_str());
        return JERROR;
    }
    // A directory opens and measures as a huge file on Linux; it cannot be read as a document.
    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
        _report("fromFile()", "could not read file");
        fclose(file);
        return JERROR;
    }
    long size = -1;
    if (fseek(file, 0, SEEK_END) == 0) {
        size = ftell(file);
    }
    if (size <= 0 || fseek(file, 0, SEEK_SET) != 0) {
        // Empty, unseekable or unmeasurable: nothing can be read as one block.
        _report("fromFile()", "could not read file");
        fclose(file);
        return JERROR;
    }
    char* buffer = static_cast<char*>(malloc(static_cast<size_t>(size) + 1));
    if (!buffer) {
        _report("fromFile()", "could not allocate memory");
        fclose(file);
        return JERROR;
    }
    size_t got = fread(buffer, 1, static_cast<size_t>(size), file);
    fclose(file);
    if (got == 0) {
        _report("fromFile()", "could not read file");
        free(buffer);
        return JERROR;
    }
    buffer[got] = '\0';
    JSOM& result = fromString(buffer);
    free(buffer);
    return result;
}

std::istream& JSOM::fromStream(std::istream& in) {
    if (in.fail()) {
        return in;
    }
    if (!makeInfoNode("fromStream()") || !info.node->setFromStream(in)) {
        in.setstate(std::ios::failbit);
    }
    return in;
}

std::string& JSOM::toString(std::string& out, int precision) const {
    if (infoKind == INFO_NODE) {
        info.node->appendJsonString(out, true, precision, 0);
    }
    return out;
}

std::string& JSOM::toCompactString(std::string& out, int precision) const {
    if (infoKind == INFO_NODE) {
        info.node->appendJsonString(out, false, precision, 0);
    }
    return out;
}

namespace {

bool writeTextFile(const char* path, const std::string& text) {
    FILE* file = path ? fopen(path, "w") : nullptr;
    if (!file) {
        return false;
    }
    fwrite(text.data(), 1, text.size(), file);
    fclose(file);
    return true;
}

} // namespace

bool JSOM::toFile(const char* path, int precision) const {
    std::string text;
    if (!writeTextFile(path, toString(text, precision))) {
        _report("toFile()", "could not write file");
        return false;
    }
    return true;
}

bool JSOM::toCompactFile(const char* path, int precision) const {
    std::string text;
    return writeTextFile(path, toCompactString(text, precision));
}

std::ostream& JSOM::toStream(std::ostream& os) const {
    if (infoKind == INFO_NODE) {
        info.node->appendStream(os);
    }
    return os;
}

// ---- Value expansion ----

void JSOM::expandValues() {
    if (isString()) {
        _expandString(*this);
    } else if (isObject() || isArray()) {
        _expandValues(*this);
    }
}

void JSOM::_expandValues(JSOM& handle) {
    for (int i = 0; i < handle.size(); ++i) {
        JSOM child = handle[i];
        if (child.isObject() || child.isArray()) {
            _expandValues(child);
        } else if (child.isString()) {
            _expandString(child);
        }
    }
}

void JSOM::_expandString(JSOM& handle) {
    const std::string& text = *handle.info.node->stringValue();
    std::string result;
    std::string name;
    bool inReference = false;
    bool changed = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (!inReference) {
            if (c == '$' && i + 1 < text.size() && text[i + 1] == '{') {
                inReference = true;
                name.clear();
                ++i;
            } else {
                result.push_back(c);
            }
        } else if (c != '}') {
            name.push_back(c);
        } else {
            inReference = false;
            const char* value = name.empty() ? nullptr : getenv(name.c_str());
            if (value) {
                result += value;
                changed = true;
            } else {
                result += "${";
                result += name;
                result += '}';
            }
        }
    }
    if (inReference) {
        result += "${";
        result += name;
    }
    if (changed) {
        handle.info.node->setString(result);
    }
}

} // namespace kestrel
