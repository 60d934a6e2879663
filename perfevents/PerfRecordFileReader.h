#ifndef PERFEVENTS_PERFRECORDFILEREADER_H
#define PERFEVENTS_PERFRECORDFILEREADER_H

#include "perfevents/PerfEventData.h"
#include "perfevents/PerfOutputReader.h"
#include "perfevents/PerfRecordBlockPool.h"
#include "perfevents/PerfRecordFramer.h"
#include "perfevents/PerfRecordOrderQueue.h"
#include "perfevents/PerfRecordReadingThread.h"
#include "perfevents/PerfRecordingSetup.h"

#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <ostream>

namespace perfevents {

class PerfRecordEventDataStore;
class PerfRecordTimeLookup;
class PerfZstdByteSource;

/// Reads a perf.data recording, from a file or from a stream such as standard input, in three stages:
/// - the set-up (PerfRecordingSetup), read on construction: header and sections of a file, or the set-up records
///   of a pipe, and the recording's tracing data;
/// - the walk, on a reading thread (PerfRecordReadingThread): a framer turns the bytes of the data (or the
///   decompressed payload of compressed records) into whole records, the records perf itself writes are
///   handled here, and the kernel records are put back into time order (PerfRecordOrderQueue) and handed over;
/// - the delivery, on the thread that called parseEvents: each kernel record is decoded through the record store,
///   which finds its attribute by its id, and handed to the listener.
/// What cannot be converted is counted and reported once at the end.
class PerfRecordFileReader : public PerfOutputReader,
                             private PerfRecordOrderQueue::Receiver,
                             private PerfRecordReadingThread::Delivery {
public:
    typedef PerfRecordingSetup::PerfFileSection PerfFileSection;
    typedef PerfRecordingSetup::PerfFileHeader PerfFileHeader;

    /// decode: hand records through a record store (true) or deliver every record raw (false).
    /// Throws std::ios_base::failure (after logging) when the file cannot be read or is invalid.
    PerfRecordFileReader(std::ifstream& input, bool decode);
    /// The same for any stream; a recording written to a pipe needs no seek, so standard input will do.
    PerfRecordFileReader(std::istream& input, bool decode);
    ~PerfRecordFileReader() override;

    void parseEvents(PerfEventDataListener& listener) override;
    const boost::ptr_vector<PerfEventAttribute>& getAttributes() const override { return setup->getAttributes(); }
    const std::map<unsigned long long, std::string>& getTraceEventTypes() const override {
        return setup->getTraceEventTypes();
    }
    const std::string& getTraceEventName(unsigned long long id) const override;

    /// Opens the file for binary input; sets failbit on failure, clears the state on success.
    static bool openPerfRecordFile(std::ifstream& input, const std::string& path);

    const PerfFileHeader& getHeader() const { return setup->getHeader(); }
    /// The file size, or -1 for a stream that cannot seek.
    long long getFileSize() const { return setup->getFileSize(); }
    /// Whether the recording was written to a pipe (16-byte header, set-up as records).
    bool isPipeMode() const { return setup->isPipeMode(); }
    /// The recording's tracing data (its trace point formats), empty when it has none; and why not, in words.
    const std::vector<unsigned char>& getTracingData() const { return setup->getTracingData(); }
    const std::string& getTracingDataProblem() const { return setup->getTracingDataProblem(); }

    /// How far the walk is: bytes of the data section consumed so far, and its size (0 when unknown, as in a
    /// pipe). Cheap enough to be asked after every record, from the thread that called parseEvents while it runs.
    unsigned long long getDataConsumed() const override { return dataConsumed.load(std::memory_order_relaxed); }
    unsigned long long getDataTotal() const override { return setup->getDataLimit(); }
    PerfReadProblems getReadProblems() const override { return problems; }

private:
    void _open(bool decode);
    void _walk();
    void _handleRecord(const PerfRecordView& record, bool decompressed);
    void _decompress(const PerfRecordView& record);
    void _deliver(const unsigned char* record, unsigned int size);
    void _logError(const std::string& message);
    void _reportEnd();
    void _collectProblems();
    void onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int block) override;
    void deliverRecord(const unsigned char* record, unsigned int size) override { _deliver(record, size); }
    void rebuildDecoders() override;
    void logError(const std::string& message) override;

    bool decode;
    PerfRecordBlockPool blockPool; // the data section is read into its blocks; records stay where they are read
    std::unique_ptr<PerfRecordingSetup> setup;
    PerfRecordReadingThread readingThread;
    const std::string emptyName;
    std::unique_ptr<PerfRecordEventDataStore> store;
    std::unique_ptr<PerfZstdByteSource> zstdSource;
    std::unique_ptr<PerfRecordFramer> zstdFramer;
    std::unique_ptr<PerfRecordOrderQueue> queue;
    std::unique_ptr<PerfRecordTimeLookup> timeLookup;
    std::atomic<unsigned long long> dataConsumed;
    PerfEventDataListener* listener;
    std::unique_ptr<PerfEventData> rawRecord;
    bool attributesChanged;
    std::map<std::string, unsigned long long> skipped;
    PerfReadProblems problems;

    friend std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);
};

/// The file summary: header, attributes and trace point event types.
std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader);

} // namespace perfevents

#endif
