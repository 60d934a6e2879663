#include "perfevents/PerfRecordFramer.h"

#include <cstring>

namespace perfevents {

namespace {
const std::size_t MAX_RECORD_SIZE = 65535;
} // namespace

PerfRecordFramer::PerfRecordFramer(PerfByteSource& source, unsigned long long limit, std::size_t blockSize)
    : source(source), limit(limit), fromSource(0), consumed(0), payloadLeft(0),
      buffer(blockSize > 2 * MAX_RECORD_SIZE ? blockSize : 2 * MAX_RECORD_SIZE), position(0), end(0), garbled(false) {}

bool PerfRecordFramer::_fill(std::size_t needed) {
    if (end - position >= needed)
        return true;
    if (position > 0) {
        std::memmove(buffer.data(), buffer.data() + position, end - position);
        end -= position;
        position = 0;
    }
    while (end < needed) {
        std::size_t want = buffer.size() - end;
        if (limit != 0 && want > limit - fromSource)
            want = static_cast<std::size_t>(limit - fromSource);
        if (want == 0)
            return false;
        const std::size_t got = source.read(buffer.data() + end, want);
        end += got;
        fromSource += got;
        if (got < want && end < needed)
            return false;
    }
    return true;
}

bool PerfRecordFramer::_takePayload(std::vector<unsigned char>* out) {
    while (payloadLeft > 0) {
        if (position == end && !_fill(1))
            return false;
        std::size_t step = end - position;
        if (step > payloadLeft)
            step = static_cast<std::size_t>(payloadLeft);
        if (out != nullptr)
            out->insert(out->end(), buffer.data() + position, buffer.data() + position + step);
        position += step;
        payloadLeft -= step;
        consumed += step;
    }
    return true;
}

void PerfRecordFramer::_notePayload(const PerfRecordView& record) {
    unsigned long long payload = 0;
    if (record.type == TYPE_AUXTRACE && record.size >= 16) {
        std::memcpy(&payload, record.bytes + 8, 8);
    } else if (record.type == TYPE_HEADER_TRACING_DATA && record.size >= 12) {
        unsigned int size = 0;
        std::memcpy(&size, record.bytes + 8, 4);
        payload = (static_cast<unsigned long long>(size) + 7) / 8 * 8;
    }
    payloadLeft = payload;
}

bool PerfRecordFramer::next(PerfRecordView& record) {
    if (garbled || !_takePayload(nullptr) || !_fill(RECORD_HEADER_SIZE))
        return false;
    const unsigned char* head = buffer.data() + position;
    unsigned short size = 0;
    std::memcpy(&size, head + 6, 2);
    if (size < RECORD_HEADER_SIZE) {
        garbled = true;
        return false;
    }
    if (!_fill(size))
        return false;
    head = buffer.data() + position;
    std::memcpy(&record.type, head, 4);
    std::memcpy(&record.misc, head + 4, 2);
    record.size = size;
    record.bytes = head;
    position += size;
    consumed += size;
    _notePayload(record);
    return true;
}

unsigned int PerfRecordFramer::getPartialRecordSize() const {
    unsigned short size = 0;
    if (payloadLeft == 0 && end - position >= RECORD_HEADER_SIZE)
        std::memcpy(&size, buffer.data() + position + 6, 2);
    return size;
}

bool PerfRecordFramer::readPayload(std::vector<unsigned char>& out, unsigned long long maxSize) {
    out.clear();
    if (payloadLeft == 0 || payloadLeft > maxSize)
        return false;
    out.reserve(static_cast<std::size_t>(payloadLeft));
    return _takePayload(&out);
}

} // namespace perfevents
