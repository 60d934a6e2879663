// trace.dat recordings (a real one and writer-made ones of both byte orders, both long sizes, several page sizes,
// versions 6 and 7) decode as trace-cmd report lists them, and damaged copies never crash the reader.

#include "perfevents/TraceDatReader.h"
#include "eventdb/TracingDataParser.h"
#include "perfevents/TraceDatFile.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <regex>
#include <sstream>

using perfevents::TraceDatReader;
using perftest::Collector;

namespace {

const std::string DATA = std::string(PLOTWRIGHT_TEST_DATA) + "/tracedat/";

// One line of `trace-cmd report -t`: "comm-pid [cpu] seconds.nanoseconds: event: fields".
struct Listed {
    std::string comm, time, event;
    std::uint32_t pid;
    unsigned cpu;
    std::map<std::string, long long> fields; // the integer name=value pairs
};

struct Listing {
    std::vector<Listed> events;
    unsigned long long dropped = 0; // lost events the listing counts
    unsigned uncounted = 0;         // pages that lost events without a count
};

Listing readListing(const std::string& path) {
    Listing listing;
    std::ifstream in(path);
    const std::regex form(R"(^\s*(.*)-(\d+)\s+\[(\d+)\]\s+(\d+\.\d{9}): (\w+):\s+(.*)$)");
    const std::regex dropped(R"(^CPU:\d+ \[(\d+ )?EVENTS DROPPED\]$)");
    const std::regex pair(R"((\w+)=(-?\d+)(?=\s|$))");
    for (std::string text; std::getline(in, text);) {
        std::smatch m;
        if (std::regex_match(text, m, dropped)) {
            if (m[1].matched)
                listing.dropped += std::stoull(m[1].str());
            else
                ++listing.uncounted;
        } else if (std::regex_match(text, m, form)) {
            Listed line{m[1].str(),
                        m[4].str(),
                        m[5].str(),
                        static_cast<std::uint32_t>(std::stoul(m[2].str())),
                        static_cast<unsigned>(std::stoul(m[3].str())),
                        {}};
            const std::string rest = m[6].str();
            for (auto it = std::sregex_iterator(rest.begin(), rest.end(), pair); it != std::sregex_iterator(); ++it)
                line.fields[(*it)[1].str()] = std::stoll((*it)[2].str());
            listing.events.push_back(line);
        }
    }
    return listing;
}

std::string seconds(unsigned long long nanoseconds) {
    char text[40];
    std::snprintf(text, sizeof text, "%llu.%09llu", nanoseconds / 1000000000ULL, nanoseconds % 1000000000ULL);
    return text;
}

// A field's value out of a record in this machine's byte order, sign-extended as its format says.
long long fieldValue(const std::vector<unsigned char>& raw, const eventdb::TraceEventFormat::Field& field) {
    unsigned long long value = 0;
    std::memcpy(&value, raw.data() + field.offset, field.size); // little-endian hosts (x86-64, aarch64)
    if (field.isSigned && field.size < 8 && (value >> (8 * field.size - 1)) != 0)
        value |= ~0ULL << (8 * field.size);
    return static_cast<long long>(value);
}

// Walks a recording and returns the log lines.
std::string walk(std::istream& input, Collector& collector, std::vector<unsigned char>* tracingData = nullptr,
                 unsigned long long* missed = nullptr) {
    testing::internal::CaptureStdout();
    try {
        TraceDatReader reader(input);
        reader.parseEvents(collector);
        if (tracingData != nullptr)
            *tracingData = reader.getTracingData();
        if (missed != nullptr)
            *missed = reader.getMissedEvents();
    } catch (...) {
        kestrel::Logger::flushAll();
        testing::internal::GetCapturedStdout();
        throw;
    }
    kestrel::Logger::flushAll();
    return testing::internal::GetCapturedStdout();
}

std::string walkBytes(const perfdatawriter::Bytes& bytes, Collector& collector) {
    std::istringstream input(std::string(bytes.begin(), bytes.end()));
    return walk(input, collector);
}

} // namespace

