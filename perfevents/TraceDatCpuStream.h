#ifndef PERFEVENTS_TRACEDATCPUSTREAM_H
#define PERFEVENTS_TRACEDATCPUSTREAM_H

#include "perfevents/TraceDatFile.h"
#include "perfevents/TraceDatPageDecoder.h"

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace perfevents {

/// The events of one CPU, in the order its ring buffer pages hold them: loads the pages from the file a few at a
/// time (or, where the data is compressed, one zstd chunk at a time), decodes them and converts each event's
/// time as the file's options ask. Pages that say events were lost are counted; damage ends the CPU's data with
/// a note of what was not read.
class TraceDatCpuStream {
public:
    TraceDatCpuStream(std::istream& input, const TraceDatFile& file, const TraceDatFile::CpuData& data);

    /// Moves to the next event; false when the CPU has no more.
    bool advance();

    unsigned getCpu() const { return cpu; }
    /// The current event: converted time in nanoseconds, and its record in the file's byte order.
    std::uint64_t getTime() const { return time; }
    const unsigned char* getData() const { return event.data; }
    std::uint32_t getSize() const { return event.size; }

    /// Bytes of the file's data of this CPU read so far.
    std::uint64_t getConsumed() const { return consumed; }
    /// Lost events the pages counted, and the pages that said events were lost without a count.
    std::uint64_t getMissedEvents() const { return missedEvents; }
    std::uint64_t getMissedUncounted() const { return missedUncounted; }
    std::uint64_t getDamagedPages() const { return damagedPages; }
    /// What could not be read, for the end report; empty when everything was.
    const std::string& getProblem() const { return problem; }

private:
    bool _loadPages();
    bool _loadChunk();
    std::uint64_t _convert(std::uint64_t stamp) const;

    std::istream& input;
    const TraceDatFile& file;
    unsigned cpu;
    std::uint64_t position; // file offset of the next bytes to read
    std::uint64_t end;      // file offset after this CPU's data that is there
    bool compressed;
    std::uint32_t chunksLeft = 0;
    std::vector<unsigned char> buffer;
    std::vector<unsigned char> compressedBuffer;
    std::string chunk;                    // the decompressed chunk, where the data is compressed
    const unsigned char* bytes = nullptr; // the pages loaded: in buffer or in chunk
    std::size_t bufferSize = 0;
    std::size_t pageStart = 0; // of the page being decoded, in buffer
    bool pageLoaded = false;
    TraceDatPageDecoder decoder;
    TraceDatPageDecoder::Event event{0, nullptr, 0};
    std::uint64_t time = 0;
    std::uint64_t consumed = 0;
    std::uint64_t missedEvents = 0, missedUncounted = 0, damagedPages = 0;
    std::string problem;
};

} // namespace perfevents

#endif
