#include "perfevents/PerfRecordFileReader.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfEventDataUnknown.h"
#include "perfevents/PerfRecordEventDataStore.h"
#include "perfevents/PerfRecordPipeline.h"
#include "perfevents/PerfRecordTimeLookup.h"
#include "perfevents/PerfStreamByteSource.h"
#include "perfevents/PerfZstdByteSource.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <ios>

namespace perfevents {

namespace {
// Items the reading thread puts among the records it hands over; record types go up to 65535 at most.
const unsigned int ITEM_REBUILD = 0x10000001;    // rebuild the decoders: the attributes have changed
const unsigned int ITEM_LOG_ERROR = 0x10000002;  // log the text that follows at error level
const unsigned int ITEM_RECORDS_AT = 0x10000003; // the records at the addresses that follow (pool blocks hold them)
const std::size_t ADDRESS_SIZE = sizeof(const unsigned char*);
const unsigned short MAX_ITEM_SIZE = 65535;
const std::size_t PREFETCH_RECORDS = 4; // how far ahead the delivering thread asks for the bytes of a record
const unsigned short RECORD_HEADER_SIZE_16 = 8;

kestrel::Logger* readerLogger() {
    static kestrel::Logger* logger = kestrel::Logger::getLogger("PerfRecordFileReader");
    return logger;
}

template <typename T> T readAt(const unsigned char* bytes, unsigned int offset) {
    T value;
    std::memcpy(&value, bytes + offset, sizeof(T));
    return value;
}

// Lower-case hexadecimal, zero-filled to at least 8 digits; the stream goes back to decimal afterwards.
struct Hex8 {
    unsigned long long value;
};

std::ostream& operator<<(std::ostream& out, const Hex8& hex) {
    char fill = out.fill('0');
    out << std::hex << std::setw(8) << hex.value << std::dec;
    out.fill(fill);
    return out;
}
} // namespace

void handleError(const char* message) {
    readerLogger()->errorf("%s", message);
    // The library's failure appends ": iostream error" to what(); callers log the text, so keep it exact.
    class Failure : public std::ios_base::failure {
    public:
        explicit Failure(const char* message) : std::ios_base::failure(message), text(message) {}
        const char* what() const noexcept override { return text.c_str(); }

    private:
        std::string text;
    };
    throw Failure(message);
}

PerfRecordFileReader::PerfRecordFileReader(std::ifstream& input, bool decode)
    : PerfOutputReader(input), decode(decode), pipeMode(false), header(), fileSize(0), dataLimit(0), dataMissing(0),
      pendingRecord(false), compressionType(0), pipeline(nullptr), recordRun(nullptr), recordRunBatch(0),
      dataConsumed(0), listener(nullptr), attributesChanged(false), stopped(false) {
    readerLogger();
    if (!input.is_open())
        handleError("Input file stream has not been opened.");
    _open(decode);
}

PerfRecordFileReader::PerfRecordFileReader(std::istream& input, bool decode)
    : PerfOutputReader(input), decode(decode), pipeMode(false), header(), fileSize(0), dataLimit(0), dataMissing(0),
      pendingRecord(false), compressionType(0), pipeline(nullptr), recordRun(nullptr), recordRunBatch(0),
      dataConsumed(0), listener(nullptr), attributesChanged(false), stopped(false) {
    readerLogger();
    _open(decode);
}

void PerfRecordFileReader::_open(bool decode) {
    // A stream that cannot seek (a pipe) can only hold a recording written to a pipe.
    input.seekg(0, std::ios::end);
    fileSize = input.fail() ? -1 : static_cast<long long>(input.tellg());
    input.clear();
    if (fileSize >= 0 && fileSize < PIPE_HEADER_SIZE)
        handleError("Perf file is of insufficient size.");
    unsigned char head[PIPE_HEADER_SIZE];
    if (fileSize >= 0)
        input.seekg(0, std::ios::beg);
    input.read(reinterpret_cast<char*>(head), PIPE_HEADER_SIZE);
    if (input.fail())
        handleError("Error reading perf file header.");
    pipeMode = readAt<unsigned long long>(head, 8) == PIPE_HEADER_SIZE;

    if (pipeMode) {
        std::memcpy(header.magic, head, 8);
        header.size = PIPE_HEADER_SIZE;
        streamSource.reset(new PerfStreamByteSource(input));
        framer.reset(new PerfRecordFramer(*streamSource, blockPool));
        _readPipeSetup();
    } else {
        if (fileSize < 0)
            handleError("A perf.data file that was not written to a pipe cannot be read from a pipe: give the "
                        "file itself.");
        if (fileSize < MINIMUM_FILE_SIZE)
            handleError("Perf file is of insufficient size.");
        _readHeader();
        _readAttributes();
        _readTraceEventTypes();
        _cueFirstEvent();
    }

    dataConsumed.store(framer->getConsumed(), std::memory_order_relaxed);
    if (decode)
        store.reset(new PerfRecordEventDataStore(attributes));
    else if (attributes.empty())
        handleError("Perf file holds no event attributes.  Its records cannot be delivered raw.");
}

void PerfRecordFileReader::_readPipeSetup() {
    // Everything up to the first record of the data: attributes, event types, tracing data, features.
    while (framer->next(pending)) {
        const unsigned int type = pending.type;
        if (type < 64 || type == 68 || type == 71 || type == 81 || type == 83) {
            pendingRecord = true;
            break;
        }
        _handleRecord(pending, false);
    }
    attributesChanged = false;
}

PerfRecordFileReader::~PerfRecordFileReader() {}

void PerfRecordFileReader::_readHeader() {
    unsigned char bytes[HEADER_SIZE];
    input.seekg(0, std::ios::beg);
    input.read(reinterpret_cast<char*>(bytes), HEADER_SIZE);
    if (input.fail())
        handleError("Error reading perf file header.");
    std::memcpy(header.magic, bytes, 8);
    header.size = readAt<unsigned long long>(bytes, 8);
    header.attrSize = readAt<unsigned long long>(bytes, 16);
    header.attrs.offset = readAt<unsigned long long>(bytes, 24);
    header.attrs.size = readAt<unsigned long long>(bytes, 32);
    header.data.offset = readAt<unsigned long long>(bytes, 40);
    header.data.size = readAt<unsigned long long>(bytes, 48);
    header.eventTypes.offset = readAt<unsigned long long>(bytes, 56);
    header.eventTypes.size = readAt<unsigned long long>(bytes, 64);
    for (unsigned int i = 0; i < 4; ++i)
        header.addsFeatures[i] = readAt<unsigned long long>(bytes, 72 + 8 * i);

    if (header.size != HEADER_SIZE)
        handleError("Invalid header size recorded in perf file header.  Perf file corrupt.");
    if (header.attrSize - 80 > 65472)
        handleError("Invalid attribute size recorded in perf file header.  Perf file corrupt.");

    const unsigned long long attributeSize = header.attrSize - 16;
    if (attributeSize == PerfEventAttribute::ATTR_SIZE_VER0)
        readerLogger()->infof("Older version 0 of perf file attributes used in perf file.");
    else if (attributeSize == PerfEventAttribute::ATTR_SIZE_VER1)
        readerLogger()->infof("Older version 1 of perf file attributes used in perf file.");
    else if (attributeSize == PerfEventAttribute::ATTR_SIZE_VER2)
        readerLogger()->infof("Older version 2 of perf file attributes used in perf file.");
    else if (attributeSize == PerfEventAttribute::ATTR_SIZE_VER3)
        readerLogger()->infof("Current version 3 of perf file attributes used in perf file.");
    else if (attributeSize > PerfEventAttribute::ATTR_SIZE_VER3)
        readerLogger()->warnf(
            "Perf file attribute may indicate new generation kernel or perf record version was used.");

    const unsigned long long size = static_cast<unsigned long long>(fileSize);
    if (header.attrs.offset > size || header.attrs.size > size)
        handleError("Invalid attribute offset location.  Perf file corrupt.");
    if (header.data.offset > size)
        handleError("Invalid trace event types offset location.  Perf file corrupt.");

    // perf writes the header last: a data size of 0 means it did not finish the file, whose records then run
    // to its end. A file cut short holds less than its header states; what is there is read.
    const unsigned long long present = size - header.data.offset;
    if (header.data.size == 0) {
        dataLimit = present;
        if (present > 0)
            missingSections = "the data size (perf did not finish the file; records are read up to its end)";
    } else if (header.data.size > present) {
        dataLimit = present;
        dataMissing = header.data.size - present;
    } else {
        dataLimit = header.data.size;
    }
}

void PerfRecordFileReader::_readAttributes() {
    input.seekg(static_cast<std::streamoff>(header.attrs.offset), std::ios::beg);
    if (input.fail())
        handleError("Error reading perf file attributes.  Perf file corrupt.");

    const unsigned int attributeSize = static_cast<unsigned int>(header.attrSize - 16);
    kestrel::ByteBuffer bytes;
    bytes.size(attributeSize);
    const unsigned long long count = header.attrs.size / header.attrSize;

    attributes.clear();
    std::vector<PerfFileSection> idSections;
    const std::vector<unsigned long long> noIds;
    for (unsigned long long i = 0; i < count; ++i) {
        unsigned char section[16];
        input.read(reinterpret_cast<char*>(bytes.data()), attributeSize);
        input.read(reinterpret_cast<char*>(section), sizeof(section));
        if (input.fail())
            handleError("Error reading perf file attributes.  Perf file corrupt.");
        attributes.push_back(new PerfEventAttribute(bytes, noIds));
        idSections.push_back(
            PerfFileSection{readAt<unsigned long long>(section, 0), readAt<unsigned long long>(section, 8)});
    }

    const unsigned long long size = static_cast<unsigned long long>(fileSize);
    unsigned long long idBytesRead = 0;
    std::vector<unsigned long long> ids;
    for (std::size_t i = 0; i < idSections.size(); ++i) {
        const PerfFileSection& section = idSections[i];
        // The id arrays of a sound file lie inside it, each in a place of its own: more ids than the file can
        // hold mean a damaged file, and reading them would only exhaust memory.
        const unsigned long long idBytes = section.size / 8 * 8;
        if (idBytes > 0 && (section.offset > size || idBytes > size - section.offset || idBytes > size - idBytesRead))
            handleError("Error reading perf file attribute IDs.  Perf file corrupt.");
        idBytesRead += idBytes;
        ids.resize(idBytes / 8);
        input.seekg(static_cast<std::streamoff>(section.offset), std::ios::beg);
        if (!ids.empty())
            input.read(reinterpret_cast<char*>(ids.data()), static_cast<std::streamsize>(ids.size() * 8));
        if (input.fail())
            handleError("Error reading perf file attribute IDs.  Perf file corrupt.");
        attributes[i].setStreamIds(ids);
    }
}

void PerfRecordFileReader::_readTraceEventTypes() {
    traceEventTypes.clear();
    if (header.eventTypes.size / EVENT_TYPE_SIZE > attributes.size())
        handleError("Number of trace event types is invalid.  Perf file corrupt.");
    const unsigned long long size = static_cast<unsigned long long>(fileSize);
    if (header.eventTypes.offset > size || header.eventTypes.size > size - header.eventTypes.offset) {
        // A cut file: the event types are not needed to convert, the event database names the trace points.
        missingSections += std::string(missingSections.empty() ? "" : ", ") + "the trace point event types";
        return;
    }
    input.seekg(static_cast<std::streamoff>(header.eventTypes.offset), std::ios::beg);
    if (input.fail())
        handleError("Error reading perf file trace event types.  Perf file corrupt.");
    const unsigned long long count = header.eventTypes.size / EVENT_TYPE_SIZE;
    if (count > attributes.size())
        handleError("Number of trace event types is invalid.  Perf file corrupt.");

    for (unsigned long long i = 0; i < count; ++i) {
        unsigned char entry[EVENT_TYPE_SIZE];
        input.read(reinterpret_cast<char*>(entry), EVENT_TYPE_SIZE);
        entry[EVENT_TYPE_SIZE - 1] = 0;
        const char* name = reinterpret_cast<const char*>(entry + 8);
        traceEventTypes[readAt<unsigned long long>(entry, 0)] = std::string(name, strnlen(name, EVENT_NAME_SIZE));
        if (input.fail())
            handleError("Error reading trace event types.  Perf file corrupt.");
    }
}

void PerfRecordFileReader::_cueFirstEvent() {
    input.seekg(static_cast<std::streamoff>(header.data.offset), std::ios::beg);
    if (input.fail())
        handleError("Error cueing read of perf event data.  Perf file corrupt.");
    streamSource.reset(new PerfStreamByteSource(input));
    framer.reset(new PerfRecordFramer(*streamSource, blockPool, dataLimit));
}

const std::string& PerfRecordFileReader::getTraceEventName(unsigned long long id) const {
    auto found = traceEventTypes.find(id);
    return found != traceEventTypes.end() ? found->second : emptyName;
}

bool PerfRecordFileReader::openPerfRecordFile(std::ifstream& input, const std::string& path) {
    input.open(path.c_str(), std::ios::in | std::ios::binary);
    if (input.is_open())
        input.clear();
    else
        input.setstate(std::ios::failbit);
    return input.is_open();
}

void PerfRecordFileReader::_addAttribute(const PerfRecordView& record) {
    // The attribute (its own size field says how long), then the ids of its streams up to the record's end.
    unsigned int size = 0;
    if (record.bodySize() >= 8)
        std::memcpy(&size, record.body() + 4, 4);
    if (size < PerfEventAttribute::ATTR_SIZE_VER0 || size > record.bodySize()) {
        _count("attribute records that could not be read");
        return;
    }
    if (pipeline != nullptr)
        pipeline->drain();
    std::vector<unsigned long long> ids((record.bodySize() - size) / 8);
    if (!ids.empty())
        std::memcpy(ids.data(), record.body() + size, ids.size() * 8);
    kestrel::ByteBufferViewport bytes(const_cast<unsigned char*>(record.body()), size, size);
    attributes.push_back(new PerfEventAttribute(bytes, ids));
    attributesChanged = true;
}

void PerfRecordFileReader::_addEventType(const PerfRecordView& record) {
    if (record.bodySize() < 8)
        return;
    if (pipeline != nullptr)
        pipeline->drain();
    const char* name = reinterpret_cast<const char*>(record.body() + 8);
    const std::size_t room = std::min<std::size_t>(record.bodySize() - 8, EVENT_NAME_SIZE - 1);
    traceEventTypes[readAt<unsigned long long>(record.body(), 0)] = std::string(name, strnlen(name, room));
}

void PerfRecordFileReader::_readFeature(const PerfRecordView& record) {
    const unsigned long long HEADER_COMPRESSED = 27;
    // u64 feature id; HEADER_COMPRESSED then holds u32 version, u32 type (1: zstd), ...
    if (record.bodySize() >= 16 && readAt<unsigned long long>(record.body(), 0) == HEADER_COMPRESSED)
        compressionType = readAt<unsigned int>(record.body(), 12);
}

void PerfRecordFileReader::_decompress(const PerfRecordView& record) {
    const unsigned int COMPRESSED2 = 83;
    const unsigned char* payload = record.body();
    std::size_t size = record.bodySize();
    if (record.type == COMPRESSED2) {
        // u64 data size, the data, then padding that the record's size counts.
        unsigned long long stated = size >= 8 ? readAt<unsigned long long>(payload, 0) : ~0ULL;
        if (stated > size - 8 || size < 8) {
            _count("compressed records that could not be read");
            return;
        }
        payload += 8;
        size = static_cast<std::size_t>(stated);
    }
    if (compressionType > 1) {
        _count("compressed records of an unknown compression method");
        return;
    }
    if (!zstdSource) {
        zstdSource.reset(new PerfZstdByteSource());
        zstdFramer.reset(new PerfRecordFramer(*zstdSource));
    }
    if (zstdSource->hasFailed() || zstdFramer->isGarbled()) {
        _count("compressed records after damaged compressed data");
        return;
    }
    zstdSource->setInput(payload, size);
    PerfRecordView inner;
    while (!stopped && zstdFramer->next(inner))
        _handleRecord(inner, true);
    if (zstdSource->hasFailed())
        _logError("Compressed records cannot be decompressed (" + zstdSource->getError() +
                  "); the records after them are skipped.");
    else if (zstdFramer->isGarbled())
        _logError("Garbled event data header size in compressed records.  The records after them are skipped.");
}

void PerfRecordFileReader::_handleRecord(const PerfRecordView& record, bool decompressed) {
    const unsigned int LAST_KERNEL_RECORD = 63, HEADER_ATTR = 64, HEADER_EVENT_TYPE = 65, FINISHED_ROUND = 68,
                       HEADER_FEATURE = 80, COMPRESSED = 81, COMPRESSED2 = 83, LAST_KNOWN_RECORD = 84,
                       LAST_NAMED_KERNEL_RECORD = 21;
    const unsigned int type = record.type;
    if (type <= LAST_KERNEL_RECORD) {
        if (!decode) {
            _deliver(record.bytes, record.size);
            return;
        }
        if (type > LAST_NAMED_KERNEL_RECORD)
            _count("records of unknown kernel record types");
        if (attributesChanged) {
            // The decoders are rebuilt where the delivery has got to now.
            recordRun = nullptr;
            unsigned char* item = pipeline->append(RECORD_HEADER_SIZE);
            std::memcpy(item, &ITEM_REBUILD, 4);
            std::memset(item + 4, 0, 2);
            std::memcpy(item + 6, &RECORD_HEADER_SIZE_16, 2);
            timeLookup->rebuild();
            attributesChanged = false;
        }
        unsigned long long time = 0;
        if (!timeLookup->getRecordTime(type, record.body(), record.bodySize(), time))
            _emit(record.bytes, record.size, record.block);
        else if (record.block != PerfRecordBlockPool::NO_BLOCK)
            queue->push(time, record.bytes, record.size, record.block);
        else
            queue->push(time, record.bytes, record.size);
        return;
    }
    // The set-up records of a pipe, read on construction, describe the recording even when records are
    // delivered raw; only those of the walk are delivered.
    if (!decode && listener != nullptr && type != COMPRESSED && type != COMPRESSED2) {
        _deliver(record.bytes, record.size);
        return;
    }
    switch (type) {
    case HEADER_ATTR:
        _addAttribute(record);
        break;
    case HEADER_EVENT_TYPE:
        _addEventType(record);
        break;
    case HEADER_FEATURE:
        _readFeature(record);
        break;
    case FINISHED_ROUND:
        if (queue)
            queue->finishRound();
        break;
    case COMPRESSED:
    case COMPRESSED2:
        if (decompressed)
            _count("compressed records inside compressed records");
        else
            _decompress(record);
        break;
    default:
        if (type > LAST_KNOWN_RECORD)
            _count("records of unknown types");
        break;
    }
}

void PerfRecordFileReader::_deliver(const unsigned char* record, unsigned int size) {
    if (!decode) {
        kestrel::ByteBufferViewport whole(const_cast<unsigned char*>(record), size, size);
        if (rawRecord->parse(whole, readAt<unsigned short>(record, 4)))
            listener->onEventData(*rawRecord);
        return;
    }
    kestrel::ByteBufferViewport body(const_cast<unsigned char*>(record) + RECORD_HEADER_SIZE, size - RECORD_HEADER_SIZE,
                                     size - RECORD_HEADER_SIZE);
    PerfEventData* decoded = store->getEventData(static_cast<PerfEventData::Type>(readAt<unsigned int>(record, 0)),
                                                 body, readAt<unsigned short>(record, 4));
    if (decoded != nullptr)
        listener->onEventData(*decoded);
}

void PerfRecordFileReader::onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int block) {
    _emit(record, size, block);
}

