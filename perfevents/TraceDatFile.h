#ifndef PERFEVENTS_TRACEDATFILE_H
#define PERFEVENTS_TRACEDATFILE_H

#include "perfevents/TraceDatTimeShift.h"

#include <cstdint>
#include <istream>
#include <string>
#include <utility>
#include <vector>

namespace perfevents {

class TraceDatInput;

/// The parts of a trace-cmd recording (trace.dat, versions 6 and 7) other than its ring buffer pages: the
/// initial format (byte order, size of a long, page size), the header page and header event descriptions, the
/// ftrace and event formats, the saved command lines, the options (those that change event times among them)
/// and where the flyrecord data of each CPU of the top instance lies. Version 7 keeps these in sections, which
/// may be compressed with zstd. Everything is read on construction; every offset and size is checked against the
/// file (or the section) it lies in, and what cannot be read is reported with TraceDatDamage.
class TraceDatFile {
public:
    /// The first ten bytes of every trace.dat file (and of perf's tracing data section).
    static const unsigned char MAGIC[10];
    static const std::size_t MAGIC_SIZE = 10;

    struct Format {
        std::string system;
        std::string text;
    };
    /// The ring buffer pages of one CPU: where they lie, and how many bytes of them the file holds.
    struct CpuData {
        unsigned cpu;
        std::uint64_t offset;
        std::uint64_t size;
        std::uint64_t missing; // bytes the file states but does not hold (a cut file)
    };

    /// Whether the bytes begin like a trace.dat file: its magic and a version text.
    static bool isTraceDat(const unsigned char* head, std::size_t length);

    /// Reads the file on a seekable stream; throws TraceDatDamage.
    explicit TraceDatFile(std::istream& input);
    ~TraceDatFile();

    unsigned getVersion() const { return version; }
    bool isBigEndian() const { return bigEndian; }
    unsigned getLongSize() const { return longSize; }
    unsigned getPageSize() const { return pageSize; }
    std::uint64_t getFileSize() const { return fileSize; }
    /// Layout of a ring buffer page, from the header page description.
    unsigned getCommitOffset() const { return commitOffset; }
    unsigned getCommitSize() const { return commitSize; }
    unsigned getDataOffset() const { return dataOffset; }

    const std::vector<Format>& getFormats() const { return formats; }
    const std::vector<std::pair<std::uint32_t, std::string>>& getCommandLines() const { return commandLines; }
    const std::vector<CpuData>& getCpuData() const { return cpuData; }
    /// Whether the CPU data is compressed in chunks (version 7).
    bool isDataCompressed() const { return dataCompressed; }

    /// Time conversions the options ask for: ts = ((ts * multiplier) >> shift) + offset, the multiplication
    /// only when a multiplier is given (a TSC counted in cycles).
    std::int64_t getTimeOffset() const { return timeOffset; }
    std::uint32_t getTimeMultiplier() const { return timeMultiplier; }
    std::uint32_t getTimeShift() const { return timeShift; }
    /// A guest's shift towards its host's clock, applied before the conversions above.
    const TraceDatTimeShift& getGuestTimeShift() const { return guestTimeShift; }
    /// Trace instances other than the top one, and other content that is not converted, for the log.
    const std::vector<std::string>& getNotConverted() const { return notConverted; }

    /// The formats in the layout of perf's tracing data section (which a version 6 file begins with).
    std::vector<unsigned char> getTracingData() const;

private:
    void _readVersion6(TraceDatInput& in);
    void _readVersion7(TraceDatInput& in);
    void _readHeaders(TraceDatInput& in);
    void _readFtraceFormats(TraceDatInput& in);
    void _readEventFormats(TraceDatInput& in);
    void _readCommandLines(TraceDatInput& in);
    void _option(TraceDatInput& in, std::uint16_t id, const std::string& data);
    std::string _section(TraceDatInput& in, std::uint64_t offset, std::uint16_t id, const std::string& what);
    void _buffer(TraceDatInput& in, const std::string& data);
    void _addCpu(unsigned cpu, std::uint64_t offset, std::uint64_t size);
    void _parseHeaderPage(const std::string& text);

    unsigned version = 0;
    bool bigEndian = false;
    unsigned longSize = 8;
    unsigned pageSize = 4096;
    std::uint64_t fileSize = 0;
    unsigned commitOffset = 8, commitSize = 8, dataOffset = 16;
    std::string headerPage, headerEvent;
    std::vector<Format> formats;
    std::vector<std::pair<std::uint32_t, std::string>> commandLines;
    std::vector<CpuData> cpuData;
    bool dataCompressed = false;
    std::string compression;
    std::int64_t timeOffset = 0;
    std::uint32_t timeMultiplier = 0, timeShift = 0;
    TraceDatTimeShift guestTimeShift;
    std::vector<std::string> notConverted;
    // Version 7: where the sections the options point at lie.
    std::uint64_t sectionOffsets[6] = {0, 0, 0, 0, 0, 0};
    std::uint64_t bufferOffset = 0;
    bool haveBuffer = false;
};

} // namespace perfevents

#endif
