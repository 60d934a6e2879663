#include "eventdb/TracingDataParser.h"

#include "perfevents/PerfRecordingSetup.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

using eventdb::TraceEventFormat;
using eventdb::TracingDataParser;

namespace {

std::vector<unsigned char> schedSection() {
    std::ifstream in(PLOTWRIGHT_TEST_DATA "/recordings/sched.data", std::ios::binary);
    return perfevents::PerfRecordingSetup(in, perfevents::PerfRecordingSetup::SCOPE_FORMATS).getTracingData();
}

// Writes a tracing data section in either byte order.
class SectionWriter {
public:
    explicit SectionWriter(bool bigEndian) : bigEndian(bigEndian) {}
    void raw(const std::string& text) { bytes += text; }
    void text(const std::string& text) { bytes += text + '\0'; }
    void u32(uint32_t value) { number(value, 4); }
    void u64(uint64_t value) { number(value, 8); }
    void sized(const std::string& text) { u64(text.size()), raw(text); }
    std::string bytes;

private:
    void number(uint64_t value, int width) {
        for (int i = 0; i < width; ++i) {
            int shift = 8 * (bigEndian ? width - 1 - i : i);
            bytes += static_cast<char>((value >> shift) & 0xFF);
        }
    }
    bool bigEndian;
};

std::vector<TraceEventFormat> parse(const std::string& bytes) {
    return TracingDataParser(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()).parse();
}

} // namespace

TEST(TracingDataParser, BigEndianSectionWithFtraceFormats) {
    SectionWriter w(true);
    w.raw(std::string("\x17\x08\x44tracing", 10));
    w.text("0.5");
    w.raw(std::string("\x01\x04", 2));
    w.u32(65536);
    w.text("header_page");
    w.sized("page");
    w.text("header_event");
    w.sized("event");
    w.u32(1);
    w.sized("name: function\nID: 1\nformat:\n\tfield:unsigned long ip;\toffset:8;\tsize:4;\tsigned:0;\n");
    w.u32(1);
    w.text("irq");
    w.u32(1);
    w.sized("name: irq_handler_entry\nID: 40\nformat:\n\tfield:int irq;\toffset:8;\tsize:4;\tsigned:1;\n");
    w.u32(0);
    w.u32(3);
    w.raw("abc");
    TracingDataParser parser(reinterpret_cast<const unsigned char*>(w.bytes.data()), w.bytes.size());
    std::vector<TraceEventFormat> formats = parser.parse();
    EXPECT_EQ(4u, parser.getLongSize());
    EXPECT_EQ(65536u, parser.getPageSize());
    ASSERT_EQ(2u, formats.size());
    EXPECT_EQ("ftrace:function", formats[0].fullName());
    EXPECT_EQ("irq:irq_handler_entry", formats[1].fullName());
    EXPECT_EQ(40u, formats[1].id);

    // A damaged format text is reported with its place.
    std::string badText = w.bytes;
    badText.replace(badText.find("ID: 40"), 6, "ID: xx");
    try {
        parse(badText);
        ADD_FAILURE() << "no error";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("damaged tracing data section: format text 1 of system irq: line 2: invalid ID \"xx\"", e.what());
    }
}

TEST(TracingDataParser, TruncatedAndDamagedSectionsAreErrors) {
    std::vector<unsigned char> section = schedSection();
    ASSERT_GT(section.size(), 8u);
    // Every cut in the binary header part and at the end, a sample in between (cuts inside one text all fail
    // alike). Exactly sized copies, so that the sanitizers see any read beyond the end. Only the saved command
    // lines (the last 8 bytes here) are optional.
    for (size_t length = 0; length < section.size(); length += length < 600 || length + 40 > section.size() ? 1 : 13) {
        std::vector<unsigned char> cut(section.begin(), section.begin() + length);
        TracingDataParser parser(cut.data(), cut.size());
        if (length == section.size() - 8) {
            EXPECT_EQ(4u, parser.parse().size());
        } else {
            EXPECT_THROW(parser.parse(), std::runtime_error) << length;
        }
    }
    // Damage every byte of the binary header part, and a sample of the rest (the format texts' own damage is
    // tested with their parser).
    for (size_t position = 0; position < section.size(); position += position < 600 ? 1 : 29) {
        std::vector<unsigned char> damaged = section;
        damaged[position] = static_cast<unsigned char>(~damaged[position]);
        try {
            TracingDataParser(damaged.data(), damaged.size()).parse();
        } catch (const std::runtime_error&) {
        }
    }
    EXPECT_THROW(TracingDataParser(nullptr, 100).parse(), std::runtime_error);
}