void PerfRecordFileReader::_emit(const unsigned char* record, unsigned int size, unsigned int block) {
    if (block == PerfRecordBlockPool::NO_BLOCK) {
        recordRun = nullptr;
        std::memcpy(pipeline->append(size), record, size);
        return;
    }
    // Its address instead of its bytes, added to the run of addresses at the end of the batch where there is one:
    // the block stays as it is until the batch is done.
    unsigned short runSize = 0;
    if (recordRun != nullptr && recordRunBatch == pipeline->getFillingNumber())
        std::memcpy(&runSize, recordRun + 6, 2);
    if (runSize == 0 || runSize > MAX_ITEM_SIZE - ADDRESS_SIZE || !pipeline->hasRoom(ADDRESS_SIZE)) {
        recordRun = pipeline->append(RECORD_HEADER_SIZE + ADDRESS_SIZE);
        recordRunBatch = pipeline->getFillingNumber();
        runSize = RECORD_HEADER_SIZE + ADDRESS_SIZE;
        std::memcpy(recordRun, &ITEM_RECORDS_AT, 4);
        std::memset(recordRun + 4, 0, 2);
        std::memcpy(recordRun + RECORD_HEADER_SIZE, &record, ADDRESS_SIZE);
    } else {
        std::memcpy(pipeline->append(ADDRESS_SIZE), &record, ADDRESS_SIZE);
        runSize = static_cast<unsigned short>(runSize + ADDRESS_SIZE);
    }
    std::memcpy(recordRun + 6, &runSize, 2);
    blockPool.referTo(block, recordRunBatch);
}

