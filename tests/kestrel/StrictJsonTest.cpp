#include "kestrel/JSONData.h"
#include "kestrel/JsomWriter.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>

using kestrel::JsomWriter;
using kestrel::JSONData;

namespace {

const std::string FFFD = "\xEF\xBF\xBD";

// The JSON document {"<text>":"<text>"} written by the stream writer.
std::string writeLabelAndString(const std::string& text) {
    std::ostringstream out;
    JsomWriter writer(&out);
    writer.startObject();
    writer.appendLabel(text.data(), static_cast<int>(text.size()), true);
    writer.appendString(text, false);
    writer.end();
    return out.str();
}

JSONData* parse(const std::string& json) {
    JSONData* node = new JSONData();
    node->retain();
    EXPECT_TRUE(node->setFromJsonStlString(json)) << json;
    return node;
}

// Parses with the project's parser into the one key and its text, and writes the tree compact again.
std::string reparse(const std::string& json, std::string& key, std::string& value) {
    JSONData* root = parse(json);
    if (root->getKeyAtIndex(0) != nullptr) {
        key = *root->getKeyAtIndex(0);
        value = *root->getByIndex(0)->stringValue();
    }
    std::string out;
    root->toJsonString(out, false, 6);
    root->release();
    return out;
}

} // namespace

TEST(StrictJson, EveryTextIsWrittenAsStrictUtf8AndReadBackEqual) {
    struct {
        std::string text;
        std::string read; // what a reader gets back
    } cases[] = {
        {"plain", "plain"},
        {"a \"quoted\" \\ label/", "a \"quoted\" \\ label/"},
        {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF \x7F",
         "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF \x7F"},
        // Bytes that are not UTF-8: one U+FFFD for each maximal ill-formed part, as strict decoders replace them.
        {"a\xC3", "a" + FFFD},
        {"\xFF\xFE"
         "b",
         FFFD + FFFD + "b"},
        {"\xE2\x82"
         "c",
         FFFD + "c"},
        {"\xF0\x9F\x98", FFFD},
        {"\xC0\x80", FFFD + FFFD},
        {"\xED\xA0\x80", FFFD + FFFD + FFFD},
        {"\xF4\x90\x80\x80", FFFD + FFFD + FFFD + FFFD},
        {"\xE0\x9F\xBF", FFFD + FFFD + FFFD},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const std::string json = writeLabelAndString(c.text);
        // Exactly the well-formed UTF-8 text with quote and backslash escaped, so strict JSON.
        std::string escaped;
        for (char ch : c.read)
            escaped += ch == '"' || ch == '\\' ? std::string("\\") + ch : std::string(1, ch);
        EXPECT_EQ("{\"" + escaped + "\":\"" + escaped + "\"}", json);
        std::string key, value;
        const std::string again = reparse(json, key, value);
        EXPECT_EQ(c.read, key);
        EXPECT_EQ(c.read, value);
        EXPECT_EQ(json, again); // the tree writes the same text as the stream writer
    }
    // Every control character is escaped, with the short escape where JSON has one, and reads back as itself.
    std::string controls;
    for (int c = 0; c < 0x20; ++c) {
        controls.push_back(static_cast<char>(c));
    }
    const std::string json = writeLabelAndString(controls);
    const std::string escaped = "\\u0000\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\f\\r"
                                "\\u000e\\u000f\\u0010\\u0011\\u0012\\u0013\\u0014\\u0015\\u0016\\u0017\\u0018"
                                "\\u0019\\u001a\\u001b\\u001c\\u001d\\u001e\\u001f";
    EXPECT_EQ("{\"" + escaped + "\":\"" + escaped + "\"}", json);
    std::string key, value;
    EXPECT_EQ(json, reparse(json, key, value));
    EXPECT_EQ(controls, key);
    EXPECT_EQ(controls, value);
}

