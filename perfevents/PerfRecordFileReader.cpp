#include "perfevents/PerfRecordFileReader.h"

#include "kestrel/ByteCursor.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfEventDataUnknown.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfRecordEventDataStore.h"
#include "perfevents/PerfRecordPipeline.h"
#include "perfevents/PerfRecordTimeLookup.h"
#include "perfevents/PerfZstdByteSource.h"

#include <cstring>
#include <iomanip>
#include <ios>

namespace perfevents {

namespace {
typedef PerfFormat F;

kestrel::Logger* readerLogger() {
    static kestrel::Logger* logger = kestrel::Logger::getLogger("PerfRecordFileReader");
    return logger;
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

PerfRecordFileReader::PerfRecordFileReader(std::ifstream& input, bool decode)
    : PerfOutputReader(input), decode(decode), readingThread(blockPool), dataConsumed(0), listener(nullptr),
      attributesChanged(false) {
    readerLogger();
    if (!input.is_open())
        handleError("Input file stream has not been opened.");
    _open(decode);
}

PerfRecordFileReader::PerfRecordFileReader(std::istream& input, bool decode)
    : PerfOutputReader(input), decode(decode), readingThread(blockPool), dataConsumed(0), listener(nullptr),
      attributesChanged(false) {
    readerLogger();
    _open(decode);
}

void PerfRecordFileReader::_open(bool decode) {
    setup.reset(new PerfRecordingSetup(input, PerfRecordingSetup::SCOPE_CONVERSION, &blockPool));
    dataConsumed.store(setup->getFramer().getConsumed(), std::memory_order_relaxed);
    if (decode)
        store.reset(new PerfRecordEventDataStore(setup->getAttributes()));
    else if (setup->getAttributes().empty())
        handleError("Perf file holds no event attributes.  Its records cannot be delivered raw.");
}

PerfRecordFileReader::~PerfRecordFileReader() {}

const std::string& PerfRecordFileReader::getTraceEventName(unsigned long long id) const {
    auto found = getTraceEventTypes().find(id);
    return found != getTraceEventTypes().end() ? found->second : emptyName;
}

bool PerfRecordFileReader::openPerfRecordFile(std::ifstream& input, const std::string& path) {
    input.open(path.c_str(), std::ios::in | std::ios::binary);
    if (input.is_open())
        input.clear();
    else
        input.setstate(std::ios::failbit);
    return input.is_open();
}

void PerfRecordFileReader::_decompress(const PerfRecordView& record) {
    kestrel::ByteCursor payload(record.body(), record.bodySize());
    if (record.type == F::RECORD_COMPRESSED2) {
        // u64 data size, the data, then padding that the record's size counts.
        unsigned long long stated = 0;
        kestrel::ByteCursor data;
        if (!payload.read(stated) || stated > payload.remaining() || !payload.take(stated, data)) {
            ++skipped["compressed records that could not be read"];
            return;
        }
        payload = data;
    }
    if (setup->getCompressionType() > F::COMPRESSION_ZSTD) {
        ++skipped["compressed records of an unknown compression method"];
        return;
    }
    if (!zstdSource) {
        zstdSource.reset(new PerfZstdByteSource());
        zstdFramer.reset(new PerfRecordFramer(*zstdSource));
    }
    if (zstdSource->hasFailed() || zstdFramer->isGarbled()) {
        ++skipped["compressed records after damaged compressed data"];
        return;
    }
    zstdSource->setInput(payload.here(), payload.remaining());
    PerfRecordView inner;
    while (!readingThread.stopping() && zstdFramer->next(inner))
        _handleRecord(inner, true);
    if (zstdSource->hasFailed())
        _logError("Compressed records cannot be decompressed (" + zstdSource->getError() +
                  "); the records after them are skipped.");
    else if (zstdFramer->isGarbled())
        _logError("Garbled event data header size in compressed records.  The records after them are skipped.");
}

void PerfRecordFileReader::_handleRecord(const PerfRecordView& record, bool decompressed) {
    const unsigned int type = record.type;
    if (F::isKernelRecord(type)) {
        if (!decode) {
            _deliver(record.bytes, record.size);
            return;
        }
        if (type > F::LAST_NAMED_KERNEL_RECORD)
            ++skipped["records of unknown kernel record types"];
        if (attributesChanged) {
            // The decoders are rebuilt where the delivery has got to now.
            readingThread.emitRebuild();
            timeLookup->rebuild();
            attributesChanged = false;
        }
        unsigned long long time = 0;
        if (!timeLookup->getRecordTime(type, record.body(), record.bodySize(), time))
            readingThread.emitRecord(record.bytes, record.size, record.block);
        else if (record.block != PerfRecordBlockPool::NO_BLOCK)
            queue->push(time, record.bytes, record.size, record.block);
        else
            queue->push(time, record.bytes, record.size);
        return;
    }
    // Records delivered raw include perf's own, but for the compressed ones, whose records are delivered.
    if (!decode && type != F::RECORD_COMPRESSED && type != F::RECORD_COMPRESSED2) {
        _deliver(record.bytes, record.size);
        return;
    }
    if (PerfRecordingSetup::isSetupRecord(type)) {
        // The delivering thread reads the attributes and event types: it must be done before they change.
        if (type == F::RECORD_HEADER_ATTR || type == F::RECORD_HEADER_EVENT_TYPE)
            readingThread.drain();
        if (setup->handleRecord(record))
            attributesChanged = true;
        return;
    }
    switch (type) {
    case F::RECORD_FINISHED_ROUND:
        queue->finishRound();
        break;
    case F::RECORD_COMPRESSED:
    case F::RECORD_COMPRESSED2:
        if (decompressed)
            ++skipped["compressed records inside compressed records"];
        else
            _decompress(record);
        break;
    default:
        if (F::isUnknownRecord(type))
            ++skipped["records of unknown types"];
        break;
    }
}

void PerfRecordFileReader::_deliver(const unsigned char* record, unsigned int size) {
    kestrel::ByteCursor header(record, size);
    unsigned int type = 0;
    unsigned short misc = 0;
    header.read(type);
    header.read(misc);
    if (!decode) {
        kestrel::ByteBufferViewport whole(const_cast<unsigned char*>(record), size, size);
        if (rawRecord->parse(whole, misc))
            listener->onEventData(*rawRecord);
        return;
    }
    kestrel::ByteBufferViewport body(const_cast<unsigned char*>(record) + F::RECORD_HEADER_SIZE,
                                     size - F::RECORD_HEADER_SIZE, size - F::RECORD_HEADER_SIZE);
    PerfEventData* decoded = store->getEventData(static_cast<PerfEventData::Type>(type), body, misc);
    if (decoded != nullptr)
        listener->onEventData(*decoded);
}

void PerfRecordFileReader::onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int block) {
    readingThread.emitRecord(record, size, block);
}

void PerfRecordFileReader::rebuildDecoders() {
    store->attributesChanged();
}

void PerfRecordFileReader::logError(const std::string& message) {
    readerLogger()->errorf("%s", message.c_str());
}

void PerfRecordFileReader::_logError(const std::string& message) {
    // Logged by the delivering thread where the delivery has got to now, among the messages of decoding.
    if (readingThread.isRunning())
        readingThread.emitError(message);
    else
        logError(message);
}

void PerfRecordFileReader::_walk() {
    PerfRecordFramer& framer = setup->getFramer();
    PerfRecordView record;
    if (setup->takePendingRecord(record))
        _handleRecord(record, false);
    // The count is published every 64 KiB and at the end: written after every record, its cache line would
    // move to the delivering thread's processor and back for every record.
    const unsigned long long STEP = 1u << 16;
    unsigned long long published = dataConsumed.load(std::memory_order_relaxed);
    while (framer.next(record)) {
        _handleRecord(record, false);
        if (framer.getConsumed() - published >= STEP) {
            published = framer.getConsumed();
            dataConsumed.store(published, std::memory_order_relaxed);
            if (readingThread.stopping()) // the delivering thread has given up
                break;
        }
    }
    dataConsumed.store(framer.getConsumed(), std::memory_order_relaxed);
}

void PerfRecordFileReader::parseEvents(PerfEventDataListener& target) {
    listener = &target;
    const unsigned long long undecodableBefore = store ? store->getUndecodableSampleCount() : 0;
    if (decode) {
        // This thread decodes and delivers; the reading thread reads, frames and orders, and holds the queue.
        queue.reset(new PerfRecordOrderQueue(*this, PerfRecordOrderQueue::DEFAULT_MEMORY_LIMIT, &blockPool));
        timeLookup.reset(new PerfRecordTimeLookup(setup->getAttributes()));
        readingThread.run(
            [this] {
                _walk();
                queue->flush();
            },
            *this, PerfRecordPipeline::isThreadWanted());
    } else {
        rawRecord.reset(new PerfEventDataUnknown(setup->getAttributes().front()));
        _walk();
    }

    if (setup->getFramer().isGarbled())
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
    _collectProblems();
    listener = nullptr;
    target.onClose();
}

namespace {
// What is missing of the last record a framer was given: "the last record <where> is incomplete (16 of its 400
// bytes are there)", or the same of its header or of the payload after it; empty when nothing is.
std::string incompleteRecord(const PerfRecordFramer& framer, const char* where) {
    if (framer.getPayloadLeft() > 0) // the source ended inside the payload that follows a whole record
        return std::string("the payload after the last record ") + where + " is incomplete (" +
               std::to_string(framer.getPayloadLeft()) + " bytes are missing)";
    const unsigned long long partial = framer.getPartialBytes();
    if (partial == 0)
        return std::string();
    const unsigned int stated = framer.getPartialRecordSize();
    return std::string("the last record ") + where + " is incomplete (" + std::to_string(partial) + " of its " +
           (stated > 0 ? std::to_string(stated) + " bytes" : "8 header bytes") + " are there)";
}

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) {
        if (part.empty())
            continue;
        text += (text.empty() ? "" : "; ") + part;
    }
    return text;
}
} // namespace

