// Records framed from compressed pieces, pipes, aux payloads and cut or unordered files reach the listener whole,
// each once, in time order, decoded with their own attribute's layout.

#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/PerfRecordPipeline.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <streambuf>

using perfdatawriter::Bytes;
using perfdatawriter::PerfDataWriter;
using perfevents::PerfRecordFileReader;
using perftest::Collector;
using perftest::traceAttribute;
using perftest::walkBytes;

namespace {

const std::uint64_t TRACE_SAMPLE_TYPE = 0x10587; // identifier, ip, tid, time, cpu, period, raw

PerfDataWriter traceWriter() {
    PerfDataWriter writer;
    writer.addAttribute(traceAttribute());
    writer.minimumFileSize = 0;
    return writer;
}

// A sample whose raw data starts with its serial number, so that each one can be told apart.
perfdatawriter::Sample sample(std::uint32_t serial, std::uint64_t time, std::uint32_t cpu = 0,
                              std::uint64_t identifier = 40) {
    perfdatawriter::Sample s;
    s.identifier = identifier;
    s.pid = 100 + serial % 7;
    s.tid = s.pid + 1000;
    s.time = time;
    s.cpu = cpu;
    s.period = 1;
    s.raw.resize(12, 0);
    std::memcpy(s.raw.data(), &serial, 4);
    return s;
}

std::uint32_t serialOf(const perftest::SeenSample& seen) {
    std::uint32_t serial = 0;
    if (seen.raw.size() >= 4)
        std::memcpy(&serial, seen.raw.data(), 4);
    return serial;
}

// Everything the listener saw, as one comparable text.
std::string digest(const Collector& collector) {
    std::ostringstream out;
    for (unsigned int type : collector.types)
        out << type << ' ';
    out << '\n';
    for (const perftest::SeenSample& s : collector.samples)
        out << serialOf(s) << ':' << s.time << '/' << s.pid << '/' << s.tid << '/' << s.cpu << '/' << s.raw.size()
            << ' ';
    out << '\n';
    for (const perftest::SeenComm& c : collector.comms)
        out << c.pid << '/' << c.tid << '/' << c.comm << ' ';
    out << "\ncloses " << collector.closes;
    return out.str();
}

// The warnings and errors of a log.
std::string problems(const std::string& log) {
    std::istringstream lines(log);
    std::string found;
    for (std::string line; std::getline(lines, line);)
        if (line.find(" WARN ") != std::string::npos || line.find(" ERROR ") != std::string::npos)
            found += line + "\n";
    return found;
}

std::size_t count(const std::string& text, const std::string& what) {
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

// The offsets at which the records of a data section end.
std::vector<std::size_t> recordEnds(const Bytes& records) {
    std::vector<std::size_t> ends;
    for (std::size_t at = 0; at + 8 <= records.size();) {
        std::uint16_t size = 0;
        std::memcpy(&size, records.data() + at + 6, 2);
        at += size;
        ends.push_back(at);
    }
    return ends;
}

// A stream buffer over bytes as a pipe offers them: no seeking, and reads that return fewer bytes than asked.
class PipeBuffer : public std::streambuf {
public:
    explicit PipeBuffer(const Bytes& bytes) : bytes(bytes), position(0) {}

protected:
    int_type underflow() override {
        if (position == bytes.size())
            return traits_type::eof();
        current = static_cast<char>(bytes[position]);
        setg(&current, &current, &current + 1);
        ++position;
        return traits_type::to_int_type(current);
    }
    std::streamsize xsgetn(char* out, std::streamsize wanted) override {
        if (gptr() != egptr()) { // the character underflow() has put into the get area
            *out = *gptr();
            gbump(1);
            return 1;
        }
        const std::size_t step =
            std::min<std::size_t>({static_cast<std::size_t>(wanted), 4093, bytes.size() - position});
        if (step > 0)
            std::memcpy(out, bytes.data() + position, step);
        position += step;
        return static_cast<std::streamsize>(step);
    }

private:
    const Bytes& bytes;
    std::size_t position;
    char current = 0;
};

// A data section of comms and samples around a lost record; the samples come in time order.
PerfDataWriter mixedRecords() {
    PerfDataWriter writer = traceWriter();
    writer.addComm(1, 2, "first");
    for (std::uint32_t i = 0; i < 12; ++i) {
        writer.addSample(sample(i, 1000 + 10 * i, i % 3));
        if (i == 5) {
            writer.addComm(3, 4, "a longer command name");
            writer.addLost(40, 7);
        }
    }
    writer.addComm(5, 6, "last");
    return writer;
}

// What a file holding the first n whole records of a data section delivers, for every n.
std::vector<std::string> prefixDigests(const Bytes& records) {
    const std::vector<std::size_t> ends = recordEnds(records);
    std::vector<std::string> prefixes;
    for (std::size_t n = 0; n <= ends.size(); ++n) {
        PerfDataWriter prefix = traceWriter();
        prefix.addRawData(Bytes(records.begin(), records.begin() + (n == 0 ? 0 : ends[n - 1])));
        Collector collector;
        walkBytes(prefix.build(), collector);
        prefixes.push_back(digest(collector));
    }
    return prefixes;
}

} // namespace

TEST(PerfRecordFramingTest, CompressedPiecesMayEndAnywhereInARecord) {
    const PerfDataWriter plain = mixedRecords();
    Collector expected;
    ASSERT_EQ("", problems(walkBytes(plain.build(), expected)));
    ASSERT_EQ(12u, expected.samples.size());
    const Bytes& records = plain.getData();

    auto compressed = [](const Bytes& pieces) {
        PerfDataWriter writer = traceWriter();
        writer.addRawData(pieces);
        return writer.build();
    };
    auto expectSame = [&expected](const Bytes& file, const std::string& what) {
        SCOPED_TRACE(what);
        Collector got;
        EXPECT_EQ("", problems(walkBytes(file, got)));
        EXPECT_EQ(digest(expected), digest(got));
    };
    // One cut at every byte of the first records, header bytes included, then at every 13th; both forms of the
    // compressed record.
    for (std::size_t at = 0; at <= records.size(); at += at < 200 ? 1 : 13)
        expectSame(compressed(perfdatawriter::compressRecords(records, {at}, at % 2 == 1)),
                   "cut at " + std::to_string(at));
    // Many short pieces, so that together they end at every byte: records spread over up to ten compressed
    // records.
    for (std::size_t step = 1; step <= 11; ++step) {
        std::vector<std::size_t> splits;
        for (std::size_t at = step; at < records.size(); at += step)
            splits.push_back(at);
        expectSame(compressed(perfdatawriter::compressRecords(records, splits, step % 2 == 0)),
                   "every " + std::to_string(step) + " bytes");
    }
    // Delivered raw, the records inside compressed records are those of the plain file.
    Collector rawPlain, rawCompressed;
    walkBytes(plain.build(), rawPlain, false);
    walkBytes(compressed(perfdatawriter::compressRecords(records, {5, 9, 50})), rawCompressed, false);
    EXPECT_EQ(plain.getRecordCount(), rawPlain.types.size());
    EXPECT_EQ(rawPlain.types.size(), rawCompressed.types.size());

    // Records perf writes uncompressed between compressed ones leave the stream intact.
    const Bytes pieces = perfdatawriter::compressRecords(records, {100, 101, 333});
    const std::vector<std::size_t> pieceEnds = recordEnds(pieces);
    ASSERT_EQ(4u, pieceEnds.size());
    Bytes interleaved;
    for (std::size_t i = 0, begin = 0; i < pieceEnds.size(); begin = pieceEnds[i++]) {
        interleaved.insert(interleaved.end(), pieces.begin() + begin, pieces.begin() + pieceEnds[i]);
        perfdatawriter::putU32(interleaved, 82); // FINISHED_INIT, ignored
        perfdatawriter::putU32(interleaved, 8u << 16);
    }
    expectSame(compressed(interleaved), "between other records");

    // Pipe mode: the compression method comes as a feature record. An unknown method skips with a count.
    PerfDataWriter pipe;
    pipe.addAttribute(traceAttribute());
    pipe.addRawData(pieces);
    Bytes zstd(20, 0), unknown(20, 0);
    zstd[4] = 1;
    unknown[4] = 2;
    expectSame(pipe.buildPipe(Bytes(), {{27, zstd}}), "pipe");
    Collector skipped;
    const std::string log = walkBytes(pipe.buildPipe(Bytes(), {{27, unknown}}), skipped);
    EXPECT_TRUE(skipped.types.empty());
    EXPECT_NE(std::string::npos, log.find("WARN 4 compressed records of an unknown compression method were skipped."));

    // A compressed record whose payload ends early: the records whole so far pass, the cut one is reported.
    const std::size_t cutAt = records.size() - 20;
    Bytes early = perfdatawriter::compressRecords(Bytes(records.begin(), records.begin() + cutAt), {});
    Collector partial;
    const std::string partialLog = walkBytes(compressed(early), partial);
    EXPECT_EQ(1u, count(partialLog, "WARN Recording cut short: the last record in the compressed data is incomplete"));
    EXPECT_EQ(expected.comms.size() - 1, partial.comms.size());
    EXPECT_EQ(expected.samples.size(), partial.samples.size());

    // Decompressed records of any size a header can state reach the delivering thread whole, also those larger
    // than a batch of the hand-over between the threads: samples without a time, which are copied into the batch
    // as they come instead of being held in order.
    const perfdatawriter::Attribute untimed = traceAttribute({40, 41}, TRACE_SAMPLE_TYPE & ~0x4ULL);
    PerfDataWriter large, file;
    large.addAttribute(untimed);
    file.addAttribute(untimed);
    for (std::uint32_t serial = 0; serial < 6; ++serial) {
        perfdatawriter::Sample big = sample(serial, 1000 + serial);
        big.raw.assign(serial % 2 == 0 ? 65400 : 33000, static_cast<std::uint8_t>(serial + 1));
        large.addSample(big);
    }
    file.addRawData(perfdatawriter::compressRecords(large.getData(), {}));
    const bool threadsWanted = perfevents::PerfRecordPipeline::isThreadWanted();
    for (const char* threaded : {"1", "0"}) {
        if (!threadsWanted && threaded[0] == '1')
            continue;
        setenv("PLOTWRIGHT_READER_THREAD", threaded, 1);
        Collector got;
        EXPECT_EQ("", problems(walkBytes(file.build(), got)));
        ASSERT_EQ(6u, got.samples.size());
        for (std::uint32_t serial = 0; serial < 6; ++serial) {
            const std::vector<unsigned char>& raw = got.samples[serial].raw;
            EXPECT_EQ(serial % 2 == 0 ? 65400u : 33000u, raw.size());
            EXPECT_EQ(raw.size(), static_cast<std::size_t>(std::count(raw.begin(), raw.end(), serial + 1)));
        }
    }
    if (threadsWanted)
        unsetenv("PLOTWRIGHT_READER_THREAD");
}

TEST(PerfRecordFramingTest, AuxtracePayloadsAreSkippedNeverRead) {
    // Trace data that holds whole records (and a garbled header), as hardware trace may by chance.
    PerfDataWriter lookalike = traceWriter();
    lookalike.addComm(66, 66, "invented");
    lookalike.addSample(sample(666, 5));
    lookalike.addRecord(3, 0, Bytes(), 0);
    const Bytes& fake = lookalike.getData();
    Bytes large;
    while (large.size() < (3u << 20) / 2) // more than the framer reads at once
        large.insert(large.end(), fake.begin(), fake.end());

    PerfDataWriter writer = traceWriter();
    writer.addSample(sample(0, 10));
    writer.addAuxtrace(fake, 1, 2);
    writer.addSample(sample(1, 20));
    writer.addAuxtrace(Bytes(3, 0), 0, 0); // a header of size 0 if it were read
    writer.addComm(7, 8, "real");
    writer.addAuxtrace(large);
    writer.addAuxtrace(Bytes());
    writer.addSample(sample(2, 30));
    const std::uint64_t recordCount = writer.getRecordCount();

    for (bool pipe : {false, true}) {
        SCOPED_TRACE(pipe ? "pipe" : "file");
        const Bytes file = pipe ? writer.buildPipe() : writer.build();
        Collector decoded;
        EXPECT_EQ("", problems(walkBytes(file, decoded)));
        ASSERT_EQ(3u, decoded.samples.size());
        for (std::uint32_t i = 0; i < 3; ++i)
            EXPECT_EQ(i, serialOf(decoded.samples[i]));
        ASSERT_EQ(1u, decoded.comms.size());
        EXPECT_EQ("real", decoded.comms[0].comm);
        // Raw, every record of the data is delivered, and no payload.
        Collector raw;
        walkBytes(file, raw, false);
        EXPECT_EQ(recordCount, raw.types.size());
    }

    // Cut inside the large payload: the records before it are there, and the loss is reported once.
    const Bytes file = writer.build();
    const std::size_t cut = writer.getDataOffset() + writer.getDataSize() - 200000;
    Collector cutShort;
    const std::string log = walkBytes(Bytes(file.begin(), file.begin() + cut), cutShort);
    EXPECT_EQ(2u, cutShort.samples.size());
    EXPECT_EQ(1u, cutShort.comms.size());
    EXPECT_EQ(1u, count(log, "WARN Recording cut short: the last 200000 bytes of the data section are missing; the "
                             "payload after the last record of the data is incomplete (199880 bytes are missing)."));
    EXPECT_EQ(0u, count(log, "ERROR"));
}

TEST(PerfRecordFramingTest, UnfinishedAndCutRecordingsKeepEveryWholeRecord) {
    PerfDataWriter writer = traceWriter();
    writer.addComm(1, 2, "first");
    writer.addSample(sample(0, 10));
    writer.addLost(40, 3);
    writer.addSample(sample(1, 20, 1));
    writer.addComm(3, 4, "second name");
    writer.addSample(sample(2, 30));
    writer.addExit(1, 0, 2, 0, 9999);
    const Bytes full = writer.build();
    const std::size_t dataOffset = writer.getDataOffset();
    const Bytes& records = writer.getData();
    const std::vector<std::size_t> ends = recordEnds(records);
    ASSERT_EQ(records.size(), ends.back());

    const std::vector<std::string> prefixes = prefixDigests(records);

    Bytes unfinished = full;
    perfdatawriter::patchU64(unfinished, 48, 0);
    for (std::size_t length = dataOffset; length <= full.size(); ++length) {
        const std::size_t whole = std::upper_bound(ends.begin(), ends.end(), length - dataOffset) - ends.begin();
        for (bool sizeZero : {false, true}) {
            SCOPED_TRACE(std::to_string(length) + (sizeZero ? " bytes, data size 0" : " bytes"));
            const Bytes& source = sizeZero ? unfinished : full;
            Collector collector;
            const std::string log = walkBytes(Bytes(source.begin(), source.begin() + length), collector);
            EXPECT_EQ(prefixes[whole], digest(collector));
            // A file of stated size that is whole, and an unfinished one without data, lack nothing.
            const bool lacking = sizeZero ? length > dataOffset : length < full.size();
            EXPECT_EQ(lacking ? 1u : 0u, count(log, "WARN Recording cut short: "));
            EXPECT_EQ(0u, count(log, "ERROR"));
        }
    }
    // Event types that lie past the end of a cut file are not needed: the records are read and it is said.
    writer.addEventType(372, "sched:sched_switch");
    writer.eventTypesOffset = 1 << 20;
    Collector collector;
    const std::string log = walkBytes(writer.build(), collector);
    EXPECT_EQ(prefixes.back(), digest(collector));
    EXPECT_NE(std::string::npos, log.find("WARN Recording cut short: the trace point event types section is missing. Every"));

    // Cuts before the data: refused or read, never a crash.
    {
        perftest::QuietLogs quiet;
        for (std::size_t length = 0; length < dataOffset; ++length) {
            Collector collector;
            try {
                walkBytes(Bytes(full.begin(), full.begin() + length), collector);
            } catch (const std::exception&) {
            }
        }
    }
}

TEST(PerfRecordFramingTest, RoundsOfCpuBuffersComeOutInTimeOrder) {
    // Three CPUs whose buffers are written one after another in each round, each up to a time that varies with
    // the CPU and round, as a ring buffer is read while it fills.
    const std::uint64_t ROUND = 1000;
    const std::uint64_t steps[3] = {37, 50, 74}; // equal times across CPUs occur
    std::uint64_t written[3] = {0, 0, 0};
    PerfDataWriter rounds = traceWriter(), noRounds = traceWriter();
    std::uint32_t serial = 0;
    std::vector<std::uint64_t> fileOrder;
    for (std::uint64_t round = 1; round <= 8; ++round) {
        for (std::uint32_t i = 0; i < 3; ++i) {
            const std::uint32_t cpu =
                static_cast<std::uint32_t>(round + 2 * i) % 3; // the order of buffers changes from round to round
            const std::uint64_t upTo = round == 8 ? 8 * ROUND : round * ROUND + (cpu * 3 + round) % 5 * ROUND / 10;
            for (std::uint64_t time = written[cpu] + steps[cpu]; time <= upTo; time += steps[cpu]) {
                rounds.addSample(sample(serial, time, cpu));
                noRounds.addSample(sample(serial++, time, cpu));
                fileOrder.push_back(time);
                written[cpu] = time;
            }
            // The sample of a record without time, which passes at once.
            if (round == 4 && i == 1) {
                rounds.addComm(9, 9, "between");
                noRounds.addComm(9, 9, "between");
            }
        }
        if (round < 8)
            rounds.addFinishedRound();
    }
    ASSERT_FALSE(std::is_sorted(fileOrder.begin(), fileOrder.end()));

    std::vector<std::size_t> splits;
    for (std::size_t at = 97; at < rounds.getDataSize(); at += 97)
        splits.push_back(at);
    PerfDataWriter compressed = traceWriter();
    compressed.addRawData(perfdatawriter::compressRecords(rounds.getData(), splits));

    for (const PerfDataWriter* writer : {&rounds, &noRounds, &compressed}) {
        SCOPED_TRACE(writer == &rounds ? "rounds" : writer == &noRounds ? "no rounds" : "compressed rounds");
        Collector collector;
        EXPECT_EQ("", problems(walkBytes(writer->build(), collector)));
        ASSERT_EQ(serial, collector.samples.size());
        std::vector<bool> seen(serial, false);
        for (std::size_t i = 0; i < collector.samples.size(); ++i) {
            const std::uint32_t id = serialOf(collector.samples[i]);
            ASSERT_LT(id, serial);
            EXPECT_FALSE(seen[id]) << "sample " << id << " twice";
            seen[id] = true;
            if (i > 0) {
                const perftest::SeenSample& before = collector.samples[i - 1];
                // Time order; samples of equal time in file order.
                EXPECT_TRUE(before.time < collector.samples[i].time ||
                            (before.time == collector.samples[i].time && serialOf(before) < id))
                    << "at " << i;
            }
        }
        EXPECT_EQ(1u, collector.comms.size());
    }
}

TEST(PerfRecordFramingTest, EachSampleIsDecodedWithTheLayoutOfItsId) {
    // A trace point, one with a call chain, a counter without raw data, and read values with lost counts, alone
    // and in a group (two values, enabled time).
    PerfDataWriter writer;
    writer.addAttribute(traceAttribute({10, 11}));
    writer.addAttribute(traceAttribute({20}, TRACE_SAMPLE_TYPE | 0x20));
    perfdatawriter::Attribute counter = traceAttribute({30}, TRACE_SAMPLE_TYPE & ~0x400ULL);
    counter.type = 1;
    writer.addAttribute(counter);
    writer.addAttribute(traceAttribute({40}, TRACE_SAMPLE_TYPE | 0x10, 0x4 | 0x10));
    writer.addAttribute(traceAttribute({50, 51}, TRACE_SAMPLE_TYPE | 0x10, 0x8 | 0x4 | 0x10 | 0x1));

    const std::uint64_t ids[] = {10, 20, 30, 40, 50, 11, 51, 99};
    const std::size_t attributeOf[] = {0, 1, 2, 3, 4, 0, 4};
    const std::size_t readBytes[] = {0, 0, 0, 24, 64, 0, 64};
    for (std::uint32_t i = 0; i < 8; ++i) {
        perfdatawriter::Sample s = sample(i, 100 + i, i % 2, ids[i]);
        s.period = 1000 + i;
        s.callchain = {0xffff000011112222ULL, 0x400000ULL + i};
        for (std::size_t word = 0; word < (i < 7 ? readBytes[i] : 24) / 8; ++word)
            perfdatawriter::putU64(s.readBlock, word == 0 && i < 7 && readBytes[i] == 64 ? 2 : 0x5000 + word);
        writer.addSample(s, i < 7 ? attributeOf[i] : 3);
    }
    writer.minimumFileSize = 0;

    for (bool pipe : {false, true}) {
        SCOPED_TRACE(pipe ? "pipe" : "file");
        const Bytes bytes = pipe ? writer.buildPipe() : writer.build();
        std::istringstream input(std::string(bytes.begin(), bytes.end()));
        testing::internal::CaptureStdout();
        PerfRecordFileReader reader(input, true);
        Collector collector;
        reader.parseEvents(collector);
        kestrel::Logger::flushAll();
        const std::string log = testing::internal::GetCapturedStdout();
        ASSERT_EQ(5u, reader.getAttributes().size());
        ASSERT_EQ(7u, collector.samples.size());
        for (std::uint32_t i = 0; i < 7; ++i) {
            SCOPED_TRACE("sample " + std::to_string(i));
            const perftest::SeenSample& seen = collector.samples[i];
            EXPECT_EQ(&reader.getAttributes()[attributeOf[i]], seen.attribute);
            EXPECT_EQ(100u + i, seen.time);
            EXPECT_EQ(1000u + i, seen.period);
            EXPECT_EQ(i % 2, seen.cpu);
            EXPECT_EQ(100 + i % 7, seen.pid);
            EXPECT_EQ(attributeOf[i] == 1 ? 2u : 0u, seen.callchain);
            EXPECT_EQ(readBytes[i], seen.readBytes);
            const Bytes raw = attributeOf[i] == 2 ? Bytes() : sample(i, 0).raw;
            EXPECT_EQ(raw, seen.raw);
        }
        EXPECT_EQ(1u, count(log, "WARN 1 samples were skipped: their id belongs to no attribute"));
        EXPECT_EQ(0u, count(log, "different layouts"));
        EXPECT_EQ(0u, count(log, "could not be decoded"));
    }
}

TEST(PerfRecordFramingTest, PipeModeReadsFromAStreamThatCannotSeek) {
    PerfDataWriter writer = mixedRecords();
    writer.addEventType(372, "sched:sched_switch");
    // Tracing data of an odd size whose bytes, read as a record, would be garbled; then its padding.
    Bytes tracing = {1, 0, 0, 0, 0, 0, 0, 0, 't', 'r', 'a', 'c', 'e'};
    const Bytes bytes = writer.buildPipe(tracing, {{27, Bytes(20, 0)}});
    Collector expected;
    walkBytes(writer.build(), expected);

    PipeBuffer buffer(bytes);
    std::istream input(&buffer);
    testing::internal::CaptureStdout();
    PerfRecordFileReader reader(input, true);
    EXPECT_TRUE(reader.isPipeMode());
    EXPECT_EQ(-1, reader.getFileSize());
    EXPECT_EQ(1u, reader.getAttributes().size());
    EXPECT_TRUE(reader.getAttributes()[0].isAssociatedWithId(41));
    EXPECT_EQ("sched:sched_switch", reader.getTraceEventName(372));
    Collector collector;
    reader.parseEvents(collector);
    EXPECT_EQ(0u, reader.getDataTotal());
    kestrel::Logger::flushAll();
    EXPECT_EQ("", problems(testing::internal::GetCapturedStdout()));
    EXPECT_EQ(digest(expected), digest(collector));

    // A file that is not a pipe's cannot be read without seeking.
    const Bytes file = writer.build();
    PipeBuffer fileBuffer(file);
    std::istream fileInput(&fileBuffer);
    perftest::QuietLogs quiet;
    EXPECT_THROW(PerfRecordFileReader(fileInput, true), std::ios_base::failure);

    // A pipe that breaks off anywhere in its set-up and first records, then at every fifth byte: what came
    // whole is delivered, never a crash.
    const std::size_t dataStart = bytes.size() - writer.getDataSize();
    const std::vector<std::size_t> ends = recordEnds(writer.getData());
    const std::vector<std::string> prefixes = prefixDigests(writer.getData());
    for (std::size_t length = 0; length < bytes.size(); length += length < dataStart + 100 ? 1 : 5) {
        const Bytes cut(bytes.begin(), bytes.begin() + length);
        PipeBuffer cutBuffer(cut);
        std::istream cutInput(&cutBuffer);
        Collector partial;
        try {
            PerfRecordFileReader cutReader(cutInput, true);
            cutReader.parseEvents(partial);
            EXPECT_EQ(1, partial.closes);
            if (length >= dataStart) {
                const std::size_t whole = std::upper_bound(ends.begin(), ends.end(), length - dataStart) - ends.begin();
                EXPECT_EQ(prefixes[whole], digest(partial)) << "cut at " << length;
            }
        } catch (const std::exception&) {
            EXPECT_LT(length, dataStart) << "refused after its set-up was whole";
        }
    }
}