void PerfRecordFileReader::_logError(const std::string& message) {
    if (pipeline == nullptr) {
        readerLogger()->errorf("%s", message.c_str());
        return;
    }
    // Logged by the delivering thread where the delivery has got to now, among the messages of decoding.
    const std::size_t length = std::min<std::size_t>(message.size(), 65535 - RECORD_HEADER_SIZE);
    const unsigned short size = static_cast<unsigned short>(RECORD_HEADER_SIZE + length);
    recordRun = nullptr;
    unsigned char* item = pipeline->append(size);
    std::memcpy(item, &ITEM_LOG_ERROR, 4);
    std::memset(item + 4, 0, 2);
    std::memcpy(item + 6, &size, 2);
    std::memcpy(item + RECORD_HEADER_SIZE, message.data(), length);
}

void PerfRecordFileReader::_deliverBatch(const unsigned char* data, std::size_t size) {
    for (std::size_t at = 0; at + RECORD_HEADER_SIZE <= size;) {
        const unsigned char* item = data + at;
        const unsigned int type = readAt<unsigned int>(item, 0);
        const unsigned short length = readAt<unsigned short>(item, 6);
        if (type == ITEM_RECORDS_AT) {
            const std::size_t count = (length - RECORD_HEADER_SIZE) / ADDRESS_SIZE;
            const unsigned char* addresses = item + RECORD_HEADER_SIZE;
            for (std::size_t i = 0; i < count; ++i) {
                const unsigned char* record = nullptr;
                std::memcpy(&record, addresses + i * ADDRESS_SIZE, ADDRESS_SIZE);
                // The reading thread wrote the records on another processor: ask for one a few records ahead
                // while this one is decoded, so that its bytes are here when its turn comes.
                if (i + PREFETCH_RECORDS < count) {
                    const unsigned char* later = nullptr;
                    std::memcpy(&later, addresses + (i + PREFETCH_RECORDS) * ADDRESS_SIZE, ADDRESS_SIZE);
                    __builtin_prefetch(later);
                    __builtin_prefetch(later + 64);
                }
                _deliver(record, readAt<unsigned short>(record, 6));
            }
        } else if (type == ITEM_REBUILD)
            store->attributesChanged();
        else if (type == ITEM_LOG_ERROR)
            readerLogger()->errorf(
                "%s", std::string(reinterpret_cast<const char*>(item) + RECORD_HEADER_SIZE, length - RECORD_HEADER_SIZE)
                          .c_str());
        else
            _deliver(item, length);
        at += length;
    }
}

