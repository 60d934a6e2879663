#ifndef PERFEVENTS_PERFTRACINGDATA_H
#define PERFEVENTS_PERFTRACINGDATA_H

#include "perfevents/PerfFormat.h"
#include "perfevents/PerfRecordFramer.h"

#include <istream>
#include <string>
#include <vector>

namespace perfevents {

/// A recording's tracing data: the format texts of its trace points (and more), in the layout of perf's tracing
/// data section, taken from wherever the recording keeps it:
/// - a file: the HEADER_TRACING_DATA feature section, found through the table of feature sections behind the
///   data section; or, without that feature, inside the HEADER_TRACING_DATA record that Android's recorder
///   writes first in the data section;
/// - a pipe: after perf's 16-byte HEADER_TRACING_DATA record, as a payload outside the record's size.
/// Every offset and size is checked against the file; what is wrong is kept in words instead of the data.
class PerfTracingData {
public:
    /// Format texts, kernel symbols and printk formats take a few megabytes at most; more is damage.
    static const unsigned long long MAX_SIZE = 256u * 1024 * 1024;

    /// Reads it from a file of the given size with the header given; swapped: the file is of the other byte
    /// order. Read errors of the stream come out as std::runtime_error.
    void readFromFile(std::istream& input, const PerfFormat::FileHeader& header, unsigned long long fileSize,
                      bool swapped);
    /// Takes it from a HEADER_TRACING_DATA record: from inside the record when its size covers the stated size,
    /// else from the payload after it, which payloadSource (the framer that has just returned the record) reads;
    /// without one the payload is left to be skipped.
    void takeFromRecord(const PerfRecordView& record, PerfRecordFramer* payloadSource);
    /// Says why there is none, unless some has been found.
    void noteMissing(const std::string& problem);

    bool isFound() const { return found; }
    /// The data; empty when none was found.
    const std::vector<unsigned char>& getBytes() const { return bytes; }
    /// Why there is none, in words; empty when there is.
    const std::string& getProblem() const { return problem; }

private:
    bool _fromSection(std::istream& input, const PerfFormat::FileHeader& header, unsigned long long fileSize,
                      bool swapped);
    bool _fromFirstRecord(std::istream& input, const PerfFormat::FileHeader& header, unsigned long long fileSize,
                          bool swapped);
    void _found();
    bool _missing(const std::string& text);

    std::vector<unsigned char> bytes;
    std::string problem;
    bool found = false;
};

} // namespace perfevents

#endif