void PerfRecordFileReader::_reportEnd() {
    // One line on what a cut or unfinished recording lacks.
    const PerfRecordFramer& framer = setup->getFramer();
    std::vector<std::string> lost;
    if (setup->getDataMissing() > 0)
        lost.push_back("the last " + std::to_string(setup->getDataMissing()) +
                       " bytes of the data section are missing");
    if (!framer.isGarbled())
        lost.push_back(incompleteRecord(framer, "of the data"));
    if (zstdFramer && !zstdFramer->isGarbled() && !zstdSource->hasFailed())
        lost.push_back(incompleteRecord(*zstdFramer, "in the compressed data"));
    const std::string cut = joined({joined(lost), setup->getMissingSections()});
    if (!cut.empty())
        readerLogger()->warnf("Recording cut short: %s. Every whole record before the cut was read.", cut.c_str());
    std::map<std::string, unsigned long long> all = skipped;
    for (const auto& kind : setup->getSkipped())
        all[kind.first] += kind.second;
    for (const auto& kind : all)
        readerLogger()->warnf("%llu %s were skipped.", kind.second, kind.first.c_str());

    // What of that cost samples, for the user.
    if (framer.isGarbled())
        lost.push_back("a record header states a size below 8 bytes after byte " +
                       std::to_string(setup->getHeader().data.offset + framer.getConsumed()) +
                       " of the file: no record after it could be read");
    if (zstdSource && zstdSource->hasFailed())
        lost.push_back("compressed records could not be decompressed (" + zstdSource->getError() +
                       "): the records after them were lost");
    else if (zstdFramer && zstdFramer->isGarbled())
        lost.push_back("the compressed records are garbled: the records after them were lost");
    for (const auto& kind : skipped)
        if (kind.first.compare(0, 18, "compressed records") == 0)
            lost.push_back(std::to_string(kind.second) + " " + kind.first + " were skipped");
    problems.damage = joined(lost);
}

