#include "perfevents/PerfRecordingSetup.h"

#include "kestrel/ByteCursor.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfStreamByteSource.h"

#include <algorithm>
#include <cstring>
#include <ios>
#include <stdexcept>

namespace perfevents {

namespace {
typedef PerfFormat F;

const bool HOST_BIG_ENDIAN = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

kestrel::Logger* readerLogger() {
    static kestrel::Logger* logger = kestrel::Logger::getLogger("PerfRecordFileReader");
    return logger;
}

bool sameBytes(const char* head, const char* magic) {
    return std::memcmp(head, magic, F::MAGIC_SIZE) == 0;
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

PerfRecordingSetup::PerfRecordingSetup(std::istream& input, Scope scope, PerfRecordBlockPool* pool, const char* head,
                                       std::size_t headLength)
    : input(input), scope(scope), pool(pool), pipeMode(false), swapped(false), header(), fileSize(-1), setupRead(false),
      compressionType(0), dataLimit(0), dataMissing(0), pendingRecord(false) {
    readerLogger();
    _readHead(head, headLength);
    if (pipeMode) {
        streamSource.reset(new PerfStreamByteSource(input));
        framer.reset(pool != nullptr ? new PerfRecordFramer(*streamSource, *pool)
                                     : new PerfRecordFramer(*streamSource));
        _readPipeSetup();
        if (scope == SCOPE_FORMATS && !tracingData.isFound())
            throw std::runtime_error(tracingData.getProblem());
        return;
    }
    if (scope == SCOPE_FORMATS) {
        _readHeader();
        _readTracingData();
        return;
    }
    if (fileSize < 0)
        handleError(
            "A perf.data file that was not written to a pipe cannot be read from a pipe: give the file itself.");
    if (fileSize < F::MINIMUM_FILE_SIZE)
        handleError("Perf file is of insufficient size.");
    _readHeader();
    _checkSections();
    _readAttributes();
    _readTraceEventTypes();
    _readTracingData();
    _cueFirstEvent();
}

PerfRecordingSetup::~PerfRecordingSetup() {}

bool PerfRecordingSetup::isPerfFile(const char* head, std::size_t length) {
    return head != nullptr && length >= F::MAGIC_SIZE &&
           (sameBytes(head, F::MAGIC) || sameBytes(head, F::MAGIC_SWAPPED) || sameBytes(head, F::MAGIC_V1) ||
            sameBytes(head, F::MAGIC_V1_SWAPPED));
}

void PerfRecordingSetup::_fail(const char* conversionMessage, const std::string& formatsMessage) const {
    if (scope == SCOPE_CONVERSION)
        handleError(conversionMessage);
    throw std::runtime_error(formatsMessage);
}

void PerfRecordingSetup::_readHead(const char* head, std::size_t headLength) {
    // A stream that cannot seek (a pipe) can only hold a recording written to a pipe: the first bytes are read
    // without a seek.
    unsigned char first[F::PIPE_HEADER_SIZE];
    const std::size_t have = std::min<std::size_t>(headLength, F::PIPE_HEADER_SIZE);
    if (have > 0)
        std::memcpy(first, head, have);
    if (have == 0) {
        input.seekg(0, std::ios::end);
        fileSize = input.fail() ? -1 : static_cast<long long>(input.tellg());
        input.clear();
        if (fileSize >= 0 && fileSize < F::PIPE_HEADER_SIZE)
            _fail("Perf file is of insufficient size.", "not a perf.data file (too short)");
        if (fileSize >= 0)
            input.seekg(0, std::ios::beg);
    }
    input.read(reinterpret_cast<char*>(first) + have, static_cast<std::streamsize>(F::PIPE_HEADER_SIZE - have));
    if (have + static_cast<std::size_t>(input.gcount()) != F::PIPE_HEADER_SIZE)
        _fail("Error reading perf file header.", "not a perf.data file (too short)");
    const char* magic = reinterpret_cast<const char*>(first);
    if (scope == SCOPE_FORMATS) {
        if (!isPerfFile(magic, F::MAGIC_SIZE))
            throw std::runtime_error("not a perf.data file (wrong magic)");
        swapped = (sameBytes(magic, F::MAGIC_SWAPPED) || sameBytes(magic, F::MAGIC_V1_SWAPPED)) != HOST_BIG_ENDIAN;
    }
    std::memcpy(header.magic, first, F::MAGIC_SIZE);
    unsigned long long size = 0;
    kestrel::ByteCursor(first, sizeof(first)).peekAt(F::HEADER_SIZE_OFFSET, size);
    header.size = _swap(size);
    pipeMode = header.size == F::PIPE_HEADER_SIZE;
    if (pipeMode && swapped)
        throw std::runtime_error("a perf.data stream of the other byte order cannot be read");
    if (!pipeMode && scope == SCOPE_FORMATS) {
        input.clear();
        input.seekg(0, std::ios::end);
        const std::streamoff end = input.tellg();
        if (!input || end < 0)
            throw std::runtime_error(
                "a perf.data file not written to a pipe cannot be read from a pipe: give the file");
        fileSize = static_cast<long long>(end);
        if (header.size < F::FILE_HEADER_SIZE || fileSize < F::FILE_HEADER_SIZE)
            throw std::runtime_error("damaged perf.data file: truncated header");
    }
}

void PerfRecordingSetup::_readHeader() {
    unsigned char bytes[F::FILE_HEADER_SIZE];
    input.clear();
    input.seekg(0, std::ios::beg);
    input.read(reinterpret_cast<char*>(bytes), F::FILE_HEADER_SIZE);
    if (input.fail())
        _fail("Error reading perf file header.", "damaged perf.data file: truncated header");
    kestrel::ByteCursor cursor(bytes, sizeof(bytes));
    cursor.readBytes(header.magic, F::MAGIC_SIZE);
    unsigned long long* fields[] = {
        &header.size,        &header.attrSize,  &header.attrs.offset,      &header.attrs.size,
        &header.data.offset, &header.data.size, &header.eventTypes.offset, &header.eventTypes.size};
    for (unsigned long long* field : fields) {
        cursor.read(*field);
        *field = _swap(*field);
    }
    for (unsigned long long& word : header.addsFeatures) {
        cursor.read(word);
        word = _swap(word);
    }
}

void PerfRecordingSetup::_checkSections() {
    if (header.size != F::FILE_HEADER_SIZE)
        handleError("Invalid header size recorded in perf file header.  Perf file corrupt.");
    if (header.attrSize - F::MIN_ATTR_ENTRY_SIZE > F::MAX_ATTR_ENTRY_SIZE - F::MIN_ATTR_ENTRY_SIZE)
        handleError("Invalid attribute size recorded in perf file header.  Perf file corrupt.");

    const unsigned long long attributeSize = header.attrSize - F::SECTION_SIZE;
    if (attributeSize == F::ATTR_SIZE_VER0)
        readerLogger()->infof("Older version 0 of perf file attributes used in perf file.");
    else if (attributeSize == F::ATTR_SIZE_VER1)
        readerLogger()->infof("Older version 1 of perf file attributes used in perf file.");
    else if (attributeSize == F::ATTR_SIZE_VER2)
        readerLogger()->infof("Older version 2 of perf file attributes used in perf file.");
    else if (attributeSize == F::ATTR_SIZE_VER3)
        readerLogger()->infof("Current version 3 of perf file attributes used in perf file.");
    else if (attributeSize > F::ATTR_SIZE_VER3)
        readerLogger()->warnf(
            "Perf file attribute may indicate new generation kernel or perf record version was used.");

    const unsigned long long size = static_cast<unsigned long long>(fileSize);
    if (header.attrs.offset > size || header.attrs.size > size)
        handleError("Invalid attribute offset location.  Perf file corrupt.");
    // The data section's check reports the event types' message, as readers of this format always have.
    if (header.data.offset > size)
        handleError("Invalid trace event types offset location.  Perf file corrupt.");

    // perf writes the header last: a data size of 0 means it did not finish the file, whose records then run
    // to its end. A file cut short holds less than its header states; what is there is read.
    const unsigned long long present = size - header.data.offset;
    if (header.data.size == 0) {
        dataLimit = present;
        if (present > 0)
            missingSections = "the header states no data size (perf did not finish the file; records are read up to "
                              "its end)";
    } else if (header.data.size > present) {
        dataLimit = present;
        dataMissing = header.data.size - present;
    } else {
        dataLimit = header.data.size;
    }
}

void PerfRecordingSetup::_readAttributes() {
    input.seekg(static_cast<std::streamoff>(header.attrs.offset), std::ios::beg);
    if (input.fail())
        handleError("Error reading perf file attributes.  Perf file corrupt.");

    const unsigned int attributeSize = static_cast<unsigned int>(header.attrSize - F::SECTION_SIZE);
    kestrel::ByteBuffer bytes;
    bytes.size(attributeSize);
    const unsigned long long count = header.attrs.size / header.attrSize;

    attributes.clear();
    std::vector<PerfFileSection> idSections;
    const std::vector<unsigned long long> noIds;
    for (unsigned long long i = 0; i < count; ++i) {
        unsigned char section[F::SECTION_SIZE];
        input.read(reinterpret_cast<char*>(bytes.data()), attributeSize);
        input.read(reinterpret_cast<char*>(section), sizeof(section));
        if (input.fail())
            handleError("Error reading perf file attributes.  Perf file corrupt.");
        attributes.push_back(new PerfEventAttribute(bytes, noIds));
        PerfFileSection ids{0, 0};
        kestrel::ByteCursor cursor(section, sizeof(section));
        cursor.read(ids.offset);
        cursor.read(ids.size);
        idSections.push_back(ids);
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

void PerfRecordingSetup::_readTraceEventTypes() {
    traceEventTypes.clear();
    if (header.eventTypes.size / F::EVENT_TYPE_SIZE > attributes.size())
        handleError("Number of trace event types is invalid.  Perf file corrupt.");
    const unsigned long long size = static_cast<unsigned long long>(fileSize);
    if (header.eventTypes.offset > size || header.eventTypes.size > size - header.eventTypes.offset) {
        // A cut file: the event types are not needed to convert, the event database names the trace points.
        missingSections +=
            std::string(missingSections.empty() ? "" : "; ") + "the trace point event types section is missing";
        return;
    }
    input.seekg(static_cast<std::streamoff>(header.eventTypes.offset), std::ios::beg);
    if (input.fail())
        handleError("Error reading perf file trace event types.  Perf file corrupt.");
    const unsigned long long count = header.eventTypes.size / F::EVENT_TYPE_SIZE;
    for (unsigned long long i = 0; i < count; ++i) {
        unsigned char entry[F::EVENT_TYPE_SIZE];
        input.read(reinterpret_cast<char*>(entry), F::EVENT_TYPE_SIZE);
        // The last byte of the name is forced to NUL: a name has at most 63 characters.
        kestrel::ByteCursor cursor(entry, sizeof(entry));
        unsigned long long id = 0;
        std::string name;
        cursor.read(id);
        cursor.readFixedString(name, F::EVENT_NAME_SIZE - 1);
        traceEventTypes[id] = name;
        if (input.fail())
            handleError("Error reading trace event types.  Perf file corrupt.");
    }
}

void PerfRecordingSetup::_readTracingData() {
    try {
        tracingData.readFromFile(input, header, static_cast<unsigned long long>(fileSize), swapped);
    } catch (const std::runtime_error& e) {
        if (scope == SCOPE_FORMATS)
            throw;
        tracingData.noteMissing(e.what());
    }
    input.clear();
    if (scope == SCOPE_FORMATS && !tracingData.isFound())
        throw std::runtime_error(tracingData.getProblem());
}

void PerfRecordingSetup::_cueFirstEvent() {
    input.clear();
    input.seekg(static_cast<std::streamoff>(header.data.offset), std::ios::beg);
    if (input.fail())
        handleError("Error cueing read of perf event data.  Perf file corrupt.");
    streamSource.reset(new PerfStreamByteSource(input));
    framer.reset(pool != nullptr ? new PerfRecordFramer(*streamSource, *pool, dataLimit)
                                 : new PerfRecordFramer(*streamSource, dataLimit));
}

void PerfRecordingSetup::_readPipeSetup() {
    // Everything up to the first record of the data: attributes, event types, tracing data, features.
    while (framer->next(pending)) {
        if (F::beginsData(pending.type)) {
            pendingRecord = true;
            break;
        }
        handleRecord(pending);
    }
    setupRead = true;
    tracingData.noteMissing(framer->isGarbled()
                                ? "damaged perf.data stream: a record header states a size below 8 bytes"
                                : "the stream has no tracing data record (was it recorded without trace points?)");
}

bool PerfRecordingSetup::takePendingRecord(PerfRecordView& record) {
    if (!pendingRecord)
        return false;
    pendingRecord = false;
    record = pending;
    return true;
}

bool PerfRecordingSetup::isSetupRecord(unsigned int type) {
    return type == F::RECORD_HEADER_ATTR || type == F::RECORD_HEADER_EVENT_TYPE ||
           type == F::RECORD_HEADER_TRACING_DATA || type == F::RECORD_HEADER_FEATURE;
}

bool PerfRecordingSetup::handleRecord(const PerfRecordView& record) {
    kestrel::ByteCursor body(record.body(), record.bodySize());
    switch (record.type) {
    case F::RECORD_HEADER_ATTR: {
        // The attribute (its own size field says how long), then the ids of its streams up to the record's end.
        unsigned int size = 0;
        body.peekAt(F::ATTR_SIZE_FIELD_OFFSET, size);
        if (size < F::ATTR_SIZE_VER0 || size > record.bodySize()) {
            ++skipped["attribute records that could not be read"];
            return false;
        }
        std::vector<unsigned long long> ids((record.bodySize() - size) / 8);
        body.skip(size);
        body.readBytes(ids.data(), ids.size() * 8);
        kestrel::ByteBufferViewport bytes(const_cast<unsigned char*>(record.body()), size, size);
        attributes.push_back(new PerfEventAttribute(bytes, ids));
        return true;
    }
    case F::RECORD_HEADER_EVENT_TYPE: {
        unsigned long long id = 0;
        std::string name;
        if (body.read(id) &&
            body.readFixedString(name, std::min<std::size_t>(body.remaining(), F::EVENT_NAME_SIZE - 1)))
            traceEventTypes[id] = name;
        return false;
    }
    case F::RECORD_HEADER_FEATURE: {
        unsigned long long feature = 0;
        unsigned int type = 0;
        if (body.read(feature) && feature == F::FEATURE_COMPRESSED &&
            body.peekAt(sizeof(feature) + F::COMPRESSION_TYPE_OFFSET, type))
            compressionType = type;
        return false;
    }
    case F::RECORD_HEADER_TRACING_DATA:
        // The payload after perf's form can be read only while the framer stands right after the record.
        tracingData.takeFromRecord(record, setupRead ? nullptr : framer.get());
        return false;
    default:
        if (F::isUnknownRecord(record.type))
            ++skipped["records of unknown types"];
        return false;
    }
}

} // namespace perfevents
