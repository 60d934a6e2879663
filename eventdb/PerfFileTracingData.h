#ifndef PERFEVENTS_PERFFILETRACINGDATA_H
#define PERFEVENTS_PERFFILETRACINGDATA_H

#include <cstddef>
#include <istream>
#include <vector>

namespace eventdb {

/**
 * Finds the tracing data section of a perf.data file: the header's feature bitmap says whether the file has
 * one, and the table of feature sections behind the data section says where it lies. A recording written to a
 * pipe carries it instead as the payload of its HEADER_TRACING_DATA record, read without seeking, so that the
 * stream may be standard input. Every offset and size is
 * checked against the file's size; a file that is not a perf.data file, lacks the section or is damaged is
 * reported with std::runtime_error.
 */
class PerfFileTracingData {
public:
    /** The feature bit of the tracing data section. */
    static const unsigned FEATURE_TRACING_DATA = 1;

    /** Whether the first bytes of a file are the magic of a perf.data file (either byte order). */
    static bool isPerfFile(const char* head, size_t length);

    /** Reads the tracing data of the perf.data recording on the stream, which must stand at its start; throws
     * std::runtime_error. head: the first headLength bytes, when they have already been taken from the stream. */
    static std::vector<unsigned char> read(std::istream& in, const char* head = nullptr, size_t headLength = 0);

private:
    static std::vector<unsigned char> _readFromPipe(std::istream& in);
    static void _readAt(std::istream& in, unsigned long long offset, void* buffer, size_t count);
};

} // namespace eventdb

#endif
