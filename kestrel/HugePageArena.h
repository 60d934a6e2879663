#ifndef KESTREL_HUGEPAGEARENA_H
#define KESTREL_HUGEPAGEARENA_H

#include <cstddef>
#include <thread>
#include <vector>

namespace kestrel {

/**
 * Memory for the many small blocks of the plotted points. It hands out blocks from 2 MiB chunks that the kernel
 * is asked to back with huge pages: a conversion that holds a million points then takes a few dozen page faults
 * instead of thousands, and no heap bookkeeping per block. Freed blocks are kept per size for reuse, each holding
 * the address of the next free one of its size, so that freeing costs no memory of its own; chunks go back to the
 * system only when the arena ends. Requests above MAX_BLOCK go to the ordinary heap.
 *
 * The first touch of a chunk costs the kernel the zeroing of its 2 MiB, a good part of what a conversion spends on
 * memory. So from the second chunk on, whenever a chunk is taken into use, a short-lived thread maps the next one and
 * touches its pages on another core, and the chunk after is ready by the time the points reach it.
 *
 * Allocation and release are for one thread: the converter plots on one thread.
 */
class HugePageArena {
public:
    static const std::size_t CHUNK_SIZE = 2u << 20;
    static const std::size_t MAX_BLOCK = 4096;
    static const std::size_t SIZE_CLASSES = MAX_BLOCK / 16 + 1;

    HugePageArena() = default;
    ~HugePageArena();
    HugePageArena(const HugePageArena&) = delete;
    HugePageArena& operator=(const HugePageArena&) = delete;

    /** The arena the point lists share. */
    static HugePageArena& shared();

    void* allocate(std::size_t bytes);
    void deallocate(void* block, std::size_t bytes) noexcept;

    std::size_t getChunkCount() const { return chunks.size(); }

private:
    static std::size_t _rounded(std::size_t bytes) { return (bytes + 15) / 16 * 16; }
    /// A chunk aligned to its size, or null when the system has no memory for it.
    static void* _mapChunk();
    void _newChunk();
    /// Waits for the chunk being prepared; returns it (or null) and leaves no chunk in preparation.
    void* _takePrepared();

    std::vector<void*> chunks;
    char* next = nullptr;
    char* end = nullptr;
    void* freeBlocks[SIZE_CLASSES] = {}; // first free block of each rounded size / 16
    std::thread preparing;               // maps and touches the next chunk
    void* prepared = nullptr;            // its result, read after the thread is joined
};

} // namespace kestrel

#endif
