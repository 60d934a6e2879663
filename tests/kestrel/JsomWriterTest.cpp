#include "kestrel/JsomWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

using kestrel::JsomWriter;

namespace {

void writeSample(JsomWriter& w) {
    w.startObject();
    w.appendLabel("type", true);
    w.appendString("stateplot", false);
    w.appendLabel("data", true);
    w.startArray();
    w.appendLong(1);
    w.appendNull();
    w.endArray();
    w.endObject();
}

std::string doubleText(long double value, int precision) {
    std::ostringstream os;
    JsomWriter w(&os);
    w.appendDouble(value, precision);
    return os.str();
}

} // namespace

TEST(JsomWriter, CompactAndPrettyLayouts) {
    std::ostringstream compact;
    {
        JsomWriter w(&compact);
        writeSample(w);
    }
    EXPECT_EQ(R"({"type":"stateplot","data":[1,null]})", compact.str());

    std::ostringstream pretty;
    {
        JsomWriter w(&pretty);
        w.whitespace = true;
        writeSample(w);
        w.startObject();
        w.endObject();
        w.startArray();
        w.startObject();
        w.appendLabel("e", true);
        w.startArray();
        w.endArray();
        w.endObject();
        w.endArray();
    }
    EXPECT_EQ("{\n \"type\": \"stateplot\",\n \"data\": [\n  1,\n  null\n ]\n}"
              "{\n}"
              "[\n {\n  \"e\": [\n  ]\n }\n]",
              pretty.str());

    std::ostringstream values;
    JsomWriter w(&values);
    w.startArray();
    w.appendBoolean(true);
    w.appendBoolean(false);
    w.appendInt(-3);
    w.appendUnsignedInt(4000000000u);
    w.appendUnsignedLong(18446744073709551615ull);
    w.appendLong(-9223372036854775807ll - 1);
    w.appendString(std::string("q\"\\\t\x01\xC3/", 7), false);
    w.appendString(std::string("q\"\\\t"), true);
    w.appendString(nullptr, 0, false);
    w.appendJsonValue("{\"raw\":1}", 9);
    w.endArray();
    w.flush();
    EXPECT_EQ("[true,false,-3,4000000000,18446744073709551615,-9223372036854775808,"
              "\"q\\\"\\\\\\t\\u0001\xEF\xBF\xBD/\",\"q\\\"\\\\\\t\",null,{\"raw\":1}]",
              values.str());
}

TEST(JsomWriter, InvalidSequencesWriteNothing) {
    std::ostringstream os;
    JsomWriter w(&os);
    testing::internal::CaptureStderr();
    w.startObject();
    w.appendLong(1);
    w.startArray();
    w.endArray();
    w.appendLabel("a", true);
    w.appendDouble(1.5, 2);
    w.appendLabel("b", true);
    w.appendString("x", false);
    w.appendLabel("c", true);
    w.appendLabel("d", true);
    w.startArray();
    w.appendLabel("e", true);
    w.endObject();
    w.endArray();
    w.endObject();
    w.endObject();
    std::string stateZero("ERROR: JsonWriter::endObject() No current object on stack. state: ");
    stateZero.push_back('\0');
    EXPECT_EQ("ERROR: JsonWriter::appendLong() Invalid sequence. state: {\n"
              "ERROR: JsonWriter::startArray() Invalid sequence. state: {\n"
              "ERROR: JsonWriter::endArray() No current array on stack. state: {\n"
              "ERROR: JsonWriter::appendLabel() No current object on stack. state: :\n"
              "ERROR: JsonWriter::appendLabel() No current object on stack. state: [\n"
              "ERROR: JsonWriter::endObject() No current object on stack. state: [\n" +
                  stateZero + "\n",
              testing::internal::GetCapturedStderr());
    EXPECT_EQ(R"({"a":1.5,"b":"x","c":[]})", os.str());
}

TEST(JsomWriter, EndClosesEverything) {
    std::ostringstream os;
    JsomWriter w(&os);
    w.whitespace = true;
    w.startArray();
    w.startObject();
    w.appendLabel("k", true);
    w.end();
    EXPECT_EQ("[\n {\n  \"k\": null\n }\n]", os.str());
    // The writer is back at the top level; a new value follows directly.
    w.whitespace = false;
    w.startArray();
    w.startArray();
    w.end();
    EXPECT_EQ("[\n {\n  \"k\": null\n }\n][[]]", os.str());
}

