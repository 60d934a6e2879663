#include "perfevents/PerfRecordFileReader.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <sstream>

using perfdatawriter::PerfDataWriter;
using perfevents::PerfRecordFileReader;
using perftest::Collector;

namespace {
perfdatawriter::Attribute traceAttribute(unsigned int byteSize = 112) {
    return perftest::traceAttribute({40, 41}, 0x10587, 0, byteSize);
}

PerfDataWriter oneAttribute() {
    PerfDataWriter writer;
    writer.addAttribute(traceAttribute());
    return writer;
}

// The text of the failure the reader throws for the file, or "" when it opens.
std::string openError(const perfdatawriter::Bytes& bytes, bool decode = true) {
    std::ifstream input;
    perftest::openTemp(input, bytes);
    try {
        PerfRecordFileReader reader(input, decode);
    } catch (const std::ios_base::failure& failure) {
        return failure.what();
    }
    return "";
}

std::string walk(const PerfDataWriter& writer, Collector& collector) {
    std::ifstream input;
    perftest::openTemp(input, writer.build());
    PerfRecordFileReader reader(input, true);
    testing::internal::CaptureStdout();
    reader.parseEvents(collector);
    kestrel::Logger::flushAll();
    return testing::internal::GetCapturedStdout();
}
} // namespace

TEST(PerfRecordFileReaderTest, HeaderAndSectionsAreValidated) {
    perftest::QuietLogs quiet;
    PerfDataWriter small;
    perfdatawriter::Attribute version0 = traceAttribute(64);
    version0.ids.clear();
    small.addAttribute(version0); // 104 + 80 bytes
    small.minimumFileSize = 200;
    perfdatawriter::Bytes bytes = small.build();
    EXPECT_EQ("", openError(bytes));
    bytes.resize(199);
    EXPECT_EQ("Perf file is of insufficient size.", openError(bytes));

    std::ifstream closed;
    EXPECT_FALSE(PerfRecordFileReader::openPerfRecordFile(closed, "/nonexistent/perf.data"));
    EXPECT_TRUE(closed.fail());
    EXPECT_THROW(PerfRecordFileReader(closed, true), std::ios_base::failure);

    const std::string corrupt = "  Perf file corrupt.";
    struct Case {
        std::int64_t PerfDataWriter::*field;
        std::int64_t value;
        std::string message;
    } cases[] = {
        {&PerfDataWriter::headerSize, 0x6800000000000000LL, "Invalid header size recorded in perf file header."},
        {&PerfDataWriter::attrSize, 79, "Invalid attribute size recorded in perf file header."},
        {&PerfDataWriter::attrSize, 65553, "Invalid attribute size recorded in perf file header."},
        {&PerfDataWriter::attrsOffset, 100000, "Invalid attribute offset location."},
        {&PerfDataWriter::attrsSize, 100000, "Invalid attribute offset location."},
        {&PerfDataWriter::dataOffset, 100000, "Invalid trace event types offset location."},
        {&PerfDataWriter::eventTypesSize, 144, "Number of trace event types is invalid."},
        {&PerfDataWriter::attrsSize, 128 * 2, "Error reading perf file attributes."},
    };
    for (const Case& c : cases) {
        PerfDataWriter damaged = oneAttribute();
        damaged.*c.field = c.value;
        EXPECT_EQ(c.message + corrupt, openError(damaged.build()));
    }

    // attr_size at both ends of the accepted range; an id array outside the file.
    for (unsigned int size : {64u, 65536u}) {
        PerfDataWriter wide;
        wide.addAttribute(traceAttribute(size));
        EXPECT_EQ("", openError(wide.build()));
    }
    perfdatawriter::Bytes badIds = oneAttribute().build();
    perfdatawriter::patchU64(badIds, 104 + 16 + 112, 1u << 30);
    EXPECT_EQ("Error reading perf file attribute IDs." + corrupt, openError(badIds));
    perfdatawriter::patchU64(badIds, 104 + 16 + 120, 0); // no ids: the offset does not matter
    EXPECT_EQ("", openError(badIds));
    // Id arrays that overlap until they hold more ids than the file has room for.
    PerfDataWriter overlapping = oneAttribute();
    overlapping.addAttribute(traceAttribute());
    overlapping.addAttribute(traceAttribute());
    perfdatawriter::Bytes overlap = overlapping.build();
    for (std::size_t entry = 104 + 48 + 112; entry < overlap.size(); entry += 128) {
        perfdatawriter::patchU64(overlap, entry, 0);
        perfdatawriter::patchU64(overlap, entry + 8, overlap.size());
    }
    EXPECT_EQ("Error reading perf file attribute IDs." + corrupt, openError(overlap));

    PerfDataWriter noAttributes;
    EXPECT_THROW(openError(noAttributes.build(), true), std::invalid_argument);
    EXPECT_NE("", openError(noAttributes.build(), false));
}

