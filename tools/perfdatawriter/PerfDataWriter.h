#ifndef TOOLS_PERFDATAWRITER_PERFDATAWRITER_H
#define TOOLS_PERFDATAWRITER_PERFDATAWRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace perfdatawriter {

typedef std::vector<std::uint8_t> Bytes;

/// Appends host-order integers and byte strings.
void putU16(Bytes& out, std::uint16_t value);
void putU32(Bytes& out, std::uint32_t value);
void putU64(Bytes& out, std::uint64_t value);
void putBytes(Bytes& out, const Bytes& bytes);
/// Overwrites 8 bytes at an offset.
void patchU64(Bytes& out, std::size_t offset, std::uint64_t value);

/// The fields of one perf_event_attr; encode() writes them into `byteSize` bytes (any size, 0 for fields that
/// do not fit).
struct Attribute {
    std::uint32_t type = 2;      // tracepoint
    std::uint32_t sizeField = 0; // the attr's own size field; 0 means byteSize
    std::uint64_t config = 0;
    std::uint64_t samplePeriod = 1;
    std::uint64_t sampleType = 0;
    std::uint64_t readFormat = 0;
    std::uint64_t flags = 0; // the bit field word at offset 40
    std::uint32_t wakeup = 0;
    std::uint32_t bpType = 0;
    std::uint64_t config1 = 0;
    std::uint64_t config2 = 0;
    std::uint64_t branchSampleType = 0;
    std::uint64_t sampleRegsUser = 0;
    std::uint32_t sampleStackUser = 0;
    std::uint32_t byteSize = 112; // bytes of perf_event_attr written to the file
    std::vector<std::uint64_t> ids;

    Bytes encode() const;
};

/// The values of one sample; encodeSample writes those that the sample type selects, in perf's order.
struct Sample {
    std::uint64_t identifier = 0;
    std::uint64_t ip = 0;
    std::uint32_t pid = 0;
    std::uint32_t tid = 0;
    std::uint64_t time = 0;
    std::uint64_t addr = 0;
    std::uint64_t id = 0;
    std::uint64_t streamId = 0;
    std::uint32_t cpu = 0;
    std::uint32_t resource = 0;
    std::uint64_t period = 0;
    Bytes readBlock; // written as given
    std::vector<std::uint64_t> callchain;
    std::int64_t callchainCountOverride = -1; // when >= 0, written instead of the chain's length
    Bytes raw;
    std::int64_t rawSizeOverride = -1; // when >= 0, written instead of the raw data's length
    Bytes trailer;                     // appended after everything else
};

Bytes encodeSample(std::uint64_t sampleType, const Sample& sample);

/// Compresses records (a built data section) into COMPRESSED records (type 81; with secondForm, type 83 with its
/// size word and padding), pieces of one zstd stream. Each split position (offsets into records, ascending) ends
/// the input of one piece, so that a record can be cut anywhere, inside its header too; pieces whose output
/// exceeds a record's room are spread over several records.
Bytes compressRecords(const Bytes& records, const std::vector<std::size_t>& splits, bool secondForm = false);

/// Builds a perf.data file: header, attributes with their id arrays, trace event types and records. Layout:
/// header, id arrays, attributes, event types, data, zero padding up to the minimum file size. Every header
/// field can be overridden to build damaged files.
class PerfDataWriter {
public:
    PerfDataWriter();

    std::size_t addAttribute(const Attribute& attribute);
    void addEventType(std::uint64_t id, const std::string& name);

    /// A record with the given body; the header's size field is 8 + body size unless sizeOverride >= 0.
    void addRecord(std::uint32_t type, std::uint16_t misc, const Bytes& body, std::int32_t sizeOverride = -1);
    /// Bytes appended to the data section as they are.
    void addRawData(const Bytes& bytes);

    void addMmap(std::uint32_t pid, std::uint32_t tid, std::uint64_t addr, std::uint64_t len, std::uint64_t pgoff,
                 const std::string& filename, const Bytes& trailer = Bytes());
    void addLost(std::uint64_t id, std::uint64_t lost, const Bytes& trailer = Bytes());
    /// The name is written with a NUL and padded to a multiple of 8 bytes, as perf does.
    void addComm(std::uint32_t pid, std::uint32_t tid, const std::string& name, const Bytes& trailer = Bytes());
    void addExit(std::uint32_t pid, std::uint32_t ppid, std::uint32_t tid, std::uint32_t ptid, std::uint64_t time,
                 const Bytes& trailer = Bytes());
    void addFork(std::uint32_t pid, std::uint32_t ppid, std::uint32_t tid, std::uint32_t ptid, std::uint64_t time,
                 const Bytes& trailer = Bytes());
    void addThrottle(std::uint64_t time, std::uint64_t id, std::uint64_t streamId, bool unthrottle = false,
                     const Bytes& trailer = Bytes());
    void addRead(std::uint32_t pid, std::uint32_t tid, const Bytes& values);
    /// A sample laid out for the sample type of the attribute at the given index.
    void addSample(const Sample& sample, std::size_t attributeIndex = 0);
    /// An AUXTRACE record (48 bytes) followed by its trace data, which its size field does not count.
    void addAuxtrace(const Bytes& payload, std::uint32_t cpu = 0, std::uint32_t tid = 0);
    /// The FINISHED_ROUND record perf writes after each round of ring buffer reads.
    void addFinishedRound();
    /// A HEADER_TRACING_DATA record that holds the tracing data itself (u32 size, the data, padding to 8 bytes),
    /// as Android's recorder writes it first in the data section.
    void addTracingDataRecord(const Bytes& tracingData);
    /// A feature section: sets the feature bit; build() writes the table of feature sections after the data
    /// section and the section's bytes after the table.
    void addFeatureSection(unsigned int bit, const Bytes& bytes);

    // Header overrides, for damaged files.
    char magic[8];
    std::int64_t headerSize = -1; // written value of the header size field; -1: 104
    std::int64_t attrSize = -1;   // written attr_size; -1: size of the first attribute + 16 (or 112)
    std::int64_t attrsOffset = -1, attrsSize = -1;
    std::int64_t dataOffset = -1, dataSize = -1;
    std::int64_t eventTypesOffset = -1, eventTypesSize = -1;
    std::uint64_t features[4] = {0, 0, 0, 0};
    std::size_t minimumFileSize = 256;

    Bytes build() const;
    /// The recording as perf writes it to a pipe: the 16-byte header, the attributes with their ids and the
    /// event types as records, a HEADER_TRACING_DATA record with the tracing data after it (padded to 8 bytes;
    /// left out when empty), one HEADER_FEATURE record per feature (id, then its data), FINISHED_INIT, the data.
    Bytes buildPipe(const Bytes& tracingData = Bytes(),
                    const std::vector<std::pair<std::uint64_t, Bytes>>& pipeFeatures = {}) const;
    bool writeTo(const std::string& path) const;

    /// Offset and size of the data section in the file build() writes (data stands last, before padding).
    std::uint64_t getDataOffset() const;
    std::uint64_t getDataSize() const { return data.size(); }
    const Bytes& getData() const { return data; }
    std::uint64_t getRecordCount() const { return records; }

private:
    std::vector<Attribute> attributes;
    std::vector<std::pair<std::uint64_t, std::string>> eventTypes;
    std::vector<std::pair<unsigned int, Bytes>> featureSections;
    Bytes data;
    std::uint64_t records = 0;
};

} // namespace perfdatawriter

#endif
