#include "kestrel/JSONData.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using kestrel::JSONData;

namespace {

struct Result {
    bool ok;
    std::string compact; // the tree built, also after a failure
    std::string error;   // what was written to standard error
};

// Parses from a string or, with stream set, from a stream holding it.
Result parse(const std::string& text, bool stream = false) {
    JSONData* node = new JSONData();
    node->retain();
    std::istringstream in(text);
    testing::internal::CaptureStderr();
    bool ok = stream ? node->setFromStream(in) : node->setFromJsonStlString(text);
    std::string error = testing::internal::GetCapturedStderr();
    std::string out;
    node->toJsonString(out, false, 4);
    node->release();
    return {ok, out, error};
}

const char* const TEXT_ERROR = "JSONData::setFromJsonString(): syntax error: ";

} // namespace

TEST(JSONDataParser, LenientForms) {
    struct {
        const char* text;
        const char* compact;
    } cases[] = {
        {"{\"a\":1,\"b\":[1,2,],}", R"({"a":1,"b":[1,2]})"},
        {"// comment\n{\"a\" /* between */ : true}", R"({"a":true})"},
        {" \t\r\n[null, false ,\"x\"]", R"([null,false,"x"])"},
        {"[-0, 1.50, -2.25, 1., 007]", "[-0,1.5,-2.25,1,7]"},
        {"{} arbitrary words", "{}"},
        {"nullx", "null"},
        {"{\"k\":1,\"k\":2}", R"({"k":1,"k":2})"},
        {R"(["\u00E9\u20ac\u0041\q\/\"\\\b\f\n\r\t"])", "[\"\xC3\xA9\xE2\x82\xAC"
                                                        "A\\\\q/\\\"\\\\\\b\\f\\n\\r\\t\"]"},
        {"[1e5, -2.5E-1, 1.e+2]", "[100000,-0.25,100]"},
    };
    for (const auto& c : cases) {
        Result r = parse(c.text);
        EXPECT_TRUE(r.ok) << c.text;
        EXPECT_EQ(c.compact, r.compact) << c.text;
        EXPECT_EQ("", r.error) << c.text;
    }
    JSONData n;
    const char* p = "-2.25";
    ASSERT_TRUE(n.setFromJsonString(p));
    EXPECT_EQ(JSONData::TYPE_DOUBLE, n.getType());
    EXPECT_DOUBLE_EQ(-2.25, static_cast<double>(n.doubleValue()));
    EXPECT_EQ('\0', *p);
}

TEST(JSONDataParser, ErrorsAreReportedOnce) {
    struct {
        const char* text;
        const char* message; // empty: fails silently
    } cases[] = {
        {"", ""},
        {"  // only a comment", ""},
        {"/* unterminated", ""},
        {"{\"a\":", ""},
        {"{\"a\":1, // no line feed", "object not closed"},
        {"[1, // no line feed", "array not closed"},
        {"+1", "invalid number"},
        {"-x", "invalid number"},
        {".5", "missing value"},
        {"/x", "missing value"},
        {"[1,,2]", "missing value"},
        {"[1e]", "invalid number"},
        {"[1e+]", "invalid number"},
        {"[1 2]", "array comma or end expected"},
        {"[1}", "array comma or end expected"},
        {"[}", "array not closed"},
        {"{]", "object not closed"},
        {"{\"a\" 1}", "object colon expected"},
        {"{1:2}", "object key must be a string"},
        {"{\"a\":1,,}", "invalid string for object key"},
        {"{\"a:1}", "invalid string for object key"},
        {"{\"a\":1]", "object comma or end expected"},
        {"nul", "invalid null value"},
        {"tru", "invalid boolean value"},
        {"fals", "invalid boolean value"},
        {"\"abc", "invalid string"},
        {"\"\\u00G1\"", "invalid string"},
        {"\"\\", "invalid string"},
        {"\x01", "missing value"},
    };
    for (const auto& c : cases) {
        Result r = parse(c.text);
        EXPECT_FALSE(r.ok) << c.text;
        std::string expected = *c.message ? std::string(TEXT_ERROR) + c.message + "\n" : "";
        EXPECT_EQ(expected, r.error) << c.text;
    }
    // The stream form names itself in its reports.
    Result s = parse("[1 2]", true);
    EXPECT_EQ("JSONData::setFromStream(): syntax error: array comma or end expected\n", s.error);
    const char* nullText = nullptr;
    JSONData n;
    EXPECT_FALSE(n.setFromJsonString(nullText));
}

TEST(JSONDataParser, FailedParseKeepsCompletedMembers) {
    Result r = parse(R"({"a":[1,2],"b":[3,)");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(R"({"a":[1,2]})", r.compact);

    // Parsing into an existing object appends the new entries.
    JSONData* node = new JSONData();
    node->retain();
    ASSERT_TRUE(node->setFromJsonStlString(R"({"a":1})"));
    ASSERT_TRUE(node->setFromJsonStlString(R"({"b":2})"));
    std::string out;
    node->toJsonString(out, false, 4);
    EXPECT_EQ(R"({"a":1,"b":2})", out);
    node->release();
}

TEST(JSONDataParser, StreamForm) {
    std::istringstream in("[1] rest");
    JSONData* node = new JSONData();
    node->retain();
    ASSERT_TRUE(node->setFromStream(in));
    EXPECT_EQ(' ', in.get());

    // A number that ends the stream parses and leaves the stream usable.
    std::istringstream number("-12.5");
    ASSERT_TRUE(node->setFromStream(number));
    EXPECT_DOUBLE_EQ(-12.5, static_cast<double>(node->doubleValue()));
    EXPECT_FALSE(number.fail());

    Result r = parse("// c\n{\"x\":\"y\\u0041\",\"n\":[true,null,-3]}", true);
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(R"({"x":"yA","n":[true,null,-3]})", r.compact);
    EXPECT_FALSE(parse("", true).ok);
    EXPECT_EQ("", parse("  ", true).error);
    node->release();
}
