#ifndef PERFEVENTS_PERFRECORDFILEREADER_H
#define PERFEVENTS_PERFRECORDFILEREADER_H

#include "kestrel/ByteBuffer.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfOutputReader.h"
#include "perfevents/PerfRecordBlockPool.h"
#include "perfevents/PerfRecordFramer.h"
#include "perfevents/PerfRecordOrderQueue.h"

#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <ostream>

namespace perfevents {

class PerfRecordEventDataStore;
class PerfRecordPipeline;
class PerfRecordTimeLookup;
class PerfStreamByteSource;
class PerfZstdByteSource;

/// Logs the message at error level and throws std::ios_base::failure with it.
[[noreturn]] void handleError(const char* message);

/// Reads a perf.data recording, from a file or from a stream such as standard input. A file written to a file
/// (header with sections) has its header, attributes, stream ids and trace event types read on construction; a
/// recording written to a pipe (16-byte header) brings them as records before its data, read on construction as
/// far as they go. parseEvents then walks the records: a framer turns the bytes (of the stream, or of the
/// decompressed payload of compressed records) into whole records, the records perf itself writes are handled
/// here, and the kernel records are put back into time order and decoded through the record store, which finds
/// each record's attribute by its id. What cannot be converted is counted and reported once at the end.
///
/// When decoding, a thread of its own reads, frames, decompresses and orders the records and hands them over in
/// batches (with the points where the decoders are to be rebuilt and the messages it has to log) to the thread
/// that called parseEvents, which decodes and delivers them. Records are read into blocks of memory that stay
/// put until the delivering thread is done with them, so the batches refer to the records instead of copying
/// them, and the order queue holds them where they were read. Before it changes what that thread reads (the
/// attributes and event types a pipe brings during the walk), it waits until that thread has caught up.
class PerfRecordFileReader : public PerfOutputReader, private PerfRecordOrderQueue::Receiver {
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
    static const unsigned int PIPE_HEADER_SIZE = 16;

    /// decode: hand records through a record store (true) or deliver every record raw (false).
    /// Throws std::ios_base::failure (after logging) when the file cannot be read or is invalid.
    PerfRecordFileReader(std::ifstream& input, bool decode);
    /// The same for any stream; a recording written to a pipe needs no seek, so standard input will do.
    PerfRecordFileReader(std::istream& input, bool decode);
    ~PerfRecordFileReader() override;

    void parseEvents(PerfEventDataListener& listener) override;
    const boost::ptr_vector<PerfEventAttribute>& getAttributes() const override { return attributes; }
    const std::map<unsigned long long, std::string>& getTraceEventTypes() const override { return traceEventTypes; }
    const std::string& getTraceEventName(unsigned long long id) const override;

    /// Opens the file for binary input; sets failbit on failure, clears the state on success.
    static bool openPerfRecordFile(std::ifstream& input, const std::string& path);

    const PerfFileHeader& getHeader() const { return header; }
    /// The file size, or -1 for a stream that cannot seek.
    long long getFileSize() const { return fileSize; }
    /// Whether the recording was written to a pipe (16-byte header, set-up as records).
    bool isPipeMode() const { return pipeMode; }

    /// How far the walk is: bytes of the data section consumed so far, and its size (0 when unknown, as in a
    /// pipe). Cheap enough to be asked after every record, from the thread that called parseEvents while it runs.
    unsigned long long getDataConsumed() const { return dataConsumed.load(std::memory_order_relaxed); }
    unsigned long long getDataTotal() const { return dataLimit; }

private:
    void _open(bool decode);
    void _readPipeSetup();
    void _readHeader();
    void _readAttributes();
    void _readTraceEventTypes();
    void _cueFirstEvent();
    void _walk();
    void _deliverBatch(const unsigned char* data, std::size_t size);
    void _emit(const unsigned char* record, unsigned int size, unsigned int block);
    void _logError(const std::string& message);
    void _handleRecord(const PerfRecordView& record, bool decompressed);
    void _deliver(const unsigned char* record, unsigned int size);
    void onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int block) override;
    void _addAttribute(const PerfRecordView& record);
    void _addEventType(const PerfRecordView& record);
    void _readFeature(const PerfRecordView& record);
    void _decompress(const PerfRecordView& record);
    void _count(const std::string& kind) { ++skipped[kind]; }
    void _reportEnd();

    bool decode;
    bool pipeMode;
    PerfFileHeader header;
    boost::ptr_vector<PerfEventAttribute> attributes;
    std::map<unsigned long long, std::string> traceEventTypes;
    long long fileSize;
    const std::string emptyName;
    std::unique_ptr<PerfRecordEventDataStore> store;

    unsigned long long dataLimit;   // bytes of the data section that the file holds; 0 in a pipe
    unsigned long long dataMissing; // bytes of the stated data section that lie past the end of the file
    std::string missingSections;    // sections of a cut file that were not read
    PerfRecordBlockPool blockPool;  // the data section is read into its blocks; records stay where they are read
    std::unique_ptr<PerfStreamByteSource> streamSource;
    std::unique_ptr<PerfRecordFramer> framer;
    bool pendingRecord; // the framer's current record is the first one after the set-up of a pipe
    PerfRecordView pending;
    std::unique_ptr<PerfZstdByteSource> zstdSource;
    std::unique_ptr<PerfRecordFramer> zstdFramer;
    unsigned int compressionType; // 1: zstd, as HEADER_COMPRESSED says; 0: not said
    std::unique_ptr<PerfRecordOrderQueue> queue;
    std::unique_ptr<PerfRecordTimeLookup> timeLookup;
    PerfRecordPipeline* pipeline;      // while the records are read on a thread of their own
    unsigned char* recordRun;          // the item of record addresses last begun in a batch, to be continued
    unsigned long long recordRunBatch; // the batch it lies in
    std::atomic<unsigned long long> dataConsumed;
    PerfEventDataListener* listener;
    std::unique_ptr<PerfEventData> rawRecord;
    bool attributesChanged;
    bool stopped;
    std::map<std::string, unsigned long long> skipped;

    friend std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);
};

/// The file summary: header, attributes and trace point event types.
std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);

} // namespace perfevents

#endif