void PerfRecordFileReader::_collectProblems() {
    if (!store)
        return;
    problems.unknownAttributeSamples = store->getUnknownAttributeCount();
    const std::vector<unsigned long long> counts = store->getUndecodableSampleCounts();
    // With one set of decoders for all attributes, the attribute of an undecodable sample is known only when
    // there is just one.
    const bool perAttribute = counts.size() > 1 || getAttributes().size() == 1;
    for (std::size_t i = 0; i < counts.size(); ++i)
        if (counts[i] > 0)
            problems.undecodableSamples[perAttribute ? static_cast<int>(i) : -1] += counts[i];
}

std::ostream& operator<<(std::ostream& out, const PerfRecordFileReader& reader) {
    const char* indent = "    ";
    const PerfRecordFileReader::PerfFileHeader& header = reader.getHeader();
    out << std::dec;
    out << "\nPerf record output file summary\n";
    out << "----------------------------------------\n";
    out << "File Size: " << reader.getFileSize() << "\n\n";

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
    out << reader.getAttributes().size() << " attributes\n";
    for (const PerfEventAttribute& attribute : reader.getAttributes())
        out << attribute << "\n";
    out << "\n";

    out << "**** Trace point event types ****\n";
    out << reader.getTraceEventTypes().size() << " trace point events\n";
    for (const auto& type : reader.getTraceEventTypes())
        out << indent << "Event ID: "
            << " 0x" << Hex8{type.first} << " name: " << type.second << "\n";
    out << "\n\n";
    return out;
}

} // namespace perfevents
