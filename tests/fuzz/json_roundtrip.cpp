// JSON text parser: any bytes are parsed in both the text and the stream form, which must agree. A parsed tree
// is written with the stream writer, compact and pretty; each text must parse again into an equal tree, and
// writing what was read back must be a fixed point: read and written again, it gives the same text.
#include "kestrel/JSONData.h"
#include "kestrel/JsomWriter.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

using kestrel::JSONData;

namespace {

const int PRECISION = 17;

void write(const JSONData& node, kestrel::JsomWriter& writer) {
    switch (node.getType()) {
    case JSONData::TYPE_OBJECT:
        writer.startObject();
        for (int i = 0; i < node.length(); ++i) {
            const std::string& key = *node.getKeyAtIndex(i);
            writer.appendLabel(key.data(), static_cast<int>(key.size()), false);
            write(*node.getByIndex(i), writer);
        }
        writer.endObject();
        break;
    case JSONData::TYPE_ARRAY:
        writer.startArray();
        for (int i = 0; i < node.length(); ++i) {
            write(*node.getByIndex(i), writer);
        }
        writer.endArray();
        break;
    case JSONData::TYPE_STRING:
        writer.appendString(*node.stringValue(), false);
        break;
    case JSONData::TYPE_LONG:
        writer.appendLong(node.longValue());
        break;
    case JSONData::TYPE_DOUBLE:
        writer.appendDouble(node.doubleValue(), PRECISION);
        break;
    case JSONData::TYPE_BOOLEAN:
        writer.appendBoolean(node.booleanValue());
        break;
    default:
        writer.appendNull();
        break;
    }
}

std::string writeText(const JSONData& node, bool pretty) {
    std::ostringstream out;
    {
        kestrel::JsomWriter writer(&out);
        writer.whitespace = pretty;
        write(node, writer);
    }
    return out.str();
}

bool isNumber(const JSONData& node) {
    return node.getType() == JSONData::TYPE_LONG || node.getType() == JSONData::TYPE_DOUBLE;
}

// Numbers may change type (a double written without decimals reads back as an integer), doubles lose what lies
// beyond the written precision and a value that is not finite is written as null; everything else must come back
// exactly.
// The text as the writer gives it: every part that is not UTF-8 becomes U+FFFD.
std::string wellFormed(const std::string& text) {
    std::string out;
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end) {
        const int n = JSONData::utf8Sequence(p, end);
        if (n > 0) {
            out.append(p, static_cast<std::size_t>(n));
            p += n;
        } else {
            out += "\xEF\xBF\xBD";
            p -= n;
        }
    }
    return out;
}

// With asWritten, b is the tree read back from what the writer made of a, whose texts are then taken as written.
bool equal(const JSONData& a, const JSONData& b, bool asWritten) {
    const auto text = [asWritten](const std::string& t) { return asWritten ? wellFormed(t) : t; };
    if (a.getType() == JSONData::TYPE_DOUBLE && !std::isfinite(static_cast<double>(a.doubleValue()))) {
        const double x = static_cast<double>(a.doubleValue());
        const double y = static_cast<double>(b.doubleValue());
        return b.getType() == JSONData::TYPE_NULL ||
               (b.getType() == JSONData::TYPE_DOUBLE && (std::isnan(x) ? std::isnan(y) : x == y));
    }
    if (isNumber(a) && isNumber(b)) {
        if (a.getType() == JSONData::TYPE_LONG && b.getType() == JSONData::TYPE_LONG) {
            return a.longValue() == b.longValue();
        }
        const double x = static_cast<double>(a.doubleValue());
        const double y = static_cast<double>(b.doubleValue());
        const double scale = std::fabs(x) > 1e16 ? 1e-6 : 1e-9;
        return std::fabs(x - y) <= scale * std::fmax(1.0, std::fabs(x));
    }
    if (a.getType() != b.getType() || a.length() != b.length()) {
        return false;
    }
    switch (a.getType()) {
    case JSONData::TYPE_STRING:
        return text(*a.stringValue()) == *b.stringValue();
    case JSONData::TYPE_BOOLEAN:
        return a.booleanValue() == b.booleanValue();
    case JSONData::TYPE_OBJECT:
    case JSONData::TYPE_ARRAY:
        for (int i = 0; i < a.length(); ++i) {
            if (a.getType() == JSONData::TYPE_OBJECT && text(*a.getKeyAtIndex(i)) != *b.getKeyAtIndex(i)) {
                return false;
            }
            if (!equal(*a.getByIndex(i), *b.getByIndex(i), asWritten)) {
                return false;
            }
        }
        return true;
    default:
        return true;
    }
}

struct Tree {
    JSONData* node = new JSONData;
    Tree() { node->retain(); }
    ~Tree() { node->release(); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
};

[[noreturn]] void fail(const char* what, const std::string& text) {
    fprintf(stderr, "%s\n--- written text ---\n%s\n---\n", what, text.c_str());
    abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The text form reads up to a NUL; both forms get the same characters.
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.substr(0, input.find('\0'));

    Tree parsed;
    const char* p = text.c_str();
    const bool ok = parsed.node->setFromJsonString(p);
    Tree streamed;
    std::istringstream in(text);
    const bool streamOk = streamed.node->setFromStream(in);
    if (ok != streamOk || (ok && !equal(*parsed.node, *streamed.node, false))) {
        fail("text and stream parsers disagree", text);
    }
    if (!ok) {
        return 0;
    }

    for (bool pretty : {false, true}) {
        const std::string written = writeText(*parsed.node, pretty);
        Tree reread;
        if (!reread.node->setFromJsonStlString(written)) {
            fail("written document does not parse", written);
        }
        if (!equal(*parsed.node, *reread.node, true)) {
            fail("written document reads back different", written);
        }
        // Rounding to the written precision may move a number across the 1e16 line between fixed and exponent
        // notation once; from then on, what the writer writes reads back to the same text.
        const std::string again = writeText(*reread.node, pretty);
        Tree rereadAgain;
        if (!rereadAgain.node->setFromJsonStlString(again) || writeText(*rereadAgain.node, pretty) != again) {
            fail("writing the reread document gives different text", again);
        }
    }
    return 0;
}
