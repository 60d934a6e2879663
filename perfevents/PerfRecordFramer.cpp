#include "perfevents/PerfRecordFramer.h"

#include "kestrel/ByteCursor.h"
#include "perfevents/PerfFormat.h"

#include <cstring>
#include <stdexcept>

namespace perfevents {

namespace {
typedef PerfFormat F;
const std::size_t MAX_RECORD_SIZE = F::MAX_RECORD_SIZE;
} // namespace

PerfRecordFramer::PerfRecordFramer(PerfByteSource& source, unsigned long long limit, std::size_t blockSize)
    : source(source), limit(limit), fromSource(0), consumed(0), payloadLeft(0),
      owned(blockSize > 2 * MAX_RECORD_SIZE ? blockSize : 2 * MAX_RECORD_SIZE), pool(nullptr),
      block(PerfRecordBlockPool::NO_BLOCK), buffer(owned.data()), capacity(owned.size()), position(0), end(0),
      garbled(false) {}

PerfRecordFramer::PerfRecordFramer(PerfByteSource& source, PerfRecordBlockPool& pool, unsigned long long limit)
    : source(source), limit(limit), fromSource(0), consumed(0), payloadLeft(0), pool(&pool), block(pool.acquire()),
      buffer(pool.bytes(block)), capacity(pool.getBlockSize()), position(0), end(0), garbled(false) {
    if (capacity < 2 * MAX_RECORD_SIZE) { // a record could never be whole in a block
        pool.unpin(block);
        throw std::invalid_argument("PerfRecordFramer: pool blocks are too small for the largest record");
    }
}

PerfRecordFramer::~PerfRecordFramer() {
    if (pool != nullptr)
        pool->unpin(block);
}

void PerfRecordFramer::_moveRest() {
    if (pool == nullptr) {
        std::memmove(buffer, buffer + position, end - position);
    } else {
        // The records before stay where they are: a new block takes the rest.
        const unsigned int next = pool->acquire();
        std::memcpy(pool->bytes(next), buffer + position, end - position);
        pool->unpin(block);
        block = next;
        buffer = pool->bytes(block);
    }
    end -= position;
    position = 0;
}

bool PerfRecordFramer::_fill(std::size_t needed) {
    if (end - position >= needed)
        return true;
    if (position > 0)
        _moveRest();
    while (end < needed) {
        std::size_t want = capacity - end;
        if (limit != 0 && want > limit - fromSource)
            want = static_cast<std::size_t>(limit - fromSource);
        if (want == 0)
            return false;
        const std::size_t got = source.read(buffer + end, want);
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
            out->insert(out->end(), buffer + position, buffer + position + step);
        position += step;
        payloadLeft -= step;
        consumed += step;
    }
    return true;
}

void PerfRecordFramer::_notePayload(const PerfRecordView& record) {
    unsigned long long payload = 0;
    const kestrel::ByteCursor bytes(record.bytes, record.size);
    if (record.type == F::RECORD_AUXTRACE) {
        bytes.peekAt(F::AUXTRACE_SIZE_OFFSET, payload);
    } else if (record.type == F::RECORD_HEADER_TRACING_DATA) {
        // Only perf's form in a pipe leaves the data outside the record; a record that covers the stated size
        // holds its data.
        unsigned int size = 0;
        if (bytes.peekAt(F::TRACING_DATA_SIZE_OFFSET, size) && size > record.size - F::TRACING_DATA_OFFSET)
            payload = (static_cast<unsigned long long>(size) + F::PAYLOAD_ALIGNMENT - 1) / F::PAYLOAD_ALIGNMENT *
                      F::PAYLOAD_ALIGNMENT;
    }
    payloadLeft = payload;
}

bool PerfRecordFramer::next(PerfRecordView& record) {
    if (garbled || !_takePayload(nullptr) || !_fill(F::RECORD_HEADER_SIZE))
        return false;
    unsigned short size = 0;
    kestrel::ByteCursor(buffer + position, end - position).peekAt(F::RECORD_SIZE_OFFSET, size);
    if (size < F::RECORD_HEADER_SIZE) {
        garbled = true;
        return false;
    }
    if (!_fill(size))
        return false;
    const unsigned char* head = buffer + position;
    kestrel::ByteCursor fields(head, size);
    fields.read(record.type);
    fields.read(record.misc);
    record.size = size;
    record.bytes = head;
    record.block = block;
    position += size;
    consumed += size;
    _notePayload(record);
    return true;
}

unsigned int PerfRecordFramer::getPartialRecordSize() const {
    unsigned short size = 0;
    if (payloadLeft == 0)
        kestrel::ByteCursor(buffer + position, end - position).peekAt(F::RECORD_SIZE_OFFSET, size);
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
