#ifndef KESTREL_HUGEPAGEARENA_H
#define KESTREL_HUGEPAGEARENA_H

#include <cstddef>
#include <vector>

namespace kestrel {

/**
 * Memory for the many small blocks of the plotted points. It hands out blocks from 2 MiB chunks that the kernel
 * is asked to back with huge pages: a conversion that holds a million points then takes a few dozen page faults
 * instead of thousands, and no heap bookkeeping per block. Freed blocks are kept per size for reuse; chunks go
 * back to the system only when the arena ends. Requests above MAX_BLOCK go to the ordinary heap.
 *
 * For one thread: the converter plots on one thread.
 */
class HugePageArena {
public:
    static const std::size_t CHUNK_SIZE = 2u << 20;
    static const std::size_t MAX_BLOCK = 4096;

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
    void _newChunk();

    std::vector<void*> chunks;
    char* next = nullptr;
    char* end = nullptr;
    std::vector<std::vector<void*>> freeBlocks; // index: rounded size / 16
};

} // namespace kestrel

#endif
