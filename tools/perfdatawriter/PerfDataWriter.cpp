#include "tools/perfdatawriter/PerfDataWriter.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <zstd.h>

namespace perfdatawriter {

namespace {
const std::uint64_t SAMPLE_IP = 0x1, SAMPLE_TID = 0x2, SAMPLE_TIME = 0x4, SAMPLE_ADDR = 0x8, SAMPLE_READ = 0x10,
                    SAMPLE_CALLCHAIN = 0x20, SAMPLE_ID = 0x40, SAMPLE_CPU = 0x80, SAMPLE_PERIOD = 0x100,
                    SAMPLE_STREAM_ID = 0x200, SAMPLE_RAW = 0x400, SAMPLE_IDENTIFIER = 0x10000;
const std::size_t HEADER_SIZE = 104;

template <typename T> void put(Bytes& out, T value) {
    const std::size_t at = out.size();
    out.resize(at + sizeof(T));
    std::memcpy(out.data() + at, &value, sizeof(T));
}

// Writes the value at offset if it fits into the buffer; fields beyond a short attribute are left out.
template <typename T> void place(Bytes& out, std::size_t offset, T value) {
    if (offset + sizeof(T) <= out.size())
        std::memcpy(out.data() + offset, &value, sizeof(T));
}
} // namespace

void putU16(Bytes& out, std::uint16_t value) {
    put(out, value);
}
void putU32(Bytes& out, std::uint32_t value) {
    put(out, value);
}
void putU64(Bytes& out, std::uint64_t value) {
    put(out, value);
}
void putBytes(Bytes& out, const Bytes& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}
void patchU64(Bytes& out, std::size_t offset, std::uint64_t value) {
    place(out, offset, value);
}

Bytes Attribute::encode() const {
    Bytes out(byteSize, 0);
    place(out, 0, type);
    place(out, 4, sizeField != 0 ? sizeField : byteSize);
    place(out, 8, config);
    place(out, 16, samplePeriod);
    place(out, 24, sampleType);
    place(out, 32, readFormat);
    place(out, 40, flags);
    place(out, 48, wakeup);
    place(out, 52, bpType);
    place(out, 56, config1);
    place(out, 64, config2);
    place(out, 72, branchSampleType);
    place(out, 80, sampleRegsUser);
    place(out, 88, sampleStackUser);
    return out;
}

Bytes encodeSample(std::uint64_t type, const Sample& s) {
    Bytes out;
    if (type & SAMPLE_IDENTIFIER)
        putU64(out, s.identifier);
    if (type & SAMPLE_IP)
        putU64(out, s.ip);
    if (type & SAMPLE_TID) {
        putU32(out, s.pid);
        putU32(out, s.tid);
    }
    if (type & SAMPLE_TIME)
        putU64(out, s.time);
    if (type & SAMPLE_ADDR)
        putU64(out, s.addr);
    if (type & SAMPLE_ID)
        putU64(out, s.id);
    if (type & SAMPLE_STREAM_ID)
        putU64(out, s.streamId);
    if (type & SAMPLE_CPU) {
        putU32(out, s.cpu);
        putU32(out, s.resource);
    }
    if (type & SAMPLE_PERIOD)
        putU64(out, s.period);
    if (type & SAMPLE_READ)
        putBytes(out, s.readBlock);
    if (type & SAMPLE_CALLCHAIN) {
        putU64(out, s.callchainCountOverride >= 0 ? static_cast<std::uint64_t>(s.callchainCountOverride)
                                                  : s.callchain.size());
        for (std::uint64_t address : s.callchain)
            putU64(out, address);
    }
    if (type & SAMPLE_RAW) {
        putU32(out, s.rawSizeOverride >= 0 ? static_cast<std::uint32_t>(s.rawSizeOverride)
                                           : static_cast<std::uint32_t>(s.raw.size()));
        putBytes(out, s.raw);
    }
    putBytes(out, s.trailer);
    return out;
}

Bytes compressRecords(const Bytes& records, const std::vector<std::size_t>& splits, bool secondForm) {
    ZSTD_CCtx* context = ZSTD_createCCtx();
    ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, 1);
    std::vector<std::size_t> ends(splits);
    ends.push_back(records.size());
    Bytes out;
    auto addPieces = [&out, secondForm](const Bytes& stream) {
        const std::size_t room = 65535 - 8 - (secondForm ? 15 : 0);
        for (std::size_t at = 0; at < stream.size(); at += room) {
            const std::size_t size = std::min(room, stream.size() - at);
            const std::size_t padded = secondForm ? (size + 7) / 8 * 8 : size;
            putU32(out, secondForm ? 83 : 81);
            putU16(out, 0);
            putU16(out, static_cast<std::uint16_t>(8 + (secondForm ? 8 : 0) + padded));
            if (secondForm)
                putU64(out, size);
            out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(at),
                       stream.begin() + static_cast<std::ptrdiff_t>(at + size));
            out.resize(out.size() + padded - size, 0);
        }
    };
    std::size_t begin = 0;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        const std::size_t end = std::min(std::max(ends[i], begin), records.size());
        ZSTD_inBuffer in = {records.data() + begin, end - begin, 0};
        const ZSTD_EndDirective mode = i + 1 == ends.size() ? ZSTD_e_end : ZSTD_e_flush;
        Bytes stream;
        std::size_t left = 0;
        do {
            Bytes chunk(ZSTD_CStreamOutSize());
            ZSTD_outBuffer output = {chunk.data(), chunk.size(), 0};
            left = ZSTD_compressStream2(context, &output, &in, mode);
            if (ZSTD_isError(left)) {
                ZSTD_freeCCtx(context);
                throw std::runtime_error(ZSTD_getErrorName(left));
            }
            stream.insert(stream.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(output.pos));
        } while (left != 0 || in.pos < in.size);
        addPieces(stream);
        begin = end;
    }
    ZSTD_freeCCtx(context);
    return out;
}