TEST(JsomWriter, DoubleText) {
    EXPECT_EQ("2", doubleText(2.0, 6));
    EXPECT_EQ("0", doubleText(0.0, 6));
    EXPECT_EQ("10", doubleText(10.0, 2));
    EXPECT_EQ("-0.000001", doubleText(-0.000001, 6));
    EXPECT_EQ("1.000000e+17", doubleText(1e17, 6));
    EXPECT_EQ("-1.000000e+300", doubleText(-1e300, 4));
    EXPECT_EQ("10000000000000000", doubleText(1e16, 3));
    EXPECT_EQ("2.500000", doubleText(2.5, 0));
    // Exact ties round to even; negative values that round to zero keep their sign, as in printf.
    EXPECT_EQ("1.2", doubleText(1.25, 1));
    EXPECT_EQ("0.38", doubleText(0.375, 2));
    EXPECT_EQ("-0", doubleText(-0.0, 6));
    EXPECT_EQ("-0", doubleText(-1e-10, 6));
    EXPECT_EQ("0", doubleText(5e-324, 9));
    EXPECT_EQ("null", doubleText(INFINITY, 6));
    EXPECT_EQ("null", doubleText(NAN, 6));
    // A value that is not exactly a double goes through the C library with the same rules.
    long double third = 1.0L / 3.0L;
    char expected[64];
    snprintf(expected, sizeof(expected), "%.*Lf", 20, third);
    std::string trimmed(expected);
    trimmed.erase(trimmed.find_last_not_of('0') + 1);
    EXPECT_EQ(trimmed, doubleText(third, 20));
    // Long precisions are cut at 255 characters.
    EXPECT_EQ(255u, doubleText(1.5, 300).size());

    // The fast path gives the same text as printf for doubles of every magnitude and precision.
    uint64_t bits = 0x9E3779B97F4A7C15ull;
    for (int i = 0; i < 2000; ++i) {
        bits ^= bits << 13;
        bits ^= bits >> 7;
        bits ^= bits << 17;
        double d = static_cast<double>(static_cast<int64_t>(bits)) / static_cast<double>(1ull << (bits % 60));
        int precision = 1 + static_cast<int>(bits % 9);
        char buf[300];
        snprintf(buf, sizeof(buf), (d > 1e16 || d < -1e16) ? "%.*Le" : "%.*Lf", (d > 1e16 || d < -1e16) ? 6 : precision,
                 static_cast<long double>(d));
        std::string s(buf);
        if (!(d > 1e16 || d < -1e16) && s.size() > static_cast<size_t>(precision) + 1) {
            s.erase(s.find_last_not_of('0') + 1);
            if (s.back() == '.') {
                s.pop_back();
            }
        }
        ASSERT_EQ(s, doubleText(d, precision)) << d;
    }
}

TEST(JsomWriter, LongLinesAreBroken) {
    std::ostringstream os;
    JsomWriter w(&os);
    w.startArray();
    for (int i = 0; i < 3000; ++i) {
        w.appendLong(1000000000 + i);
    }
    w.endArray();
    std::string text = os.str();
    // '[' then values of ten characters, each but the first after a comma: the value that starts after
    // 24576 characters is number 2235 (0-based), and it follows the line feed.
    size_t lf = text.find('\n');
    ASSERT_NE(std::string::npos, lf);
    EXPECT_EQ(std::string::npos, text.find('\n', lf + 1));
    EXPECT_EQ(",\n1000002235,", text.substr(lf - 1, 13));
    EXPECT_EQ(24586u, lf);

    // Pretty output: indentation stops at 47 spaces.
    std::ostringstream deep;
    JsomWriter p(&deep);
    p.whitespace = true;
    for (int i = 0; i < 60; ++i) {
        p.startArray();
    }
    p.appendInt(1);
    p.end();
    EXPECT_NE(std::string::npos, deep.str().find("\n" + std::string(47, ' ') + "1\n"));
    EXPECT_EQ(std::string::npos, deep.str().find(std::string(48, ' ')));
}
