#include "perfevents/PerfTracingData.h"

#include "kestrel/ByteCursor.h"

#include <stdexcept>

namespace perfevents {

namespace {
typedef PerfFormat F;

unsigned long long swap64(unsigned long long value, bool swapped) {
    return swapped ? __builtin_bswap64(value) : value;
}

void readAt(std::istream& input, unsigned long long offset, void* buffer, std::size_t count) {
    input.clear();
    input.seekg(static_cast<std::streamoff>(offset), std::ios::beg);
    input.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
    if (!input || static_cast<std::size_t>(input.gcount()) != count)
        throw std::runtime_error("read error at byte " + std::to_string(offset));
}
} // namespace

void PerfTracingData::_found() {
    found = true;
    problem.clear();
}

bool PerfTracingData::_missing(const std::string& text) {
    bytes.clear();
    problem = text;
    return false;
}

void PerfTracingData::noteMissing(const std::string& text) {
    if (!found && problem.empty())
        problem = text;
}

void PerfTracingData::readFromFile(std::istream& input, const PerfFormat::FileHeader& header,
                                   unsigned long long fileSize, bool swapped) {
    const unsigned int bit = F::FEATURE_TRACING_DATA;
    if ((header.addsFeatures[bit / 64] >> (bit % 64)) & 1u ? _fromSection(input, header, fileSize, swapped)
                                                           : _fromFirstRecord(input, header, fileSize, swapped))
        _found();
}

bool PerfTracingData::_fromSection(std::istream& input, const PerfFormat::FileHeader& header,
                                   unsigned long long fileSize, bool swapped) {
    if (header.data.offset > fileSize || header.data.size > fileSize - header.data.offset)
        return _missing("damaged perf.data file: the data section lies beyond the end of the file");
    // One table entry per set feature bit, in ascending bit order: count the bits below ours.
    unsigned long long index = 0;
    for (unsigned int bit = 0; bit < F::FEATURE_TRACING_DATA; ++bit)
        index += (header.addsFeatures[bit / 64] >> (bit % 64)) & 1u;
    const unsigned long long entry = header.data.offset + header.data.size + F::SECTION_SIZE * index;
    if (entry > fileSize || fileSize - entry < F::SECTION_SIZE)
        return _missing("damaged perf.data file: the feature section table lies beyond the end of the file");
    unsigned char table[F::SECTION_SIZE];
    readAt(input, entry, table, sizeof(table));
    F::FileSection section{0, 0};
    kestrel::ByteCursor cursor(table, sizeof(table));
    cursor.read(section.offset);
    cursor.read(section.size);
    section.offset = swap64(section.offset, swapped);
    section.size = swap64(section.size, swapped);
    if (section.offset > fileSize || section.size > fileSize - section.offset)
        return _missing("damaged perf.data file: the tracing data section lies beyond the end of the file");
    if (section.size > MAX_SIZE)
        return _missing("damaged perf.data file: the tracing data section is implausibly large (" +
                        std::to_string(section.size) + " bytes)");
    bytes.resize(static_cast<std::size_t>(section.size));
    if (section.size > 0)
        readAt(input, section.offset, bytes.data(), bytes.size());
    return true;
}

bool PerfTracingData::_fromFirstRecord(std::istream& input, const PerfFormat::FileHeader& header,
                                       unsigned long long fileSize, bool swapped) {
    const char* none = "the file has no tracing data section (was it recorded without trace points?)";
    if (header.data.offset > fileSize || fileSize - header.data.offset < F::TRACING_DATA_OFFSET)
        return _missing(none);
    unsigned char head[F::TRACING_DATA_OFFSET];
    readAt(input, header.data.offset, head, sizeof(head));
    kestrel::ByteCursor cursor(head, sizeof(head));
    unsigned int type = 0, stated = 0;
    unsigned short misc = 0, size = 0;
    cursor.read(type);
    cursor.read(misc);
    cursor.read(size);
    cursor.read(stated);
    if (swapped) {
        type = __builtin_bswap32(type);
        size = __builtin_bswap16(size);
        stated = __builtin_bswap32(stated);
    }
    if (type != F::RECORD_HEADER_TRACING_DATA || size < F::TRACING_DATA_OFFSET ||
        stated > size - F::TRACING_DATA_OFFSET || stated > fileSize - header.data.offset - F::TRACING_DATA_OFFSET)
        return _missing(none);
    bytes.resize(stated);
    if (stated > 0)
        readAt(input, header.data.offset + F::TRACING_DATA_OFFSET, bytes.data(), bytes.size());
    return true;
}

void PerfTracingData::takeFromRecord(const PerfRecordView& record, PerfRecordFramer* payloadSource) {
    unsigned int stated = 0;
    kestrel::ByteCursor(record.bytes, record.size).peekAt(F::TRACING_DATA_SIZE_OFFSET, stated);
    if (record.size >= F::TRACING_DATA_OFFSET && stated <= record.size - F::TRACING_DATA_OFFSET) {
        // Inside the record, as Android's recorder writes it.
        bytes.assign(record.bytes + F::TRACING_DATA_OFFSET, record.bytes + F::TRACING_DATA_OFFSET + stated);
        _found();
        return;
    }
    // After the record, as perf writes it to a pipe.
    if (payloadSource == nullptr)
        return;
    if (stated > MAX_SIZE) {
        _missing("damaged perf.data stream: the tracing data is implausibly large (" + std::to_string(stated) +
                 " bytes)");
        return;
    }
    std::vector<unsigned char> payload;
    if (stated == 0 || !payloadSource->readPayload(payload, MAX_SIZE + F::PAYLOAD_ALIGNMENT)) {
        _missing("damaged perf.data stream: the tracing data ends early");
        return;
    }
    payload.resize(stated); // without the padding
    bytes.swap(payload);
    _found();
}

} // namespace perfevents