PerfDataWriter::PerfDataWriter() {
    std::memcpy(magic, "PERFILE2", 8);
}

std::size_t PerfDataWriter::addAttribute(const Attribute& attribute) {
    attributes.push_back(attribute);
    return attributes.size() - 1;
}

void PerfDataWriter::addEventType(std::uint64_t id, const std::string& name) {
    eventTypes.emplace_back(id, name);
}

void PerfDataWriter::addRecord(std::uint32_t type, std::uint16_t misc, const Bytes& body, std::int32_t sizeOverride) {
    putU32(data, type);
    putU16(data, misc);
    putU16(data,
           sizeOverride >= 0 ? static_cast<std::uint16_t>(sizeOverride) : static_cast<std::uint16_t>(8 + body.size()));
    putBytes(data, body);
    ++records;
}

void PerfDataWriter::addRawData(const Bytes& bytes) {
    putBytes(data, bytes);
}

void PerfDataWriter::addMmap(std::uint32_t pid, std::uint32_t tid, std::uint64_t addr, std::uint64_t len,
                             std::uint64_t pgoff, const std::string& filename, const Bytes& trailer) {
    Bytes body;
    putU32(body, pid);
    putU32(body, tid);
    putU64(body, addr);
    putU64(body, len);
    putU64(body, pgoff);
    body.insert(body.end(), filename.begin(), filename.end());
    body.resize(32 + (filename.size() + 8) / 8 * 8, 0);
    putBytes(body, trailer);
    addRecord(1, 0, body);
}

void PerfDataWriter::addLost(std::uint64_t id, std::uint64_t lost, const Bytes& trailer) {
    Bytes body;
    putU64(body, id);
    putU64(body, lost);
    putBytes(body, trailer);
    addRecord(2, 0, body);
}

void PerfDataWriter::addComm(std::uint32_t pid, std::uint32_t tid, const std::string& name, const Bytes& trailer) {
    Bytes body;
    putU32(body, pid);
    putU32(body, tid);
    body.insert(body.end(), name.begin(), name.end());
    body.resize(8 + (name.size() + 8) / 8 * 8, 0);
    putBytes(body, trailer);
    addRecord(3, 0, body);
}

namespace {
Bytes taskBody(std::uint32_t pid, std::uint32_t ppid, std::uint32_t tid, std::uint32_t ptid, std::uint64_t time,
               const Bytes& trailer) {
    Bytes body;
    putU32(body, pid);
    putU32(body, ppid);
    putU32(body, tid);
    putU32(body, ptid);
    putU64(body, time);
    putBytes(body, trailer);
    return body;
}
} // namespace