TEST(TraceDatReaderTest, RecordingsAgreeWithTraceCmdReport) {
    const std::pair<const char*, const char*> cases[] = {{"armirq.dat", "armirq"},
                                                         {"armirq.v7.dat", "armirq"},
                                                         {"le64.dat", "le64"},
                                                         {"le64.v7.dat", "le64"},
                                                         {"be32.dat", "be32"},
                                                         {"be64.dat", "be64"},
                                                         {"le32-16k.dat", "le32-16k"},
                                                         {"le32-16k.v7.dat", "le32-16k"},
                                                         {"le32-plain.v7.dat", "le32-16k"},
                                                         {"be32.v7.dat", "be32"},
                                                         {"be64.v7.dat", "be64"},
                                                         {"guest.dat", "guest"},
                                                         {"guest-step.dat", "guest-step"}};
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.first);
        const Listing listing = readListing(DATA + entry.second + ".report.txt");
        ASSERT_GT(listing.events.size(), 100u);
        std::ifstream input(DATA + entry.first, std::ios::binary);
        Collector collector;
        std::vector<unsigned char> tracingData;
        unsigned long long missed = 0;
        const std::string log = walk(input, collector, &tracingData, &missed);
        EXPECT_EQ(1, collector.closes);
        EXPECT_EQ(listing.dropped, missed);
        if (listing.dropped + listing.uncounted > 0) {
            EXPECT_NE(std::string::npos, log.find("The ring buffer lost ")) << log;
        }
        EXPECT_EQ(std::string::npos, log.find("cut short")) << log;

        // The formats the reader hands on for the event database describe every event.
        const std::vector<eventdb::TraceEventFormat> formats =
            eventdb::TracingDataParser(tracingData.data(), tracingData.size()).parse();
        std::map<unsigned, const eventdb::TraceEventFormat*> byId;
        for (const eventdb::TraceEventFormat& format : formats)
            byId[format.id] = &format;
        std::map<std::uint32_t, std::string> names;
        for (const perftest::SeenComm& comm : collector.comms)
            names[comm.pid] = comm.comm;

        ASSERT_EQ(listing.events.size(), collector.samples.size());
        unsigned long long compared = 0;
        for (std::size_t i = 0; i < listing.events.size(); ++i) {
            const Listed& line = listing.events[i];
            const perftest::SeenSample& sample = collector.samples[i];
            ASSERT_EQ(line.time, seconds(sample.time)) << "event " << i;
            ASSERT_EQ(line.cpu, sample.cpu) << "event " << i;
            ASSERT_EQ(line.pid, sample.pid) << "event " << i;
            ASSERT_EQ(sample.pid, sample.tid);
            if (line.comm[0] != '<') {
                EXPECT_EQ(line.comm, names[sample.pid]) << "event " << i;
            }
            std::uint16_t id = 0;
            std::memcpy(&id, sample.raw.data(), 2);
            ASSERT_TRUE(byId.count(id)) << "event " << i;
            const eventdb::TraceEventFormat& format = *byId[id];
            ASSERT_EQ(line.event, format.name) << "event " << i;
            for (const eventdb::TraceEventFormat::Field& field : format.fields) {
                const auto listed = line.fields.find(field.name);
                if (listed == line.fields.end() || field.castType() == nullptr || field.isPointer())
                    continue;
                ASSERT_LE(field.offset + field.size, sample.raw.size());
                // trace-cmd prints a negative short as its unsigned bits: the same bits count as equal.
                const long long value = fieldValue(sample.raw, field);
                const unsigned long long bits = field.size == 8 ? ~0ULL : (1ULL << (8 * field.size)) - 1;
                if (listed->second != value) {
                    EXPECT_EQ(static_cast<unsigned long long>(listed->second),
                              static_cast<unsigned long long>(value) & bits)
                        << "event " << i << " " << field.name;
                }
                ++compared;
            }
        }
        EXPECT_GT(compared, listing.events.size() / 2);
    }
}

