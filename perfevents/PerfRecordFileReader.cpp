#include "perfevents/PerfRecordFileReader.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfEventDataUnknown.h"
#include "perfevents/PerfRecordEventDataStore.h"

#include <cstring>
#include <iomanip>
#include <ios>

namespace perfevents {

namespace {
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
    : PerfOutputReader(input), decode(decode), header(), fileSize(0) {
    readerLogger();
    if (!input.is_open())
        handleError("Input file stream has not been opened.");
    input.seekg(0, std::ios::end);
    fileSize = static_cast<long long>(input.tellg());
    if (input.fail() || fileSize < MINIMUM_FILE_SIZE)
        handleError("Perf file is of insufficient size.");

    _readHeader();
    _readAttributes();
    _readTraceEventTypes();

    recordBuffer.capacity(RECORD_BUFFER_SIZE);
    if (decode)
        store.reset(new PerfRecordEventDataStore(attributes));
    else if (attributes.empty())
        handleError("Perf file holds no event attributes.  Its records cannot be delivered raw.");
    _cueFirstEvent();
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
    if (header.eventTypes.offset > size || header.eventTypes.size > size || header.data.offset > size ||
        header.data.size > size)
        handleError("Invalid trace event types offset location.  Perf file corrupt.");
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
    input.seekg(static_cast<std::streamoff>(header.eventTypes.offset), std::ios::beg);
    if (input.fail())
        handleError("Error reading perf file trace event types.  Perf file corrupt.");
    const unsigned long long count = header.eventTypes.size / EVENT_TYPE_SIZE;
    if (count > attributes.size())
        handleError("Number of trace event types is invalid.  Perf file corrupt.");

    traceEventTypes.clear();
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

bool PerfRecordFileReader::_readRecord(unsigned int& type, PerfEventData::MiscFlags& misc, unsigned int& size) {
    // Straight from the stream buffer: two small reads per record, without a stream sentry for each. A short
    // read sets failbit exactly as a failed read of the stream would.
    std::streambuf* source = input.rdbuf();
    char* buffer = reinterpret_cast<char*>(recordBuffer.data());
    if (!input.good() || source->sgetn(buffer, RECORD_HEADER_SIZE) != RECORD_HEADER_SIZE)
        input.setstate(std::ios::eofbit | std::ios::failbit);
    type = readAt<unsigned int>(recordBuffer.data(), 0);
    misc = readAt<unsigned short>(recordBuffer.data(), 4);
    size = readAt<unsigned short>(recordBuffer.data(), 6);
    if (size < RECORD_HEADER_SIZE) {
        readerLogger()->errorf("Garbled event data header size.  Perf file corrupt.");
        return false;
    }
    const std::streamsize bodySize = size - RECORD_HEADER_SIZE;
    if (!input.good() || source->sgetn(buffer + RECORD_HEADER_SIZE, bodySize) != bodySize)
        input.setstate(std::ios::eofbit | std::ios::failbit);
    if (input.fail()) {
        readerLogger()->errorf("Error reading event data from perf file.  Perf file corrupt.");
        return false;
    }
    return true;
}

void PerfRecordFileReader::parseEvents(PerfEventDataListener& listener) {
    long long remaining = static_cast<long long>(header.data.size);
    unsigned int type = 0;
    PerfEventData::MiscFlags misc = 0;
    unsigned int size = 0;

    if (store) {
        const unsigned long long undecodableBefore = store->getSampleDecoder().getUndecodableCount();
        kestrel::ByteBufferViewport body(recordBuffer.data() + RECORD_HEADER_SIZE,
                                         RECORD_BUFFER_SIZE - RECORD_HEADER_SIZE, 0);
        while (remaining >= 1 && _readRecord(type, misc, size)) {
            body.size(size - RECORD_HEADER_SIZE);
            PerfEventData* record = store->getEventData(static_cast<PerfEventData::Type>(type), body, misc);
            if (record != nullptr)
                listener.onEventData(*record);
            remaining -= size;
        }
        const unsigned long long undecodable = store->getSampleDecoder().getUndecodableCount() - undecodableBefore;
        if (undecodable > 0)
            readerLogger()->warnf("%llu samples could not be decoded and were skipped: their call chain or raw "
                                  "data runs past the end of the record.",
                                  undecodable);
    } else {
        PerfEventDataUnknown raw(attributes.front());
        kestrel::ByteBufferViewport record(recordBuffer.data(), RECORD_BUFFER_SIZE, 0);
        while (remaining >= 1 && _readRecord(type, misc, size)) {
            record.size(size);
            if (raw.parse(record, misc))
                listener.onEventData(raw);
            remaining -= size;
        }
    }
    listener.onClose();
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