void PerfDataWriter::addExit(std::uint32_t pid, std::uint32_t ppid, std::uint32_t tid, std::uint32_t ptid,
                             std::uint64_t time, const Bytes& trailer) {
    addRecord(4, 0, taskBody(pid, ppid, tid, ptid, time, trailer));
}

void PerfDataWriter::addFork(std::uint32_t pid, std::uint32_t ppid, std::uint32_t tid, std::uint32_t ptid,
                             std::uint64_t time, const Bytes& trailer) {
    addRecord(7, 0, taskBody(pid, ppid, tid, ptid, time, trailer));
}

void PerfDataWriter::addThrottle(std::uint64_t time, std::uint64_t id, std::uint64_t streamId, bool unthrottle,
                                 const Bytes& trailer) {
    Bytes body;
    putU64(body, time);
    putU64(body, id);
    putU64(body, streamId);
    putBytes(body, trailer);
    addRecord(unthrottle ? 6 : 5, 0, body);
}

void PerfDataWriter::addRead(std::uint32_t pid, std::uint32_t tid, const Bytes& values) {
    Bytes body;
    putU32(body, pid);
    putU32(body, tid);
    putBytes(body, values);
    addRecord(8, 0, body);
}

void PerfDataWriter::addSample(const Sample& sample, std::size_t attributeIndex) {
    std::uint64_t type = attributeIndex < attributes.size() ? attributes[attributeIndex].sampleType : 0;
    addRecord(9, 0, encodeSample(type, sample));
}

void PerfDataWriter::addAuxtrace(const Bytes& payload, std::uint32_t cpu, std::uint32_t tid) {
    Bytes body;
    putU64(body, payload.size());
    putU64(body, 0);   // offset in the aux buffer
    putU64(body, 0);   // reference
    putU32(body, cpu); // idx
    putU32(body, tid);
    putU32(body, cpu);
    putU32(body, 0);
    addRecord(71, 0, body);
    putBytes(data, payload);
}

void PerfDataWriter::addFinishedRound() {
    addRecord(68, 0, Bytes());
}

namespace {
std::uint64_t naturalAttrSize(const std::vector<Attribute>& attributes) {
    return attributes.empty() ? 112 : attributes.front().byteSize + 16;
}

std::uint64_t entrySize(const std::vector<Attribute>& attributes, std::int64_t attrSize) {
    if (attrSize >= 16 && attrSize <= (1 << 20))
        return static_cast<std::uint64_t>(attrSize);
    return naturalAttrSize(attributes);
}

std::uint64_t idsBytes(const std::vector<Attribute>& attributes) {
    std::uint64_t total = 0;
    for (const Attribute& attribute : attributes)
        total += 8 * attribute.ids.size();
    return total;
}
} // namespace

std::uint64_t PerfDataWriter::getDataOffset() const {
    return HEADER_SIZE + idsBytes(attributes) + attributes.size() * entrySize(attributes, attrSize) +
           eventTypes.size() * 72;
}