TEST(PerfRecordFileReaderTest, AttributesIdsAndEventTypesAreRead) {
    PerfDataWriter writer = oneAttribute();
    writer.addAttribute(traceAttribute());
    writer.addEventType(372, "sched:sched_switch");
    writer.addEventType(373, std::string(64, 'x'));
    std::ifstream input;
    perftest::openTemp(input, writer.build());
    PerfRecordFileReader reader(input, true);
    ASSERT_EQ(2u, reader.getAttributes().size());
    EXPECT_TRUE(reader.getAttributes()[1].isAssociatedWithId(41));
    EXPECT_EQ("sched:sched_switch", reader.getTraceEventName(372));
    EXPECT_EQ(std::string(63, 'x'), reader.getTraceEventName(373));
    EXPECT_EQ("", reader.getTraceEventName(1));

    std::ostringstream summary;
    summary << reader << 255;
    const std::string text = summary.str();
    EXPECT_EQ(0u, text.find("\nPerf record output file summary\n----------------------------------------\n"
                            "File Size: "));
    EXPECT_NE(std::string::npos, text.find("\nHeader:\n    Magic: PERFILE2\n    Header size: 104\n"
                                           "    Attribute size: 128\n    Attribute section:         offset: 136 "
                                           "size: 256\n    Trace point types section: offset: 392 size: 144\n"));
    EXPECT_NE(std::string::npos, text.find("    Feature bits: 0x00000000 0x00000000 0x00000000 0x00000000\n\n"
                                           "**** Attributes ****\n2 attributes\n\nPerf Event Attribute:\n"));
    EXPECT_NE(std::string::npos, text.find("**** Trace point event types ****\n2 trace point events\n"
                                           "    Event ID:  0x00000174 name: sched:sched_switch\n"));
    EXPECT_NE(std::string::npos, text.find("xxx\n\n\n255"));
}

TEST(PerfRecordFileReaderTest, WalkDeliversRecordsAndStopsOnDamage) {
    PerfDataWriter writer = oneAttribute();
    perfdatawriter::Sample sample;
    sample.time = 5;
    sample.raw = {1, 2, 3, 4};
    writer.addComm(1, 2, "bash");
    writer.addRecord(10, 0, perfdatawriter::Bytes(32, 0)); // not decoded: skipped
    writer.addSample(sample);
    writer.addLost(1, 2, perfdatawriter::Bytes());
    writer.addRecord(2, 0, perfdatawriter::Bytes(8, 0)); // too short: skipped
    sample.rawSizeOverride = 40;                         // runs past its record: skipped and counted
    writer.addSample(sample);
    writer.addSample(sample);
    Collector all;
    std::string log = walk(writer, all);
    // The sample waits for the records of its time; records without a time stamp pass at once.
    EXPECT_EQ((std::vector<unsigned int>{3, 2, 9}), all.types);
    EXPECT_EQ(1, all.closes);
    EXPECT_NE(std::string::npos, log.find("WARN 2 samples could not be decoded"));

    PerfDataWriter empty = oneAttribute();
    empty.minimumFileSize = 0;
    Collector none;
    EXPECT_EQ("", walk(empty, none));
    EXPECT_EQ(1, none.closes);
    EXPECT_TRUE(none.types.empty());

    PerfDataWriter garbled = oneAttribute();
    garbled.addComm(1, 2, "a");
    garbled.addRecord(3, 0, perfdatawriter::Bytes(8, 0), 7);
    garbled.addComm(1, 2, "b");
    Collector stopped;
    log = walk(garbled, stopped);
    EXPECT_EQ(1u, stopped.comms.size());
    EXPECT_EQ(1, stopped.closes);
    EXPECT_NE(std::string::npos, log.find("ERROR Garbled event data header size.  Perf file corrupt."));

    // A record that runs past the end of the data ends the walk after the whole records, with one warning.
    PerfDataWriter truncated = oneAttribute();
    truncated.addComm(1, 2, "a");
    truncated.addRecord(3, 0, perfdatawriter::Bytes(8, 0), 400);
    truncated.minimumFileSize = 0;
    Collector cut;
    log = walk(truncated, cut);
    EXPECT_EQ(1u, cut.comms.size());
    EXPECT_EQ(1, cut.closes);
    EXPECT_NE(std::string::npos, log.find("WARN Recording cut short: the last record of the data is incomplete (16 of "
                                          "its 400 bytes are there). Every whole record before the cut was read."));
}
