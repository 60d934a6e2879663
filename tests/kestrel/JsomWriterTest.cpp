#include "kestrel/JsomWriter.h"
#include "kestrel/RowText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

TEST(JsomWriter, FixedNotationMatchesPrintfOnTiesAndCarries) {
    // Exact ties (odd multiples of 2^-(p+1)) round to even; values just below a carry round up into the integer
    // part; large values use every digit of the 64-bit units.
    uint64_t bits = 0x2545F4914F6CDD1Dull;
    auto next = [&bits] {
        bits ^= bits << 13;
        bits ^= bits >> 7;
        bits ^= bits << 17;
        return bits;
    };
    const double bases[] = {0, 1, 9, 99999, 123456.5, 4294967296.0, 999999999999.0, 1e12, 9999999999999.0};
    char buf[JsomWriter::NUMBER_BUFFER_SIZE];
    char expected[400];
    for (int i = 0; i < 60000; ++i) {
        const uint64_t r = next();
        const int precision = (r & 1) ? 6 : 1;
        double d = bases[r % 9];
        switch ((r >> 8) % 4) {
        case 0: // a tie or near it
            d += static_cast<double>((r >> 12) % 4096 * 2 + 1) / (precision == 6 ? 128.0 : 4.0);
            break;
        case 1: // just below a carry
            d += 1.0 - static_cast<double>((r >> 12) % 1000) * (precision == 6 ? 1e-8 : 1e-3);
            break;
        case 2: // half a unit of the last decimal and a few units of the last bit around it
            d += (precision == 6 ? 0.0000005 : 0.05) * static_cast<double>((r >> 12) % 20) +
                 static_cast<double>(static_cast<int>((r >> 40) % 9) - 4) * 1e-16;
            break;
        default:
            d += static_cast<double>(r >> 11) / 9007199254740992.0 * 1000.0;
            break;
        }
        if ((r >> 20) & 1) {
            d = -d;
        }
        snprintf(expected, sizeof(expected), "%.*f", precision, d);
        std::string s(expected);
        s.erase(s.find_last_not_of('0') + 1);
        if (s.back() == '.') {
            s.pop_back();
        }
        ASSERT_EQ(s, std::string(buf, static_cast<size_t>(JsomWriter::formatDouble(buf, d, precision))))
            << precision << " " << d;
    }
    EXPECT_EQ("null", std::string(buf, static_cast<size_t>(JsomWriter::formatDouble(buf, NAN, 6))));
    EXPECT_EQ("-9223372036854775808", std::string(buf, static_cast<size_t>(JsomWriter::formatLong(buf, INT64_MIN))));
}

namespace {

// The elements of rows: a row of up to four numbers, nested one deep, or a bare number.
struct Element {
    int kind; // 0: a bare integer, 1: a row of a time, an integer and a one-decimal value, 2: an empty row
    double time;
    long long value;
};

template <class Sink> void writeElement(Sink& sink, const Element& e) {
    if (e.kind == 0) {
        sink.appendLong(e.value);
        return;
    }
    sink.startArray();
    if (e.kind == 1) {
        sink.appendDouble(e.time, 6);
        sink.appendLong(e.value);
        sink.appendDouble(e.time * 3, 1);
    }
    sink.endArray();
}

// The document written element by element, and written with runs of `runLength` elements as text; the padding
// string puts the array's opening bracket at a chosen column.
std::pair<std::string, std::string> bothWays(const std::vector<Element>& elements, size_t padding, size_t runLength) {
    std::ostringstream perValue;
    std::ostringstream asText;
    JsomWriter a(&perValue);
    JsomWriter b(&asText);
    for (JsomWriter* w : {&a, &b}) {
        w->startArray();
        w->appendString(std::string(padding, 'x'), false);
        w->startArray();
    }
    for (const Element& e : elements) {
        writeElement(a, e);
    }
    kestrel::RowText text;
    for (size_t i = 0; i < elements.size(); i += runLength) {
        text.clear();
        for (size_t j = i; j < elements.size() && j < i + runLength; ++j) {
            writeElement(text, elements[j]);
        }
        b.appendElementText(text.data(), text.size());
    }
    a.end();
    b.end();
    return {perValue.str(), asText.str()};
}

// Where two long texts first differ (npos when equal), so that a failure prints a position, not the texts.
size_t firstDifference(const std::string& a, const std::string& b) {
    auto mismatch = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return mismatch.first == a.end() && mismatch.second == b.end() ? std::string::npos
                                                                   : static_cast<size_t>(mismatch.first - a.begin());
}

} // namespace