TEST(TraceDatReaderTest, CutAndDamagedFilesGiveWholeEventsOrAClearMessage) {
    perftest::QuietLogs quiet;
    for (const char* name : {"be32.dat", "le64.v7.dat", "be32.v7.dat"}) {
        SCOPED_TRACE(name);
        const perfdatawriter::Bytes bytes = perftest::readFile(DATA + name);
        Collector full;
        walkBytes(bytes, full);
        // Cut anywhere: per CPU, the events are the first events of that CPU in the whole file.
        for (std::size_t cut = 0; cut < bytes.size(); cut += (cut < 2048 ? 1 : 7)) {
            Collector collector;
            try {
                walkBytes(perfdatawriter::Bytes(bytes.begin(), bytes.begin() + cut), collector);
            } catch (const std::ios_base::failure& e) {
                EXPECT_NE(std::string::npos, std::string(e.what()).find("trace.dat")) << cut;
                continue;
            }
            ASSERT_EQ(1, collector.closes) << cut;
            std::map<unsigned long long, std::size_t> next;
            for (const perftest::SeenSample& sample : collector.samples) {
                std::size_t& at = next[sample.cpu];
                while (at < full.samples.size() && full.samples[at].cpu != sample.cpu)
                    ++at;
                ASSERT_LT(at, full.samples.size()) << cut;
                ASSERT_EQ(full.samples[at].time, sample.time) << cut;
                ASSERT_EQ(full.samples[at].raw, sample.raw) << cut;
                ++at;
            }
        }
        // Every byte of the metadata garbled, and a sweep over the pages: a message or events, never a crash or
        // a read outside a buffer (the sanitizer build watches).
        for (std::size_t at = 0; at < bytes.size(); at += (at < 1500 ? 1 : 13)) {
            for (unsigned char value : {0x00, 0xFF, 0x7F}) {
                perfdatawriter::Bytes damaged = bytes;
                damaged[at] = value;
                Collector collector;
                try {
                    walkBytes(damaged, collector);
                    ASSERT_EQ(1, collector.closes) << at;
                } catch (const std::ios_base::failure& e) {
                    EXPECT_NE(std::string::npos, std::string(e.what()).find("trace.dat")) << at;
                }
            }
        }
    }
}

TEST(TraceDatReaderTest, CutFilesKeepEveryWholeEventAndSayWhatIsMissing) {
    const perfdatawriter::Bytes bytes = perftest::readFile(DATA + "be32.dat");
    Collector full;
    walkBytes(bytes, full);
    // be32.dat ends with the pages of CPU 1; cut in the middle of its data.
    std::istringstream file(std::string(bytes.begin(), bytes.end()));
    const perfevents::TraceDatFile::CpuData cpu1 = perfevents::TraceDatFile(file).getCpuData().back();
    ASSERT_EQ(1u, cpu1.cpu);
    const std::size_t cut = cpu1.offset + cpu1.size / 2 + 1000;
    Collector collector;
    const std::string log = walkBytes(perfdatawriter::Bytes(bytes.begin(), bytes.begin() + cut), collector);
    EXPECT_NE(std::string::npos, log.find("Recording cut short: missing ")) << log;
    std::size_t all0 = 0, all1 = 0;
    for (const perftest::SeenSample& s : full.samples)
        (s.cpu == 0 ? all0 : all1)++;
    std::size_t seen0 = 0, seen1 = 0;
    for (const perftest::SeenSample& s : collector.samples)
        (s.cpu == 0 ? seen0 : seen1)++;
    EXPECT_EQ(all0, seen0);
    EXPECT_LT(seen1, all1);
    EXPECT_GT(seen1, 0u);
}

TEST(TraceDatReaderTest, UnsupportedInputIsNamed) {
    perftest::QuietLogs quiet;
    auto message = [](const perfdatawriter::Bytes& bytes) {
        Collector collector;
        try {
            walkBytes(bytes, collector);
        } catch (const std::ios_base::failure& e) {
            return std::string(e.what());
        }
        return std::string("no failure");
    };
    // Another compression algorithm than zstd.
    perfdatawriter::Bytes v7 = perftest::readFile(DATA + "le64.v7.dat");
    const auto zstd = std::search(v7.begin(), v7.end(), std::begin("zstd"), std::end("zstd") - 1);
    ASSERT_NE(v7.end(), zstd);
    std::memcpy(&*zstd, "lzma", 4);
    EXPECT_NE(std::string::npos, message(v7).find("\"lzma\": only zstd is supported")) << message(v7);
    // Another version, and not a trace.dat at all.
    perfdatawriter::Bytes v5 = perftest::readFile(DATA + "le64.dat");
    v5[10] = '5';
    EXPECT_NE(std::string::npos, message(v5).find("version \"5\" is not supported")) << message(v5);
    EXPECT_NE(std::string::npos, message(perfdatawriter::Bytes(64, 'x')).find("not a trace.dat file"));

    // A stream that cannot seek, such as standard input.
    struct Pipe : std::streambuf {
        std::string bytes;
        explicit Pipe(const perfdatawriter::Bytes& b) : bytes(b.begin(), b.end()) {
            setg(&bytes[0], &bytes[0], &bytes[0] + bytes.size());
        }
    } pipe(perftest::readFile(DATA + "le64.dat"));
    std::istream input(&pipe);
    Collector collector;
    try {
        walk(input, collector);
        ADD_FAILURE() << "a stream that cannot seek was read";
    } catch (const std::ios_base::failure& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("give the trace.dat as a file")) << e.what();
    }
}