TEST(StrictJson, NonFiniteNumbersAreWrittenAsNull) {
    const double values[] = {std::nan(""), HUGE_VAL, -HUGE_VAL};
    std::ostringstream stream;
    {
        JsomWriter writer(&stream);
        writer.startArray();
        for (double v : values) {
            writer.appendDouble(v, 6);
        }
    }
    EXPECT_EQ("[null,null,null]", stream.str());

    JSONData* root = parse("{\"a\":1.5,\"b\":[2.5]}");
    root->getByKey("a")->setDouble(values[0]);
    root->getByKey("b")->getByIndex(0)->setDouble(values[2]);
    std::string compact, pretty;
    root->toJsonString(compact, false, 4);
    root->toJsonString(pretty, true, 4);
    std::ostringstream os;
    root->appendStream(os);
    EXPECT_EQ("{\"a\":null,\"b\":[null]}", compact);
    EXPECT_EQ(compact, os.str());
    EXPECT_EQ("{\n \"a\": null,\n \"b\": [\n  null\n ]\n}", pretty);
    root->release();
}

TEST(StrictJson, ParserDecodesUnicodeEscapesToUtf8) {
    const struct {
        const char* json;
        std::string text;
    } cases[] = {
        {R"("\u00e4\u20AC\u0041")", "\xC3\xA4\xE2\x82\xAC"
                                    "A"},
        {R"("\ud83d\ude00!")", "\xF0\x9F\x98\x80!"},
        {R"("\uDBFF\uDFFF")", "\xF4\x8F\xBF\xBF"},
        // Unpaired surrogates become U+FFFD, whatever follows them.
        {R"("\ud800x")", FFFD + "x"},
        {R"("\udc00")", FFFD},
        {R"("\ud800\ud800\udc00")", FFFD + "\xF0\x90\x80\x80"},
        {R"("\ud800\n")", FFFD + "\n"},
        {R"("\ud800")", FFFD},
        {R"("\ud800\u0041")", FFFD + "A"},
        {R"("a\u0000b")", std::string("a\0b", 3)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        for (bool stream : {false, true}) {
            JSONData node;
            std::istringstream in(c.json);
            ASSERT_TRUE(stream ? node.setFromStream(in) : node.setFromJsonStlString(c.json));
            EXPECT_EQ(c.text, *node.stringValue());
        }
    }
}

TEST(StrictJson, NumbersAreReadCorrectlyRounded) {
    const struct {
        const char* json;
        double value;
    } cases[] = {
        {"0.1", 0.1},
        {"0.30000000000000004", 0.30000000000000004},
        {"123456.78901234567", 123456.78901234567},
        {"2.2250738585072014e-308", 2.2250738585072014e-308},
        {"1.7976931348623157E+308", 1.7976931348623157e308},
        {"4.9e-324", 4.9e-324},
        {"9223372036854775808", 9223372036854775808.0},
        {"-123456789012345678901234567890", -123456789012345678901234567890.0},
        {"0.000000000000000000000000000001e31", 10.0},
        {"1e400", HUGE_VAL},
        {"-1000e-400", -0.0},
        {"100000000000000000000000000000000000000000e300", HUGE_VAL},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        JSONData* node = parse(c.json);
        EXPECT_EQ(JSONData::TYPE_DOUBLE, node->getType());
        const double d = static_cast<double>(node->doubleValue());
        EXPECT_EQ(c.value, d);
        EXPECT_EQ(std::signbit(c.value), std::signbit(d));
        node->release();
    }
    JSONData* smallest = parse("-9223372036854775808");
    EXPECT_EQ(JSONData::TYPE_LONG, smallest->getType());
    EXPECT_EQ(std::numeric_limits<long long>::min(), smallest->longValue());
    smallest->release();

    // The shortest text of any double reads back as exactly that double.
    uint64_t bits = 0x9E3779B97F4A7C15ull;
    for (int i = 0; i < 2000; ++i) {
        bits = bits * 6364136223846793005ull + 1442695040888963407ull;
        double d;
        std::memcpy(&d, &bits, sizeof(d));
        if (!std::isfinite(d)) {
            continue;
        }
        char text[64];
        std::string shortest(text, std::to_chars(text, text + sizeof(text), d).ptr);
        JSONData* node = parse("[" + shortest + "]");
        EXPECT_EQ(d, static_cast<double>(node->getByIndex(0)->doubleValue())) << shortest;
        node->release();
    }
}
