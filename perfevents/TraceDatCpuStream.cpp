#include "perfevents/TraceDatCpuStream.h"

#include "perfevents/TraceDatInput.h"

#include "perfevents/TraceDatZstd.h"

namespace perfevents {

namespace {
// Pages read from the file at a time.
const std::size_t PAGES_PER_READ = 16;
// A decompressed chunk is at most this large; trace-cmd writes chunks of a few pages.
const std::uint32_t MAX_CHUNK_SIZE = 64u << 20;
} // namespace

TraceDatCpuStream::TraceDatCpuStream(std::istream& input, const TraceDatFile& file, const TraceDatFile::CpuData& data)
    : input(input), file(file), cpu(data.cpu), position(data.offset), end(data.offset + data.size),
      compressed(file.isDataCompressed()), decoder(file.isBigEndian(), file.getPageSize(), file.getCommitOffset(),
                                                   file.getCommitSize(), file.getDataOffset()) {
    if (data.missing > 0)
        problem = std::to_string(data.missing) + " bytes of the data of CPU " + std::to_string(cpu);
    if (compressed) {
        unsigned char count[4];
        input.clear();
        input.seekg(static_cast<std::streamoff>(position));
        if (end - position < 4 || !input.read(reinterpret_cast<char*>(count), 4)) {
            problem = "the chunks of CPU " + std::to_string(cpu);
            end = position;
            return;
        }
        chunksLeft = static_cast<std::uint32_t>(TraceDatInput::decode(count, 4, file.isBigEndian()));
        position += 4;
        consumed += 4;
    }
}

std::uint64_t TraceDatCpuStream::_convert(std::uint64_t stamp) const {
    stamp = file.getGuestTimeShift().toHost(cpu, stamp);
    if (file.getTimeMultiplier() != 0)
        stamp = static_cast<std::uint64_t>((static_cast<unsigned __int128>(stamp) * file.getTimeMultiplier()) >>
                                           file.getTimeShift());
    return stamp + static_cast<std::uint64_t>(file.getTimeOffset());
}

bool TraceDatCpuStream::_loadPages() {
    const std::uint64_t left = end - position;
    if (left == 0)
        return false;
    const std::size_t size = static_cast<std::size_t>(
        std::min<std::uint64_t>(left, static_cast<std::uint64_t>(file.getPageSize()) * PAGES_PER_READ));
    buffer.resize(std::max(buffer.size(), size));
    input.clear();
    input.seekg(static_cast<std::streamoff>(position));
    input.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(size));
    bytes = buffer.data();
    bufferSize = static_cast<std::size_t>(input.gcount());
    if (bufferSize < size) {
        problem = "the data of CPU " + std::to_string(cpu) + " from byte " + std::to_string(position + bufferSize) +
                  " (a read error)";
        end = position + bufferSize;
    }
    position += bufferSize;
    consumed += bufferSize;
    return bufferSize > 0;
}

bool TraceDatCpuStream::_loadChunk() {
    if (chunksLeft == 0 || end == position)
        return false;
    --chunksLeft;
    unsigned char header[8];
    const std::string where = "chunk at byte " + std::to_string(position) + " of CPU " + std::to_string(cpu);
    input.clear();
    input.seekg(static_cast<std::streamoff>(position));
    if (end - position < 8 || !input.read(reinterpret_cast<char*>(header), 8)) {
        problem = "the " + where;
        end = position;
        return false;
    }
    const std::uint32_t compressedSize =
        static_cast<std::uint32_t>(TraceDatInput::decode(header, 4, file.isBigEndian()));
    const std::uint32_t size = static_cast<std::uint32_t>(TraceDatInput::decode(header + 4, 4, file.isBigEndian()));
    if (compressedSize > end - position - 8) {
        problem = "the rest of the " + where;
        end = position;
        return false;
    }
    if (size > MAX_CHUNK_SIZE) {
        problem = "the " + where + " (it claims " + std::to_string(size) + " bytes)";
        end = position;
        return false;
    }
    compressedBuffer.resize(compressedSize);
    if (compressedSize > 0 && !input.read(reinterpret_cast<char*>(compressedBuffer.data()), compressedSize)) {
        problem = "the " + where + " (a read error)";
        end = position;
        return false;
    }
    position += 8 + compressedSize;
    consumed += 8 + compressedSize;
    std::string error;
    if (!TraceDatZstd::decompress(compressedBuffer.data(), compressedSize, size, chunk, error)) {
        problem = "the " + where + " (damaged: " + error + ")";
        end = position;
        return false;
    }
    bytes = reinterpret_cast<const unsigned char*>(chunk.data());
    bufferSize = chunk.size();
    return bufferSize > 0;
}

bool TraceDatCpuStream::advance() {
    for (;;) {
        if (pageLoaded && decoder.next(event)) {
            time = _convert(event.time);
            return true;
        }
        if (pageLoaded) {
            damagedPages += decoder.isDamaged() ? 1 : 0;
            pageStart += file.getPageSize();
            pageLoaded = false;
        }
        if (pageStart >= bufferSize) {
            const bool loaded = compressed ? _loadChunk() : _loadPages();
            if (!loaded)
                return false;
            pageStart = 0;
        }
        const std::size_t size = std::min<std::size_t>(file.getPageSize(), bufferSize - pageStart);
        decoder.load(bytes + pageStart, size);
        if (decoder.isCut() && problem.empty())
            problem = "the rest of the last page of CPU " + std::to_string(cpu);
        if (decoder.hasMissedEvents()) {
            if (decoder.getMissedCount() >= 0)
                missedEvents += static_cast<std::uint64_t>(decoder.getMissedCount());
            else
                ++missedUncounted;
        }
        pageLoaded = true;
    }
}

} // namespace perfevents
