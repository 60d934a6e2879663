#ifndef TOOLS_TRACEDATWRITER_TRACEDATWRITER_H
#define TOOLS_TRACEDATWRITER_TRACEDATWRITER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tracedatwriter {

typedef std::vector<std::uint8_t> Bytes;

/// One field of a trace point after the four common fields: its C type, name and size; arrays of char hold text.
struct FieldShape {
    std::string type; // "int", "pid_t", "long", "char[16]", ...
    std::string name;
    unsigned size;
    bool isSigned;
};

/// A trace point: the writer lays its fields out after the common ones and writes its format text.
struct EventShape {
    std::string system;
    std::string name;
    std::uint16_t id;
    std::vector<FieldShape> fields;

    /// The offset of a field in the record (after the 8 bytes of common fields).
    unsigned offsetOf(const std::string& field) const;
    unsigned recordSize() const;
    /// The text tracefs shows as the event's format; its print fmt prints every field as name=value.
    std::string formatText() const;
};

/// A field value: a number, or the text of a char array.
struct Value {
    std::uint64_t number = 0;
    std::string text;
    Value(unsigned long long n) : number(n) {}
    Value(unsigned long n) : number(n) {}
    Value(unsigned n) : number(n) {}
    Value(int n) : number(static_cast<std::uint64_t>(static_cast<std::int64_t>(n))) {}
    Value(const char* t) : text(t) {}
};

/// One event of the recording.
struct Event {
    std::uint64_t time; // nanoseconds, as the ring buffer stamps it
    unsigned cpu;
    const EventShape* shape;
    std::uint32_t pid; // common_pid
    std::vector<Value> values;
};

/// The record of an event (common fields, then the fields) in the given byte order.
Bytes encodeRecord(const Event& event, bool bigEndian);

/// What the pages of one CPU hold besides the events, to exercise the ring buffer's entries.
struct PageLayout {
    unsigned eventsPerPage = 0; // 0: as many as fit
    unsigned absoluteEvery = 0; // an absolute time stamp before every n-th event (0: never)
    bool lengthWord = false;    // every event with a length word (type 0), as 8-byte-aligned kernels write
    unsigned discardEvery = 0;  // a discarded event after every n-th event (0: never)
    bool padPageEnd = false;    // a padding entry fills each page's unused end (counted by the commit)
    std::vector<std::pair<unsigned, std::int64_t>> missed; // (page index, count; -1: flag without count)
};

/// Builds trace.dat files of version 6: the initial format, header page and header event texts, the event
/// formats, kallsyms, printk formats, saved command lines, options and the flyrecord data of each CPU, laid out
/// in ring buffer pages as the kernel writes them (time deltas, time extends for long gaps, optional absolute
/// stamps, length words, discarded events, padding, missed-events flags).
class TraceDatWriter {
public:
    TraceDatWriter(bool bigEndian, unsigned longSize, unsigned pageSize);

    void addEvent(const EventShape& shape);
    void addCommandLine(std::uint32_t pid, const std::string& comm);
    void addOption(std::uint16_t id, const Bytes& data);
    /// Options that change event times: an offset added to every stamp, and the TSC to nanoseconds conversion.
    void addTimeOffset(std::int64_t offset);
    void addTscToNanoseconds(std::uint32_t multiplier, std::uint32_t shift, std::uint64_t offset);
    /// A guest's time shift towards its host: per CPU, samples of (guest time, offset, scaling ratio).
    struct ShiftSample {
        std::uint64_t time;
        std::int64_t offset;
        std::uint64_t scaling;
    };
    void addTimeShift(std::uint64_t peer, std::uint32_t flags, const std::vector<std::vector<ShiftSample>>& cpus,
                      bool fractions = false);
    void setLayout(unsigned cpu, const PageLayout& layout);
    void setCpuCount(unsigned count) { cpuCount = count; }
    /// The text of the trace_clock file, written after the CPU table (with a TRACECLOCK option); empty: none.
    void setTraceClock(const std::string& text) { traceClock = text; }

    void add(const Event& event) { events.push_back(event); }

    Bytes build() const;
    /// The same recording as version 7: sections (compressed, unless the compression is "none"), the CPU data
    /// in zstd chunks of the given number of pages, options sections and a strings section.
    Bytes buildVersion7(const std::string& compression = "zstd", unsigned pagesPerChunk = 4) const;
    bool writeTo(const std::string& path, unsigned version = 6) const;

    /// Numbers in the file's byte order.
    void putU16(Bytes& out, std::uint16_t value) const { putNumber(out, value, 2); }
    void putU32(Bytes& out, std::uint32_t value) const { putNumber(out, value, 4); }
    void putU64(Bytes& out, std::uint64_t value) const { putNumber(out, value, 8); }
    void putNumber(Bytes& out, std::uint64_t value, unsigned size) const;
    void patchNumber(Bytes& out, std::size_t offset, std::uint64_t value) const;

private:
    Bytes _cpuPages(unsigned cpu) const;
    void _putHeaders(Bytes& out) const;
    void _putFormats(Bytes& out, bool ftraceOnes) const;
    void _putCommandLines(Bytes& out) const;
    unsigned _cpuCount() const;
    void _putEntry(Bytes& page, unsigned typeLen, std::uint32_t delta) const;

    bool bigEndian;
    unsigned longSize;
    unsigned pageSize;
    unsigned cpuCount = 0;
    std::string traceClock = "[local] global counter uptime perf mono mono_raw boot\n";
    std::vector<const EventShape*> shapes;
    std::vector<std::pair<std::uint32_t, std::string>> commandLines;
    std::vector<std::pair<std::uint16_t, Bytes>> options;
    std::vector<std::pair<unsigned, PageLayout>> layouts;
    std::vector<Event> events;
};

/// The event set of the test recordings, for a traced system with longs of the given size.
std::vector<EventShape> standardEvents(unsigned longSize);

} // namespace tracedatwriter

#endif
