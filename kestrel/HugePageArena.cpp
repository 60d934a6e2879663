#include "kestrel/HugePageArena.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <system_error>

namespace kestrel {

HugePageArena::~HugePageArena() {
    void* unused = _takePrepared();
    if (unused != nullptr)
        munmap(unused, CHUNK_SIZE);
    for (void* chunk : chunks)
        munmap(chunk, CHUNK_SIZE);
}

HugePageArena& HugePageArena::shared() {
    static HugePageArena arena;
    return arena;
}

void* HugePageArena::_mapChunk() {
    // Map twice the size and keep the aligned middle, so the chunk can be one huge page.
    const std::size_t mapped = 2 * CHUNK_SIZE;
    void* area = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED)
        return nullptr;
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(area);
    const std::uintptr_t aligned = (start + CHUNK_SIZE - 1) / CHUNK_SIZE * CHUNK_SIZE;
    if (aligned > start)
        munmap(area, aligned - start);
    if (start + mapped > aligned + CHUNK_SIZE)
        munmap(reinterpret_cast<void*>(aligned + CHUNK_SIZE), start + mapped - aligned - CHUNK_SIZE);
    void* chunk = reinterpret_cast<void*>(aligned);
#ifdef MADV_HUGEPAGE
    madvise(chunk, CHUNK_SIZE, MADV_HUGEPAGE); // a hint: without huge pages the chunk works all the same
#endif
    return chunk;
}

void* HugePageArena::_takePrepared() {
    if (preparing.joinable())
        preparing.join();
    void* chunk = prepared;
    prepared = nullptr;
    return chunk;
}

void HugePageArena::_newChunk() {
    void* chunk = _takePrepared();
    if (chunk == nullptr)
        chunk = _mapChunk();
    if (chunk == nullptr)
        throw std::bad_alloc();
    chunks.push_back(chunk);
    next = static_cast<char*>(chunk);
    end = next + CHUNK_SIZE;
    // A run that fits into one chunk (most small recordings) would only wait for a chunk it never uses.
    if (chunks.size() < 2)
        return;
    try {
        preparing = std::thread([this] {
            void* ahead = _mapChunk();
            if (ahead != nullptr) {
                // One write per small page brings in the whole chunk, as a huge page or as small ones.
                for (std::size_t offset = 0; offset < CHUNK_SIZE; offset += 4096)
                    static_cast<volatile char*>(ahead)[offset] = 0;
            }
            prepared = ahead;
        });
    } catch (const std::system_error&) {
        // No thread to be had: the next chunk is mapped when it is needed.
    }
}

void* HugePageArena::allocate(std::size_t bytes) {
    if (bytes > MAX_BLOCK)
        return ::operator new(bytes);
    const std::size_t size = _rounded(bytes == 0 ? 1 : bytes);
    void*& first = freeBlocks[size / 16];
    if (first != nullptr) {
        void* block = first;
        std::memcpy(&first, block, sizeof(void*));
        return block;
    }
    if (next == nullptr || static_cast<std::size_t>(end - next) < size)
        _newChunk();
    void* block = next;
    next += size;
    return block;
}

void HugePageArena::deallocate(void* block, std::size_t bytes) noexcept {
    if (block == nullptr)
        return;
    if (bytes > MAX_BLOCK) {
        ::operator delete(block);
        return;
    }
    // Every block has room for an address: sizes are rounded up to 16 bytes.
    void*& first = freeBlocks[_rounded(bytes == 0 ? 1 : bytes) / 16];
    std::memcpy(block, &first, sizeof(void*));
    first = block;
}

} // namespace kestrel
