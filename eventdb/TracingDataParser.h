#ifndef PERFEVENTS_TRACINGDATAPARSER_H
#define PERFEVENTS_TRACINGDATAPARSER_H

#include "eventdb/TraceEventFormat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace eventdb {

/**
 * Reads the trace point formats out of a tracing data section, the feature section in which perf.data files keep
 * the format texts of their trace points:
 *
 * signature (0x17 0x08 0x44 "tracing"), version text, endianness, size of a long, page size, the header_page and
 * header_event texts, the ftrace formats, the event systems with their format texts, then kernel symbols,
 * printk formats and (newer writers) saved command lines.
 *
 * The section is untrusted: every read is checked against its size, and damage is reported with
 * std::runtime_error. Numbers are read in the byte order the section states.
 */
class TracingDataParser {
public:
    /** The parser reads the bytes in place; they must outlive it. */
    TracingDataParser(const unsigned char* data, size_t size);

    /** Parses the whole section and returns the formats in the order they appear; throws on damage. */
    std::vector<TraceEventFormat> parse();

    /** The version text of the section ("0.6"); valid after parse(). */
    const std::string& getVersion() const { return version; }
    /** The size of a long on the traced system (4 or 8); valid after parse(). */
    unsigned getLongSize() const { return longSize; }
    /** The page size of the traced system; valid after parse(). */
    uint32_t getPageSize() const { return pageSize; }

private:
    const unsigned char* _take(uint64_t count, const std::string& what);
    void _expect(const char* bytes, size_t count, const std::string& what);
    uint32_t _readU32(const std::string& what);
    uint64_t _readU64(const std::string& what);
    std::string _readString(const std::string& what);
    void _readFormats(const std::string& system, uint32_t count, std::vector<TraceEventFormat>& formats);

    const unsigned char* data;
    size_t size;
    size_t position = 0;
    bool swapBytes = false;
    std::string version;
    unsigned longSize = 0;
    uint32_t pageSize = 0;
};

} // namespace eventdb

#endif