void PerfRecordFileReader::_walk() {
    if (pendingRecord) {
        pendingRecord = false;
        _handleRecord(pending, false);
    }
    // The count is published every 64 KiB and at the end: written after every record, its cache line would
    // move to the delivering thread's processor and back for every record.
    const unsigned long long STEP = 1u << 16;
    unsigned long long published = dataConsumed.load(std::memory_order_relaxed);
    PerfRecordView record;
    while (!stopped && framer->next(record)) {
        _handleRecord(record, false);
        if (framer->getConsumed() - published >= STEP) {
            published = framer->getConsumed();
            dataConsumed.store(published, std::memory_order_relaxed);
            if (pipeline != nullptr && pipeline->stopping()) // the delivering thread has given up
                break;
        }
    }
    dataConsumed.store(framer->getConsumed(), std::memory_order_relaxed);
}

void PerfRecordFileReader::parseEvents(PerfEventDataListener& target) {
    listener = &target;
    const unsigned long long undecodableBefore = store ? store->getUndecodableSampleCount() : 0;
    if (decode) {
        // This thread decodes and delivers; one of its own reads, frames and orders, and holds the queue.
        queue.reset(new PerfRecordOrderQueue(*this, PerfRecordOrderQueue::DEFAULT_MEMORY_LIMIT, &blockPool));
        timeLookup.reset(new PerfRecordTimeLookup(attributes));
        PerfRecordPipeline records;
        pipeline = &records;
        recordRun = nullptr;
        blockPool.followBatches(&records.getFinishedCount());
        struct Detach {
            PerfRecordPipeline*& pipeline;
            PerfRecordBlockPool& pool;
            ~Detach() {
                pipeline = nullptr;
                pool.followBatches(nullptr); // the batches are done, or will never be
            }
        } detach{pipeline, blockPool};
        records.run(
            [this] {
                _walk();
                queue->flush();
            },
            [this](const unsigned char* batch, std::size_t size) { _deliverBatch(batch, size); },
            PerfRecordPipeline::isThreadWanted());
    } else {
        rawRecord.reset(new PerfEventDataUnknown(attributes.front()));
        _walk();
    }

    if (framer->isGarbled())
        readerLogger()->errorf("Garbled event data header size.  Perf file corrupt.");
    _reportEnd();
    if (store) {
        const unsigned long long undecodable = store->getUndecodableSampleCount() - undecodableBefore;
        if (undecodable > 0)
            readerLogger()->warnf("%llu samples could not be decoded and were skipped: their call chain or raw "
                                  "data runs past the end of the record.",
                                  undecodable);
        if (store->getUnknownAttributeCount() > 0)
            readerLogger()->warnf("%llu samples were skipped: their id belongs to no attribute of the recording.",
                                  store->getUnknownAttributeCount());
    }
    listener = nullptr;
    target.onClose();
}

