#ifndef PERFEVENTS_TRACEDATPAGEDECODER_H
#define PERFEVENTS_TRACEDATPAGEDECODER_H

#include <cstddef>
#include <cstdint>

namespace perfevents {

/// Walks the entries of one ring buffer page as the kernel's ftrace ring buffer writes them: the page header
/// (time stamp, commit word with the missed-events flags), then 4-byte event headers of type_len (5 bits) and
/// time delta (27 bits), in the file's byte order. Data events carry their length in type_len (in 4-byte words)
/// or in a length word; time extends add a long delta, absolute stamps set the time, padding ends the page or
/// stands for a discarded event. The page is untrusted: an entry that runs past the committed data ends the walk
/// and marks the page damaged.
class TraceDatPageDecoder {
public:
    struct Event {
        std::uint64_t time;        // ring buffer time, before any conversion the file's options ask for
        const unsigned char* data; // the event's record, in the file's byte order
        std::uint32_t size;
    };

    TraceDatPageDecoder(bool bigEndian, unsigned pageSize, unsigned commitOffset, unsigned commitSize,
                        unsigned dataOffset);

    /// Starts on a page of `size` bytes (fewer than the page size for the cut last page of a file).
    void load(const unsigned char* page, std::size_t size);
    /// The next data event of the page; false at its end.
    bool next(Event& event);

    /// Whether the page says events were lost before it, and how many (-1: not counted).
    bool hasMissedEvents() const { return missed; }
    long long getMissedCount() const { return missedCount; }
    /// Whether the page's commit word or one of its entries reached past the page's data.
    bool isDamaged() const { return damaged; }
    /// Whether the page is the cut end of the file: its committed data goes on past the bytes there are.
    bool isCut() const { return cut; }

private:
    std::uint32_t _word(std::size_t at) const;

    bool bigEndian;
    unsigned pageSize, commitOffset, commitSize, dataOffset;
    const unsigned char* page = nullptr;
    std::size_t end = 0;      // end of the committed data that is there
    std::size_t position = 0; // next entry
    std::uint64_t time = 0;
    bool missed = false;
    long long missedCount = 0;
    bool damaged = false;
    bool cut = false;
};

} // namespace perfevents

#endif
