#include "perfevents/TraceDatPageDecoder.h"

#include "perfevents/TraceDatInput.h"

namespace perfevents {

namespace {
const unsigned TYPE_PADDING = 29, TYPE_TIME_EXTEND = 30, TYPE_TIME_STAMP = 31, MAX_DATA_TYPE = 28;
const std::uint64_t COMMIT_MASK = (1u << 27) - 1;
const std::uint64_t MISSED_EVENTS = 1u << 31, MISSED_STORED = 1u << 30;
const std::uint64_t DELTA_MASK = (1u << 27) - 1;
// An absolute stamp holds 59 bits; the top five come from the time before it.
const std::uint64_t STAMP_HIGH_BITS = 0xF8ULL << 56;
} // namespace

TraceDatPageDecoder::TraceDatPageDecoder(bool bigEndian, unsigned pageSize, unsigned commitOffset, unsigned commitSize,
                                         unsigned dataOffset)
    : bigEndian(bigEndian), pageSize(pageSize), commitOffset(commitOffset), commitSize(commitSize),
      dataOffset(dataOffset) {}

std::uint32_t TraceDatPageDecoder::_word(std::size_t at) const {
    return static_cast<std::uint32_t>(TraceDatInput::decode(page + at, 4, bigEndian));
}

void TraceDatPageDecoder::load(const unsigned char* data, std::size_t size) {
    page = data;
    position = end = dataOffset;
    missed = damaged = cut = false;
    missedCount = 0;
    if (size < dataOffset) {
        cut = size > 0;
        return;
    }
    time = TraceDatInput::decode(page, 8, bigEndian);
    const std::uint64_t commit = TraceDatInput::decode(page + commitOffset, commitSize, bigEndian);
    std::uint64_t committed = commit & COMMIT_MASK;
    if (committed > pageSize - dataOffset) {
        damaged = true;
        committed = pageSize - dataOffset;
    }
    end = dataOffset + committed;
    if (end > size) {
        cut = true;
        end = size;
    }
    if (commit & MISSED_EVENTS) {
        missed = true;
        missedCount = -1;
        // The count of lost events, a kernel long, stands right after the committed data.
        if ((commit & MISSED_STORED) && dataOffset + committed + commitSize <= size)
            missedCount = static_cast<long long>(
                TraceDatInput::decode(page + dataOffset + committed, commitSize, bigEndian) & 0x7FFFFFFFFFFFFFFFULL);
    }
}

bool TraceDatPageDecoder::next(Event& event) {
    while (position + 4 <= end) {
        const std::uint32_t header = _word(position);
        const unsigned type = bigEndian ? header >> 27 : header & 0x1F;
        const std::uint32_t delta = bigEndian ? header & DELTA_MASK : header >> 5;
        const std::size_t body = position + 4;
        const std::size_t room = end - body;
        if (type <= MAX_DATA_TYPE) {
            std::size_t start = body, size = type * 4u, next = body + size;
            if (type == 0) {
                if (room < 4)
                    break;
                const std::uint32_t length = _word(body);
                if (length < 4 || length - 4 > room - 4)
                    break;
                start = body + 4;
                size = length - 4;
                next = start + ((size + 3) & ~static_cast<std::size_t>(3));
                if (next > end)
                    next = end;
            } else if (size > room) {
                break;
            }
            time += delta;
            position = next;
            event.time = time;
            event.data = page + start;
            event.size = static_cast<std::uint32_t>(size);
            return true;
        }
        if (type == TYPE_PADDING) {
            // Delta 0: the rest of the page is padding. Otherwise a discarded event whose length follows.
            if (delta == 0) {
                position = end;
                return false;
            }
            if (room < 4 || _word(body) > room)
                break;
            time += delta;
            position = body + _word(body);
            continue;
        }
        if (room < 4)
            break;
        const std::uint64_t value = (static_cast<std::uint64_t>(_word(body)) << 27) | delta;
        if (type == TYPE_TIME_EXTEND) {
            time += value;
        } else if (type == TYPE_TIME_STAMP) {
            std::uint64_t stamp = value;
            if (time & STAMP_HIGH_BITS) {
                stamp |= time & STAMP_HIGH_BITS;
                if (stamp < time)
                    stamp += 1ULL << 59;
            }
            time = stamp;
        }
        position = body + 4;
    }
    if (position < end) {
        // An entry that does not fit into the committed data: the rest of the page cannot be read.
        if (!cut)
            damaged = true;
        position = end;
    }
    return false;
}

} // namespace perfevents