Bytes PerfDataWriter::build() const {
    const std::uint64_t entry = entrySize(attributes, attrSize);
    Bytes out;
    out.reserve(getDataOffset() + data.size() + minimumFileSize);
    out.insert(out.end(), magic, magic + 8);
    out.resize(HEADER_SIZE, 0);

    // Id arrays first, so that the attribute entries can point back at them.
    std::vector<std::uint64_t> idOffsets;
    for (const Attribute& attribute : attributes) {
        idOffsets.push_back(out.size());
        for (std::uint64_t id : attribute.ids)
            putU64(out, id);
    }
    const std::uint64_t attrsAt = out.size();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        Bytes encoded = attributes[i].encode();
        encoded.resize(entry - 16, 0);
        putBytes(out, encoded);
        putU64(out, idOffsets[i]);
        putU64(out, 8 * attributes[i].ids.size());
    }
    const std::uint64_t typesAt = out.size();
    for (const auto& type : eventTypes) {
        putU64(out, type.first);
        Bytes name(64, 0);
        std::memcpy(name.data(), type.second.data(), type.second.size() < 64 ? type.second.size() : 64);
        putBytes(out, name);
    }
    const std::uint64_t dataAt = out.size();
    putBytes(out, data);
    if (!featureSections.empty()) {
        // One table entry per set feature bit in ascending order, then the sections the writer was given.
        std::vector<std::pair<unsigned int, Bytes>> sections = featureSections;
        std::sort(sections.begin(), sections.end(),
                  [](const std::pair<unsigned int, Bytes>& a, const std::pair<unsigned int, Bytes>& b) {
                      return a.first < b.first;
                  });
        const std::size_t table = out.size();
        unsigned int entries = 0;
        for (unsigned int bit = 0; bit < 256; ++bit)
            entries += (features[bit / 64] >> (bit % 64)) & 1u;
        out.resize(table + 16 * entries, 0);
        for (const auto& section : sections) {
            unsigned int index = 0;
            for (unsigned int bit = 0; bit < section.first; ++bit)
                index += (features[bit / 64] >> (bit % 64)) & 1u;
            patchU64(out, table + 16 * index, out.size());
            patchU64(out, table + 16 * index + 8, section.second.size());
            putBytes(out, section.second);
        }
    }
    if (out.size() < minimumFileSize)
        out.resize(minimumFileSize, 0);

    auto pick = [](std::int64_t given, std::uint64_t natural) {
        return given >= 0 ? static_cast<std::uint64_t>(given) : natural;
    };
    patchU64(out, 8, pick(headerSize, HEADER_SIZE));
    patchU64(out, 16, pick(attrSize, naturalAttrSize(attributes)));
    patchU64(out, 24, pick(attrsOffset, attrsAt));
    patchU64(out, 32, pick(attrsSize, attributes.size() * entry));
    patchU64(out, 40, pick(dataOffset, dataAt));
    patchU64(out, 48, pick(dataSize, data.size()));
    patchU64(out, 56, pick(eventTypesOffset, typesAt));
    patchU64(out, 64, pick(eventTypesSize, eventTypes.size() * 72));
    for (int i = 0; i < 4; ++i)
        patchU64(out, 72 + 8 * i, features[i]);
    return out;
}

Bytes PerfDataWriter::buildPipe(const Bytes& tracingData,
                                const std::vector<std::pair<std::uint64_t, Bytes>>& pipeFeatures) const {
    Bytes out(magic, magic + 8);
    putU64(out, 16);
    auto record = [&out](std::uint32_t type, const Bytes& body) {
        putU32(out, type);
        putU16(out, 0);
        putU16(out, static_cast<std::uint16_t>(8 + body.size()));
        putBytes(out, body);
    };
    for (const Attribute& attribute : attributes) {
        Bytes body = attribute.encode();
        for (std::uint64_t id : attribute.ids)
            putU64(body, id);
        record(64, body);
    }
    for (const auto& type : eventTypes) {
        Bytes body;
        putU64(body, type.first);
        Bytes name(64, 0);
        std::memcpy(name.data(), type.second.data(), type.second.size() < 64 ? type.second.size() : 64);
        putBytes(body, name);
        record(65, body);
    }
    if (!tracingData.empty()) {
        Bytes body;
        putU32(body, static_cast<std::uint32_t>(tracingData.size()));
        putU32(body, 0);
        record(66, body);
        putBytes(out, tracingData);
        out.resize(out.size() + (8 - tracingData.size() % 8) % 8, 0);
    }
    for (const auto& feature : pipeFeatures) {
        Bytes body;
        putU64(body, feature.first);
        putBytes(body, feature.second);
        record(80, body);
    }
    record(82, Bytes());
    putBytes(out, data);
    return out;
}

void PerfDataWriter::addTracingDataRecord(const Bytes& tracingData) {
    Bytes body;
    putU32(body, static_cast<std::uint32_t>(tracingData.size()));
    putBytes(body, tracingData);
    body.resize(body.size() + (8 - body.size() % 8) % 8, 0);
    addRecord(66, 0, body);
}

void PerfDataWriter::addFeatureSection(unsigned int bit, const Bytes& bytes) {
    features[bit / 64] |= 1ULL << (bit % 64);
    featureSections.emplace_back(bit, bytes);
}

bool PerfDataWriter::writeTo(const std::string& path) const {
    Bytes bytes = build();
    std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

} // namespace perfdatawriter
