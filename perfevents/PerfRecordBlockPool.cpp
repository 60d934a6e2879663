#include "perfevents/PerfRecordBlockPool.h"

namespace perfevents {

PerfRecordBlockPool::PerfRecordBlockPool(std::size_t blockSize)
    : blockSize(blockSize), pinnedCount(0), finished(nullptr) {}

unsigned int PerfRecordBlockPool::acquire() {
    if (freeBlocks.empty() && !waiting.empty())
        _collect();
    unsigned int block;
    if (!freeBlocks.empty()) {
        block = freeBlocks.back();
        freeBlocks.pop_back();
    } else {
        blocks.push_back(Block{std::unique_ptr<unsigned char[]>(new unsigned char[blockSize]), 0, 0});
        block = static_cast<unsigned int>(blocks.size() - 1);
    }
    blocks[block].pins = 1;
    blocks[block].until = 0;
    ++pinnedCount;
    return block;
}

void PerfRecordBlockPool::_retire(unsigned int block) {
    --pinnedCount;
    const unsigned long long done = finished != nullptr ? finished->load(std::memory_order_acquire) : ~0ULL;
    if (blocks[block].until <= done)
        freeBlocks.push_back(block);
    else
        waiting.push_back(block);
}

void PerfRecordBlockPool::_collect() {
    // The decoding thread has read the bytes of every batch it counts as finished (the acquire pairs with its
    // release): blocks that only those batches referred to may be written again.
    const unsigned long long done = finished != nullptr ? finished->load(std::memory_order_acquire) : ~0ULL;
    std::size_t kept = 0;
    for (unsigned int block : waiting) {
        if (blocks[block].until <= done)
            freeBlocks.push_back(block);
        else
            waiting[kept++] = block;
    }
    waiting.resize(kept);
}

void PerfRecordBlockPool::followBatches(const std::atomic<unsigned long long>* count) {
    // Batches counted before were all finished: their references are forgotten, as the count starts anew.
    finished = count;
    for (Block& block : blocks)
        block.until = 0;
    _collect();
}

} // namespace perfevents
