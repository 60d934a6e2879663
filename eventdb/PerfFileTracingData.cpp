#include "eventdb/PerfFileTracingData.h"

#include "perfevents/PerfRecordFramer.h"
#include "perfevents/PerfStreamByteSource.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace eventdb {

namespace {

const bool HOST_BIG_ENDIAN = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// The magic as a little-endian writer stores it, and as a big-endian writer stores it; the old version 1
// header has the same layout under its own magic.
const char MAGIC_LITTLE[] = "PERFILE2";
const char MAGIC_BIG[] = "2ELIFREP";
const char MAGIC_V1_LITTLE[] = "PERFFILE";
const char MAGIC_V1_BIG[] = "ELIFFREP";

const size_t HEADER_SIZE = 104;
const size_t PIPE_HEADER_SIZE = 16;
const size_t DATA_SECTION_OFFSET = 40;
const size_t FEATURES_OFFSET = 72;
// Format texts, kernel symbols and printk formats take a few megabytes at most; more is damage.
const uint64_t MAX_SECTION_SIZE = 256u * 1024 * 1024;

uint64_t readU64(const unsigned char* bytes, bool swap) {
    uint64_t value;
    std::memcpy(&value, bytes, sizeof(value));
    if (swap) {
        uint64_t swapped = 0;
        for (int i = 0; i < 8; ++i) {
            swapped = (swapped << 8) | (value & 0xFFu);
            value >>= 8;
        }
        value = swapped;
    }
    return value;
}

} // namespace

bool PerfFileTracingData::isPerfFile(const char* head, size_t length) {
    return head != nullptr && length >= 8 &&
           (std::memcmp(head, MAGIC_LITTLE, 8) == 0 || std::memcmp(head, MAGIC_BIG, 8) == 0 ||
            std::memcmp(head, MAGIC_V1_LITTLE, 8) == 0 || std::memcmp(head, MAGIC_V1_BIG, 8) == 0);
}

std::vector<unsigned char> PerfFileTracingData::read(std::istream& in, const char* head, size_t headLength) {
    // The first bytes are read without a seek: a recording written to a pipe may come from standard input.
    unsigned char header[HEADER_SIZE];
    size_t have = headLength < PIPE_HEADER_SIZE ? headLength : PIPE_HEADER_SIZE;
    if (have > 0) {
        std::memcpy(header, head, have);
    }
    in.read(reinterpret_cast<char*>(header) + have, static_cast<std::streamsize>(PIPE_HEADER_SIZE - have));
    if (have + static_cast<size_t>(in.gcount()) != PIPE_HEADER_SIZE) {
        throw std::runtime_error("not a perf.data file (too short)");
    }
    if (!isPerfFile(reinterpret_cast<const char*>(header), 8)) {
        throw std::runtime_error("not a perf.data file (wrong magic)");
    }
    bool swap =
        (std::memcmp(header, MAGIC_BIG, 8) == 0 || std::memcmp(header, MAGIC_V1_BIG, 8) == 0) != HOST_BIG_ENDIAN;
    uint64_t headerSize = readU64(header + 8, swap);
    if (headerSize == PIPE_HEADER_SIZE) {
        if (swap) {
            throw std::runtime_error("a perf.data stream of the other byte order cannot be read");
        }
        return _readFromPipe(in);
    }

    in.clear();
    in.seekg(0, std::ios::end);
    std::streamoff end = in.tellg();
    if (!in || end < 0) {
        throw std::runtime_error("a perf.data file not written to a pipe cannot be read from a pipe: give the file");
    }
    unsigned long long fileSize = static_cast<unsigned long long>(end);
    if (headerSize < HEADER_SIZE || fileSize < HEADER_SIZE) {
        throw std::runtime_error("damaged perf.data file: truncated header");
    }
    _readAt(in, 0, header, HEADER_SIZE);

    uint64_t dataOffset = readU64(header + DATA_SECTION_OFFSET, swap);
    uint64_t dataSize = readU64(header + DATA_SECTION_OFFSET + 8, swap);
    uint64_t features[4];
    for (int word = 0; word < 4; ++word) {
        features[word] = readU64(header + FEATURES_OFFSET + 8 * word, swap);
    }
    if ((features[FEATURE_TRACING_DATA / 64] & (uint64_t(1) << (FEATURE_TRACING_DATA % 64))) == 0) {
        throw std::runtime_error("the file has no tracing data section (was it recorded without trace points?)");
    }
    // One table entry per set feature bit, in ascending bit order: count the bits below ours.
    uint64_t index = 0;
    for (unsigned bit = 0; bit < FEATURE_TRACING_DATA; ++bit) {
        index += (features[bit / 64] >> (bit % 64)) & 1u;
    }
    if (dataOffset > fileSize || dataSize > fileSize - dataOffset) {
        throw std::runtime_error("damaged perf.data file: the data section lies beyond the end of the file");
    }
    uint64_t entry = dataOffset + dataSize + 16 * index;
    if (entry > fileSize || fileSize - entry < 16) {
        throw std::runtime_error("damaged perf.data file: the feature section table lies beyond the end of the file");
    }
    unsigned char section[16];
    _readAt(in, entry, section, sizeof(section));
    uint64_t offset = readU64(section, swap);
    uint64_t size = readU64(section + 8, swap);
    if (offset > fileSize || size > fileSize - offset) {
        throw std::runtime_error("damaged perf.data file: the tracing data section lies beyond the end of the file");
    }
    if (size > MAX_SECTION_SIZE) {
        throw std::runtime_error("damaged perf.data file: the tracing data section is implausibly large (" +
                                 std::to_string(size) + " bytes)");
    }
    std::vector<unsigned char> bytes(static_cast<size_t>(size));
    if (size > 0) {
        _readAt(in, offset, bytes.data(), bytes.size());
    }
    return bytes;
}

std::vector<unsigned char> PerfFileTracingData::_readFromPipe(std::istream& in) {
    // The set-up records come first; the tracing data follows its HEADER_TRACING_DATA record as a payload.
    const unsigned int FINISHED_INIT = 82;
    perfevents::PerfStreamByteSource source(in);
    perfevents::PerfRecordFramer framer(source);
    perfevents::PerfRecordView record;
    while (framer.next(record)) {
        if (record.type == perfevents::PerfRecordFramer::TYPE_HEADER_TRACING_DATA) {
            std::vector<unsigned char> bytes;
            unsigned int size = 0;
            if (record.size >= 12) {
                std::memcpy(&size, record.bytes + 8, 4);
            }
            if (size > MAX_SECTION_SIZE) {
                throw std::runtime_error("damaged perf.data stream: the tracing data is implausibly large (" +
                                         std::to_string(size) + " bytes)");
            }
            if (size == 0 || !framer.readPayload(bytes, MAX_SECTION_SIZE + 8)) {
                throw std::runtime_error("damaged perf.data stream: the tracing data ends early");
            }
            bytes.resize(size); // without the padding
            return bytes;
        }
        if (record.type < 64 || record.type == FINISHED_INIT) {
            break; // the data has begun: there is no tracing data
        }
    }
    if (framer.isGarbled()) {
        throw std::runtime_error("damaged perf.data stream: a record header states a size below 8 bytes");
    }
    throw std::runtime_error("the stream has no tracing data record (was it recorded without trace points?)");
}

void PerfFileTracingData::_readAt(std::istream& in, unsigned long long offset, void* buffer, size_t count) {
    in.clear();
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
    if (!in || static_cast<size_t>(in.gcount()) != count) {
        throw std::runtime_error("read error at byte " + std::to_string(offset));
    }
}

} // namespace eventdb