namespace {
// "the rest of a record (P of its S bytes are there)", or of its header when not even that is whole.
std::string partialRecord(const PerfRecordFramer& framer, const char* where) {
    if (framer.getPayloadLeft() > 0) // the source ended inside the payload that follows a whole record
        return std::string("the rest of the payload of a record ") + where + " (" +
               std::to_string(framer.getPayloadLeft()) + " bytes)";
    const unsigned long long partial = framer.getPartialBytes();
    const unsigned int stated = framer.getPartialRecordSize();
    std::string text = std::string("the rest of a record ") + where + " (" + std::to_string(partial) + " of its ";
    return text + (stated > 0 ? std::to_string(stated) + " bytes are there)" : "8 header bytes are there)");
}
} // namespace

void PerfRecordFileReader::_reportEnd() {
    // One line on what a cut or unfinished recording lacks.
    std::vector<std::string> parts;
    if (dataMissing > 0)
        parts.push_back(std::to_string(dataMissing) + " bytes of the data section");
    if (!framer->isGarbled() && framer->getPartialBytes() > 0)
        parts.push_back(partialRecord(*framer, "at the end of the data"));
    if (zstdFramer && !zstdFramer->isGarbled() && !zstdSource->hasFailed() && zstdFramer->getPartialBytes() > 0)
        parts.push_back(partialRecord(*zstdFramer, "in the compressed data"));
    if (!missingSections.empty())
        parts.push_back(missingSections);
    if (!parts.empty()) {
        std::string missing = parts.front();
        for (std::size_t i = 1; i < parts.size(); ++i)
            missing += "; " + parts[i];
        readerLogger()->warnf("Recording cut short: missing %s. Every whole record that is there was read.",
                              missing.c_str());
    }
    for (const auto& kind : skipped)
        readerLogger()->warnf("%llu %s were skipped.", kind.second, kind.first.c_str());
}

