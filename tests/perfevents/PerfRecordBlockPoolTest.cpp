#include "perfevents/PerfRecordBlockPool.h"
#include "perfevents/PerfRecordFramer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

using perfevents::PerfRecordBlockPool;
using perfevents::PerfRecordFramer;
using perfevents::PerfRecordView;

namespace {

class MemorySource : public perfevents::PerfByteSource {
public:
    explicit MemorySource(const std::vector<unsigned char>& bytes) : bytes(bytes) {}
    std::size_t read(unsigned char* buffer, std::size_t count) override {
        const std::size_t n = std::min(count, bytes.size() - at);
        std::memcpy(buffer, bytes.data() + at, n);
        at += n;
        return n;
    }

private:
    const std::vector<unsigned char>& bytes;
    std::size_t at = 0;
};

} // namespace

TEST(PerfRecordBlockPoolTest, ABlockIsReusedOnlyOnceUnpinnedAndEveryBatchReferringToItIsDone) {
    std::atomic<unsigned long long> finished(0);
    PerfRecordBlockPool pool(4096);
    pool.followBatches(&finished);
    const unsigned int a = pool.acquire();
    pool.pin(a); // a queued record
    pool.referTo(a, 2);
    pool.unpin(a); // the framer moves on
    EXPECT_EQ(4096u, pool.getPinnedBytes());
    pool.unpin(a); // the record is released into batch 2
    EXPECT_EQ(0u, pool.getPinnedBytes());
    const unsigned int b = pool.acquire();
    EXPECT_NE(a, b) << "reused while batch 2 may still be read";
    finished = 2;
    pool.unpin(b);
    const unsigned int c = pool.acquire();
    EXPECT_NE(a, c);
    EXPECT_EQ(b, c);
    finished = 3;
    EXPECT_EQ(a, pool.acquire());
    EXPECT_EQ(2 * 4096u, pool.getTotalBytes());

    // Once the batches are over, whatever they referred to is free at once.
    pool.referTo(a, 9);
    pool.unpin(a);
    pool.followBatches(nullptr);
    EXPECT_EQ(a, pool.acquire());
    EXPECT_EQ(2 * 4096u, pool.getTotalBytes());
}

TEST(PerfRecordBlockPoolTest, FramedRecordsStayWhereTheyWereReadWhileTheirBlockIsPinned) {
    // Records of every size up to the largest, so that many are cut at the end of a block and go on in the next.
    std::vector<unsigned char> bytes;
    std::vector<std::vector<unsigned char>> records;
    const unsigned int sizes[] = {8, 24, 65535, 1000, 40000, 65535, 65535, 17, 333, 60000};
    for (unsigned int i = 0; i < 60; ++i) {
        std::vector<unsigned char> record(sizes[i % 10], static_cast<unsigned char>(i * 7 + 1));
        const unsigned int type = i;
        const unsigned short size = static_cast<unsigned short>(record.size());
        std::memcpy(record.data(), &type, 4);
        std::memset(record.data() + 4, 0, 2);
        std::memcpy(record.data() + 6, &size, 2);
        records.push_back(record);
        bytes.insert(bytes.end(), record.begin(), record.end());
    }

    PerfRecordBlockPool pool(128u << 10); // just room for two records of the largest size
    std::vector<PerfRecordView> kept;
    {
        MemorySource source(bytes);
        PerfRecordFramer framer(source, pool);
        PerfRecordView view;
        while (framer.next(view)) {
            ASSERT_NE(PerfRecordBlockPool::NO_BLOCK, view.block);
            pool.pin(view.block);
            kept.push_back(view);
        }
        EXPECT_EQ(bytes.size(), framer.getConsumed());
        EXPECT_EQ(0u, framer.getPartialBytes());
    }
    ASSERT_EQ(records.size(), kept.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        ASSERT_EQ(records[i].size(), kept[i].size) << i;
        EXPECT_EQ(0, std::memcmp(records[i].data(), kept[i].bytes, records[i].size())) << "record " << i;
        pool.unpin(kept[i].block);
    }
    EXPECT_EQ(0u, pool.getPinnedBytes());
    // Framed again without pins, the records go through the blocks made before: two at most are in use at once.
    const std::size_t made = pool.getTotalBytes();
    MemorySource again(bytes);
    PerfRecordFramer framer(again, pool);
    PerfRecordView view;
    std::size_t count = 0;
    while (framer.next(view))
        ++count;
    EXPECT_EQ(records.size(), count);
    EXPECT_EQ(made, pool.getTotalBytes());

    // Blocks too small for two of the largest records could leave a record that never fits.
    PerfRecordBlockPool small(100000);
    MemorySource none(bytes);
    EXPECT_THROW(PerfRecordFramer(none, small), std::invalid_argument);
    EXPECT_EQ(0u, small.getPinnedBytes());
}