TEST(JsomWriter, ElementTextBreaksLinesLikeTheValueCalls) {
    // Rows of one bare value, or of "[time,value,value]" whose line break may fall before the row, before its first
    // value (right after its bracket) or after a comma within it: every offset of the limit within the first
    // elements, once exactly on a value start, with runs of one element and of many.
    std::vector<Element> rows;
    for (int i = 0; i < 40; ++i) {
        rows.push_back(Element{i % 7 == 3 ? 2 : (i % 5 == 0 ? 0 : 1), 12.345678 + i, i * 37 - 100});
    }
    const size_t opening = 3; // the outer bracket and the quotes of the padding string
    for (size_t offset = 0; offset < 60; ++offset) {
        for (size_t runLength : {1, 7, 40}) {
            auto texts = bothWays(rows, JsomWriter::MAX_LINE_LENGTH - opening - offset, runLength);
            ASSERT_EQ(std::string::npos, firstDifference(texts.first, texts.second)) << offset << " " << runLength;
            ASSERT_NE(std::string::npos, texts.first.find('\n'));
        }
    }
    // Many lines: elements of random lengths, in runs of random lengths.
    uint64_t bits = 0x9E3779B97F4A7C15ull;
    std::vector<Element> many;
    for (int i = 0; i < 40000; ++i) {
        bits ^= bits << 13;
        bits ^= bits >> 7;
        bits ^= bits << 17;
        many.push_back(Element{static_cast<int>(bits % 3), static_cast<double>(bits >> 20) / 1e9,
                               static_cast<long long>(bits % 100000) - 5000});
    }
    auto texts = bothWays(many, 5, 1 + bits % 3000);
    EXPECT_EQ(std::string::npos, firstDifference(texts.first, texts.second));
    EXPECT_GT(std::count(texts.first.begin(), texts.first.end(), '\n'), 15);

    // Pretty layout cannot take text.
    std::ostringstream os;
    JsomWriter w(&os);
    w.whitespace = true;
    w.startArray();
    testing::internal::CaptureStderr();
    w.appendElementText("1", 1);
    EXPECT_EQ("ERROR: JsonWriter::appendElementText() Invalid sequence. state: [\n",
              testing::internal::GetCapturedStderr());
}

TEST(JsomWriter, ElementsFormattedAheadOnTwoThreads) {
    // Many chunks, a single one and none, in compact layout against formatAhead off, and pretty layout; a format
    // that throws on the worker or on this thread ends the call with the exception and leaves the writer usable.
    std::vector<Element> rows;
    for (int i = 0; i < static_cast<int>(JsomWriter::ELEMENTS_PER_CHUNK) * 9 + 5; ++i) {
        rows.push_back(Element{1, 1000.0 + i * 0.0001234567, i % 13 - 6});
    }
    auto document = [&rows](bool ahead, bool pretty, size_t count) {
        std::ostringstream os;
        JsomWriter w(&os);
        w.formatAhead = ahead;
        w.whitespace = pretty;
        for (int series = 0; series < 3; ++series) {
            w.startArray();
            w.appendElements(
                count,
                [&rows](size_t begin, size_t end, kestrel::RowText& text) {
                    for (size_t i = begin; i < end; ++i) {
                        writeElement(text, rows[i]);
                    }
                },
                [&rows, &w](size_t i) { writeElement(w, rows[i]); });
            w.endArray();
        }
        w.end();
        return os.str();
    };
    for (size_t count : {rows.size(), static_cast<size_t>(JsomWriter::ELEMENTS_PER_CHUNK), size_t(0)}) {
        EXPECT_EQ(std::string::npos, firstDifference(document(false, false, count), document(true, false, count)))
            << count;
    }
    EXPECT_EQ(document(false, true, 100), document(true, true, 100));

    std::ostringstream os;
    JsomWriter w(&os);
    for (size_t failing : {size_t(1), size_t(6)}) {
        w.startArray();
        EXPECT_THROW(w.appendElements(
                         rows.size(),
                         [failing](size_t begin, size_t, kestrel::RowText& text) {
                             if (begin == failing * JsomWriter::ELEMENTS_PER_CHUNK) {
                                 throw std::runtime_error("format");
                             }
                             text.appendLong(1);
                         },
                         [](size_t) {}),
                     std::runtime_error);
        w.endArray();
    }
    w.startArray();
    w.appendElements(
        rows.size(), [](size_t, size_t, kestrel::RowText& text) { text.appendLong(2); }, [](size_t) {});
    w.endArray();
    w.end();
    // How many chunks of an interrupted call were written depends on the threads; the writer carries on.
    const std::string text = os.str();
    const std::string last = "][2,2,2,2,2,2,2,2,2,2]";
    ASSERT_GT(text.size(), last.size());
    EXPECT_EQ(last, text.substr(text.size() - last.size()));
    EXPECT_EQ(std::string::npos, text.substr(0, text.size() - last.size()).find_first_not_of("[],1"));
}
