#include "kestrel/HugePageArena.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

using kestrel::HugePageArena;

// Blocks over several chunks (each taken from the one prepared ahead on another thread) are usable and do not
// overlap; a freed block is handed out again for the same size class; large requests work too.
TEST(HugePageArenaTest, BlocksAcrossPreparedChunksAreDistinctAndReused) {
    HugePageArena arena;
    const std::size_t blockSize = 1000; // rounded to 1008
    const std::size_t count = 4 * HugePageArena::CHUNK_SIZE / 1008 + 10;
    std::vector<unsigned char*> blocks;
    for (std::size_t i = 0; i < count; ++i) {
        unsigned char* block = static_cast<unsigned char*>(arena.allocate(blockSize));
        std::memset(block, static_cast<int>(i & 0xFF), blockSize);
        blocks.push_back(block);
    }
    EXPECT_EQ(5u, arena.getChunkCount());
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(static_cast<unsigned char>(i & 0xFF), blocks[i][0]) << i;
        ASSERT_EQ(static_cast<unsigned char>(i & 0xFF), blocks[i][blockSize - 1]) << i;
    }
    EXPECT_EQ(count, std::set<unsigned char*>(blocks.begin(), blocks.end()).size());

    arena.deallocate(blocks[7], blockSize);
    EXPECT_EQ(blocks[7], arena.allocate(1001)); // the same size class
    void* other = arena.allocate(16);
    EXPECT_NE(static_cast<void*>(blocks[7]), other);

    void* large = arena.allocate(HugePageArena::MAX_BLOCK + 1);
    std::memset(large, 1, HugePageArena::MAX_BLOCK + 1);
    arena.deallocate(large, HugePageArena::MAX_BLOCK + 1);
    arena.deallocate(nullptr, 8);
}
