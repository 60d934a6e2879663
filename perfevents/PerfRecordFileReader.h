#ifndef PERFEVENTS_PERFRECORDFILEREADER_H
#define PERFEVENTS_PERFRECORDFILEREADER_H

#include "kestrel/ByteBuffer.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfOutputReader.h"

#include <memory>
#include <ostream>

namespace perfevents {

class PerfRecordEventDataStore;

/// Logs the message at error level and throws std::ios_base::failure with it.
[[noreturn]] void handleError(const char* message);

/// Reads a perf.data file: validates the header and reads attributes, stream ids and trace event types on
/// construction; parseEvents walks the records and hands each decoded record to a listener.
class PerfRecordFileReader : public PerfOutputReader {
public:
    struct PerfFileSection {
        unsigned long long offset;
        unsigned long long size;
    };

    struct PerfFileHeader {
        char magic[8];
        unsigned long long size;
        unsigned long long attrSize;
        PerfFileSection attrs;
        PerfFileSection data;
        PerfFileSection eventTypes;
        unsigned long long addsFeatures[4];
    };

    static const unsigned int HEADER_SIZE = 104;
    static const unsigned int EVENT_TYPE_SIZE = 72;
    static const unsigned int EVENT_NAME_SIZE = 64;
    static const unsigned int RECORD_HEADER_SIZE = 8;
    static const unsigned int RECORD_BUFFER_SIZE = 65535;
    static const long long MINIMUM_FILE_SIZE = 200;

    /// decode: hand records through a record store (true) or deliver every record raw (false).
    /// Throws std::ios_base::failure (after logging) when the file cannot be read or is invalid.
    PerfRecordFileReader(std::ifstream& input, bool decode);
    ~PerfRecordFileReader() override;

    void parseEvents(PerfEventDataListener& listener) override;
    const boost::ptr_vector<PerfEventAttribute>& getAttributes() const override { return attributes; }
    const std::map<unsigned long long, std::string>& getTraceEventTypes() const override { return traceEventTypes; }
    const std::string& getTraceEventName(unsigned long long id) const override;

    /// Opens the file for binary input; sets failbit on failure, clears the state on success.
    static bool openPerfRecordFile(std::ifstream& input, const std::string& path);

    const PerfFileHeader& getHeader() const { return header; }
    long long getFileSize() const { return fileSize; }

private:
    void _readHeader();
    void _readAttributes();
    void _readTraceEventTypes();
    void _cueFirstEvent();
    /// Reads the next record into the buffer; false (after logging) when the walk must stop.
    bool _readRecord(unsigned int& type, PerfEventData::MiscFlags& misc, unsigned int& size);

    bool decode;
    PerfFileHeader header;
    boost::ptr_vector<PerfEventAttribute> attributes;
    std::map<unsigned long long, std::string> traceEventTypes;
    kestrel::ByteBuffer recordBuffer;
    long long fileSize;
    const std::string emptyName;
    std::unique_ptr<PerfRecordEventDataStore> store;

    friend std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);
};

/// The file summary: header, attributes and trace point event types.
std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);

} // namespace perfevents

#endif
