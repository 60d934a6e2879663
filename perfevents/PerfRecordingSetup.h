#ifndef PERFEVENTS_PERFRECORDINGSETUP_H
#define PERFEVENTS_PERFRECORDINGSETUP_H

#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfRecordFramer.h"
#include "perfevents/PerfTracingData.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <istream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace perfevents {

class PerfStreamByteSource;

/// Logs the message at error level (logger "PerfRecordFileReader") and throws std::ios_base::failure with it.
[[noreturn]] void handleError(const char* message);

/// The set-up stage of a recording: what describes it before its records are walked, read from the start of
/// the stream and left positioned at the first record of the data.
///
/// A recording written to a file has a 104-byte header with sections: the event attributes with their stream
/// ids, the trace point event types and, behind the data, the feature sections. A recording written to a pipe
/// has a 16-byte header and brings the same as records before its data (and may bring more during it: see
/// handleRecord). Either way the stage also hands back the recording's tracing data (the format texts of its
/// trace points), wherever the recording carries it: in the HEADER_TRACING_DATA feature section, after perf's
/// 16-byte HEADER_TRACING_DATA record in a pipe, or inside the HEADER_TRACING_DATA record that Android's recorder
/// writes first in the data section.
///
/// For a conversion the stage reads everything and reports problems through handleError; a recording whose
/// tracing data cannot be read still converts (the event database describes the trace points), and the problem
/// is kept for whoever asks. For the trace point formats alone it reads only the header and the tracing data, of
/// either byte order, and reports with std::runtime_error.
class PerfRecordingSetup {
public:
    typedef PerfFormat::FileSection PerfFileSection;
    typedef PerfFormat::FileHeader PerfFileHeader;

    enum Scope {
        SCOPE_CONVERSION, ///< everything, for a walk of the records
        SCOPE_FORMATS     ///< the header and the tracing data only
    };

    /// Reads the set-up. The framer reads into blocks of the pool where one is given. head: the first headLength
    /// bytes of the stream when they have been taken from it already (a stream that cannot seek).
    PerfRecordingSetup(std::istream& input, Scope scope, PerfRecordBlockPool* pool = nullptr,
                       const char* head = nullptr, std::size_t headLength = 0);
    ~PerfRecordingSetup();
    PerfRecordingSetup(const PerfRecordingSetup&) = delete;
    PerfRecordingSetup& operator=(const PerfRecordingSetup&) = delete;

    /// Whether the first bytes of a stream are the magic of a perf.data file (either byte order, either version).
    static bool isPerfFile(const char* head, std::size_t length);

    const PerfFileHeader& getHeader() const { return header; }
    /// The file size, or -1 for a stream that cannot seek.
    long long getFileSize() const { return fileSize; }
    bool isPipeMode() const { return pipeMode; }
    boost::ptr_vector<PerfEventAttribute>& getAttributes() { return attributes; }
    const boost::ptr_vector<PerfEventAttribute>& getAttributes() const { return attributes; }
    const std::map<unsigned long long, std::string>& getTraceEventTypes() const { return traceEventTypes; }
    /// The tracing data, in the layout of perf's tracing data section; empty when the recording has none.
    const std::vector<unsigned char>& getTracingData() const { return tracingData.getBytes(); }
    /// Why there is no tracing data, in words; empty when there is.
    const std::string& getTracingDataProblem() const { return tracingData.getProblem(); }
    /// 1: the compressed records hold zstd, as the HEADER_COMPRESSED feature says; 0: not said.
    unsigned int getCompressionType() const { return compressionType; }

    /// The framer over the data, at its first record (a pipe's first record is taken with takePendingRecord).
    PerfRecordFramer& getFramer() { return *framer; }
    /// The record at which a pipe's set-up was found to end, if it has not been taken yet.
    bool takePendingRecord(PerfRecordView& record);
    /// Bytes of the data section that the file holds (0 in a pipe); bytes of it that lie past the end of a cut
    /// file; the sections of a cut file that were not read, in words.
    unsigned long long getDataLimit() const { return dataLimit; }
    unsigned long long getDataMissing() const { return dataMissing; }
    const std::string& getMissingSections() const { return missingSections; }

    /// Whether a record of this type is one that handleRecord reads.
    static bool isSetupRecord(unsigned int type);
    /// Reads a set-up record met among the data of a pipe (attributes, event types, features, tracing data).
    /// Returns whether it added an attribute.
    bool handleRecord(const PerfRecordView& record);
    /// Set-up records that could not be read, by kind (in words, plural), with their counts.
    const std::map<std::string, unsigned long long>& getSkipped() const { return skipped; }

private:
    void _readHead(const char* head, std::size_t headLength);
    void _readHeader();
    void _checkSections();
    void _readAttributes();
    void _readTraceEventTypes();
    void _readTracingData();
    void _cueFirstEvent();
    void _readPipeSetup();
    unsigned long long _swap(unsigned long long value) const { return swapped ? __builtin_bswap64(value) : value; }
    [[noreturn]] void _fail(const char* conversionMessage, const std::string& formatsMessage) const;

    std::istream& input;
    const Scope scope;
    PerfRecordBlockPool* pool;
    bool pipeMode;
    bool swapped; // written in the other byte order (read for the formats only)
    PerfFileHeader header;
    long long fileSize;
    boost::ptr_vector<PerfEventAttribute> attributes;
    std::map<unsigned long long, std::string> traceEventTypes;
    PerfTracingData tracingData;
    bool setupRead; // a pipe's set-up has been read up to its data: the framer no longer stands after it
    unsigned int compressionType;
    unsigned long long dataLimit;
    unsigned long long dataMissing;
    std::string missingSections;
    std::unique_ptr<PerfStreamByteSource> streamSource;
    std::unique_ptr<PerfRecordFramer> framer;
    bool pendingRecord;
    PerfRecordView pending;
    std::map<std::string, unsigned long long> skipped;
};

} // namespace perfevents

#endif