std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader) {
    const char* indent = "    ";
    const PerfRecordFileReader::PerfFileHeader& header = reader.header;
    out << std::dec;
    out << "\nPerf record output file summary\n";
    out << "----------------------------------------\n";
    out << "File Size: " << reader.fileSize << "\n\n";

    out << "Header:\n";
    out << indent << "Magic: " << std::string(header.magic, strnlen(header.magic, sizeof(header.magic))) << "\n";
    out << indent << "Header size: " << header.size << "\n";
    out << indent << "Attribute size: " << header.attrSize << "\n";
    out << indent << "Attribute section:         offset: " << header.attrs.offset << " size: " << header.attrs.size
        << "\n";
    out << indent << "Trace point types section: offset: " << header.eventTypes.offset
        << " size: " << header.eventTypes.size << "\n";
    out << indent << "Event data section:        offset: " << header.data.offset << " size: " << header.data.size
        << "\n";
    out << indent << "Feature bits:";
    for (unsigned long long word : header.addsFeatures)
        out << " 0x" << Hex8{word};
    out << "\n\n";

    out << "**** Attributes ****\n";
    out << reader.attributes.size() << " attributes\n";
    for (const PerfEventAttribute& attribute : reader.attributes)
        out << attribute << "\n";
    out << "\n";

    out << "**** Trace point event types ****\n";
    out << reader.traceEventTypes.size() << " trace point events\n";
    for (const auto& type : reader.traceEventTypes)
        out << indent << "Event ID: "
            << " 0x" << Hex8{type.first} << " name: " << type.second << "\n";
    out << "\n\n";
    return out;
}

} // namespace perfevents
