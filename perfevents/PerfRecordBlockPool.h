#ifndef PERFEVENTS_PERFRECORDBLOCKPOOL_H
#define PERFEVENTS_PERFRECORDBLOCKPOOL_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace perfevents {

/// Fixed-size blocks of record bytes, shared by those that keep records where they are instead of copying them:
/// the framer reads the data section into them, the order queue holds its records in them (where they were read,
/// or as copies of records read elsewhere), and the batches handed to the decoding thread refer to records in them.
///
/// A block is in use while it is pinned (by the framer reading into it, by every queued record in it) and, once
/// the last pin is gone, until the decoding thread has finished the last batch that referred to it. Then it is
/// reused, so memory stays bounded and a block's pages are faulted in once. Only the reading thread calls the
/// pool; PerfRecordReadingThread, which owns that rule, records which batch refers to a block and hands the pool
/// the atomic count of the batches the decoding thread has finished.
class PerfRecordBlockPool {
public:
    static constexpr std::size_t DEFAULT_BLOCK_SIZE = 256u << 10;
    static constexpr unsigned int NO_BLOCK = ~0u;

    explicit PerfRecordBlockPool(std::size_t blockSize = DEFAULT_BLOCK_SIZE);
    PerfRecordBlockPool(const PerfRecordBlockPool&) = delete;
    PerfRecordBlockPool& operator=(const PerfRecordBlockPool&) = delete;

    /// A block not in use, pinned once.
    unsigned int acquire();
    void pin(unsigned int block) { ++blocks[block].pins; }
    void unpin(unsigned int block) {
        Block& b = blocks[block];
        if (--b.pins == 0)
            _retire(block);
    }
    /// Batch number batch (counted from 0) refers to bytes of the block: it stays in use until that batch is done.
    void referTo(unsigned int block, unsigned long long batch) {
        if (blocks[block].until <= batch)
            blocks[block].until = batch + 1;
    }
    /// Where the count of finished batches is kept from now on (nullptr: no batches), when every batch counted
    /// before is finished: the references of those batches are forgotten.
    void followBatches(const std::atomic<unsigned long long>* finished);

    unsigned char* bytes(unsigned int block) { return blocks[block].bytes.get(); }
    std::size_t getBlockSize() const { return blockSize; }
    /// Memory of the pinned blocks.
    std::size_t getPinnedBytes() const { return pinnedCount * blockSize; }
    /// Memory of all blocks the pool has made.
    std::size_t getTotalBytes() const { return blocks.size() * blockSize; }

private:
    struct Block {
        std::unique_ptr<unsigned char[]> bytes;
        unsigned int pins;
        unsigned long long until; // in use until this many batches are finished
    };
    void _retire(unsigned int block);
    void _collect();

    const std::size_t blockSize;
    std::vector<Block> blocks;
    std::vector<unsigned int> freeBlocks;
    std::vector<unsigned int> waiting; // unpinned, waiting for the batches that refer to them
    std::size_t pinnedCount;
    const std::atomic<unsigned long long>* finished;
};

} // namespace perfevents

#endif
