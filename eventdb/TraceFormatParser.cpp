#include "eventdb/TraceFormatParser.h"

#include <cstring>
#include <stdexcept>
#include <unordered_set>
#include <utility>
#include <vector>

namespace eventdb {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool isIdentifierChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string trim(const std::string& text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && isSpace(text[begin])) {
        ++begin;
    }
    while (end > begin && isSpace(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

bool isPrintable(const std::string& text) {
    for (char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e) {
            return false;
        }
    }
    return true;
}

std::runtime_error lineError(int line, const std::string& problem) {
    return std::runtime_error("line " + std::to_string(line) + ": " + problem);
}

} // namespace

bool TraceFormatParser::isFormatText(const char* text, size_t length) {
    return text != nullptr && length >= 5 && std::memcmp(text, "name:", 5) == 0;
}

bool TraceFormatParser::isValidName(const std::string& name) {
    if (name.empty()) {
        return false;
    }
    for (char c : name) {
        if (!isIdentifierChar(c) && c != '-' && c != '.') {
            return false;
        }
    }
    return true;
}

TraceEventFormat TraceFormatParser::parse(const char* text, size_t length) {
    if (!isFormatText(text, length)) {
        throw std::runtime_error("not a trace point format text (it does not begin with \"name:\")");
    }
    enum { EXPECT_NAME, EXPECT_ID, EXPECT_FORMAT, IN_FIELDS } stage = EXPECT_NAME;
    TraceEventFormat format;
    std::unordered_set<std::string> fieldNames;
    size_t position = 0;
    int lineNumber = 0;
    while (position < length) {
        const char* lineStart = text + position;
        const void* newline = std::memchr(lineStart, '\n', length - position);
        size_t lineLength = newline ? static_cast<const char*>(newline) - lineStart : length - position;
        position += lineLength + 1;
        ++lineNumber;
        std::string line = trim(std::string(lineStart, lineLength));
        if (line.empty()) {
            continue;
        }
        if (startsWith(line, "print fmt:")) {
            break;
        }
        switch (stage) {
        case EXPECT_NAME:
            format.name = trim(line.substr(5));
            if (!isValidName(format.name)) {
                throw lineError(lineNumber, "invalid trace point name");
            }
            stage = EXPECT_ID;
            break;
        case EXPECT_ID:
            if (!startsWith(line, "ID:")) {
                throw lineError(lineNumber, "expected \"ID:\"");
            }
            try {
                format.id = _parseNumber(trim(line.substr(3)), "ID");
            } catch (const std::runtime_error& e) {
                throw lineError(lineNumber, e.what());
            }
            stage = EXPECT_FORMAT;
            break;
        case EXPECT_FORMAT:
            if (line != "format:") {
                throw lineError(lineNumber, "expected \"format:\"");
            }
            stage = IN_FIELDS;
            break;
        case IN_FIELDS:
            if (!startsWith(line, "field:")) {
                throw lineError(lineNumber, "expected a \"field:\" line");
            }
            try {
                TraceEventFormat::Field field = _parseField(line.substr(6));
                if (!fieldNames.insert(field.name).second) {
                    throw std::runtime_error("field " + field.name + " appears twice");
                }
                format.fields.push_back(field);
            } catch (const std::runtime_error& e) {
                throw lineError(lineNumber, e.what());
            }
            break;
        }
    }
    if (stage != IN_FIELDS) {
        throw std::runtime_error(stage == EXPECT_ID ? "no \"ID:\" line" : "no \"format:\" line");
    }
    return format;
}

TraceEventFormat::Field TraceFormatParser::_parseField(const std::string& body) {
    // body: "<declaration>;\toffset:N;\tsize:N;\tsigned:N;"
    TraceEventFormat::Field field;
    size_t end = body.find(';');
    if (end == std::string::npos) {
        throw std::runtime_error("field declaration without ';'");
    }
    _parseDeclaration(trim(body.substr(0, end)), field);
    bool haveOffset = false;
    bool haveSize = false;
    bool haveSigned = false;
    while (end < body.size()) {
        size_t start = end + 1;
        end = body.find(';', start);
        if (end == std::string::npos) {
            end = body.size();
        }
        std::string item = trim(body.substr(start, end - start));
        if (item.empty()) {
            continue;
        }
        size_t colon = item.find(':');
        if (colon == std::string::npos) {
            throw std::runtime_error("field " + field.name + ": \"" + item + "\" is not of the form key:value");
        }
        std::string key = trim(item.substr(0, colon));
        std::string value = trim(item.substr(colon + 1));
        if (key == "offset") {
            field.offset = _parseNumber(value, "offset");
            haveOffset = true;
        } else if (key == "size") {
            field.size = _parseNumber(value, "size");
            haveSize = true;
        } else if (key == "signed") {
            if (value != "0" && value != "1") {
                throw std::runtime_error("field " + field.name + ": signed must be 0 or 1");
            }
            field.isSigned = value == "1";
            haveSigned = true;
        }
        // Other keys are additions of newer kernels that nothing here needs.
    }
    if (!haveOffset || !haveSize) {
        throw std::runtime_error("field " + field.name + " lacks " + (haveOffset ? "size" : "offset"));
    }
    if (!haveSigned) {
        // Kernels before the signed attribute: tell it from the type.
        field.isSigned = _guessSigned(field.type);
    }
    return field;
}

void TraceFormatParser::_parseDeclaration(const std::string& declaration, TraceEventFormat::Field& field) {
    if (!isPrintable(declaration)) {
        throw std::runtime_error("field declaration holds unprintable characters");
    }
    // Array dimensions follow the name: "char comm[16]", "u8 addr[2][4]". They are found from the end, each
    // bracket group once, and joined without the blanks between groups; positions only, so that a declaration
    // with many groups costs time in proportion to its length.
    std::vector<std::pair<size_t, size_t>> groups; // [begin, end) of each group, the last group first
    size_t end = declaration.size();
    while (end > 0 && declaration[end - 1] == ']') {
        int depth = 0;
        size_t open = std::string::npos;
        for (size_t i = end; i-- > 0;) {
            if (declaration[i] == ']') {
                ++depth;
            } else if (declaration[i] == '[' && --depth == 0) {
                open = i;
                break;
            }
        }
        if (open == std::string::npos) {
            throw std::runtime_error("unbalanced brackets in field declaration \"" + declaration + "\"");
        }
        groups.emplace_back(open, end);
        end = open;
        while (end > 0 && isSpace(declaration[end - 1])) {
            --end;
        }
    }
    std::string dimensions;
    for (size_t i = groups.size(); i-- > 0;) {
        dimensions.append(declaration, groups[i].first, groups[i].second - groups[i].first);
    }
    const std::string rest = declaration.substr(0, end);
    size_t nameStart = rest.size();
    while (nameStart > 0 && isIdentifierChar(rest[nameStart - 1])) {
        --nameStart;
    }
    field.name = rest.substr(nameStart);
    field.type = trim(rest.substr(0, nameStart)) + dimensions;
    if (field.name.empty() || (field.name[0] >= '0' && field.name[0] <= '9')) {
        throw std::runtime_error("no field name in \"" + declaration + "\"");
    }
    if (nameStart == 0 || trim(rest.substr(0, nameStart)).empty()) {
        throw std::runtime_error("no type in field declaration \"" + declaration + "\"");
    }
}

uint32_t TraceFormatParser::_parseNumber(const std::string& text, const char* what) {
    if (text.empty() || text.size() > 10) {
        throw std::runtime_error(std::string("invalid ") + what + " \"" + text + "\"");
    }
    uint64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            throw std::runtime_error(std::string("invalid ") + what + " \"" + text + "\"");
        }
        value = value * 10 + static_cast<uint64_t>(c - '0');
    }
    if (value > 0xFFFFFFFFu) {
        throw std::runtime_error(std::string(what) + " " + text + " is out of range");
    }
    return static_cast<uint32_t>(value);
}

bool TraceFormatParser::_guessSigned(const std::string& type) {
    static const char* const signedTypes[] = {"int", "long", "short", "signed", "s8", "s16", "s32", "s64", "pid_t"};
    if (type.find('*') != std::string::npos) {
        return false;
    }
    for (const char* prefix : signedTypes) {
        if (startsWith(type, prefix)) {
            return true;
        }
    }
    return false;
}

} // namespace eventdb
