#include "perfevents/PerfRecordOrderQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

using perfevents::PerfRecordOrderQueue;

namespace {

// A record is 8 header bytes, its time and its position in the file, padded to the given size.
struct Record {
    unsigned long long time;
    unsigned long long position;
};

class Collector : public PerfRecordOrderQueue::Receiver {
public:
    std::vector<Record> got;
    void onOrderedRecord(const unsigned char* record, unsigned int size, unsigned int) override {
        EXPECT_GE(size, 24u);
        Record r{};
        std::memcpy(&r.time, record + 8, 8);
        std::memcpy(&r.position, record + 16, 8);
        got.push_back(r);
    }
};

void push(PerfRecordOrderQueue& queue, const Record& r, unsigned int size = 24) {
    std::vector<unsigned char> bytes(size, 0xab);
    std::memcpy(bytes.data() + 8, &r.time, 8);
    std::memcpy(bytes.data() + 16, &r.position, 8);
    queue.push(r.time, bytes.data(), size);
}

// Records as perf writes them: per round, each CPU's buffer in time order, one buffer after the other; a
// round's times lie above those of every earlier round.
std::vector<std::vector<Record>> perfRounds(std::mt19937& random, int rounds, int cpus) {
    std::vector<std::vector<Record>> out;
    unsigned long long position = 0, base = 0;
    for (int round = 0; round < rounds; ++round) {
        std::vector<Record> records;
        for (int cpu = 0; cpu < cpus; ++cpu) {
            unsigned long long time = base + random() % 20;
            for (unsigned n = random() % 40; n > 0; --n) {
                time += random() % 2; // equal times too
                records.push_back(Record{time, position++});
            }
        }
        base += 100;
        out.push_back(records);
    }
    return out;
}

std::vector<Record> inTimeOrder(std::vector<Record> records) {
    std::stable_sort(records.begin(), records.end(), [](const Record& a, const Record& b) { return a.time < b.time; });
    return records;
}

void expectSame(const std::vector<Record>& want, const std::vector<Record>& got) {
    ASSERT_EQ(want.size(), got.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        ASSERT_EQ(want[i].time, got[i].time) << i;
        ASSERT_EQ(want[i].position, got[i].position) << "records of equal time out of file order at " << i;
    }
}

} // namespace

TEST(PerfRecordOrderQueueTest, RoundsOfInterleavedBuffersComeOutInStableTimeOrder) {
    std::mt19937 random(7);
    for (int cpus : {1, 2, 3, 8}) {
        Collector collector;
        PerfRecordOrderQueue queue(collector);
        std::vector<Record> all;
        for (const auto& round : perfRounds(random, 40, cpus)) {
            for (const Record& r : round) {
                push(queue, r);
                all.push_back(r);
            }
            queue.finishRound();
        }
        queue.flush();
        expectSame(inTimeOrder(all), collector.got);
        EXPECT_EQ(0u, queue.getQueuedCount());
    }
}

TEST(PerfRecordOrderQueueTest, WithoutRoundsEverythingWaitsForTheEndAndAnyDisorderIsSorted) {
    std::mt19937 random(11);
    Collector collector;
    PerfRecordOrderQueue queue(collector);
    std::vector<Record> all;
    for (unsigned long long i = 0; i < 20000; ++i) {
        all.push_back(Record{random() % 5000, i});
        push(queue, all.back(), 24 + 8 * (i % 7));
    }
    EXPECT_TRUE(collector.got.empty());
    queue.flush();
    expectSame(inTimeOrder(all), collector.got);
}

TEST(PerfRecordOrderQueueTest, MemoryLimitReleasesTheEarlierHalfAndReusesChunks) {
    const std::size_t limit = 4u << 20;
    Collector collector;
    PerfRecordOrderQueue queue(collector, limit);
    const unsigned int size = 60000;
    const unsigned long long count = 2000; // 120 MB through a 4 MiB queue
    for (unsigned long long i = 0; i < count; ++i)
        push(queue, Record{i, i}, size);
    EXPECT_GT(collector.got.size(), count / 2);
    EXPECT_LT(queue.getQueuedCount() * size, limit + PerfRecordOrderQueue::CHUNK_SIZE);
    queue.flush();
    std::vector<Record> want;
    for (unsigned long long i = 0; i < count; ++i)
        want.push_back(Record{i, i});
    expectSame(want, collector.got);

    // Times in random order scatter the records kept after a release over all chunks: they are packed, so
    // the queue stays within its limit instead of releasing again at every record.
    std::mt19937 random(3);
    Collector scattered;
    PerfRecordOrderQueue small(scattered, limit);
    const unsigned long long many = 20000; // about 50 MB
    std::size_t fewestQueued = many;
    for (unsigned long long i = 0; i < many; ++i) {
        push(small, Record{random() % 100000, i}, 1000 + random() % 3000);
        ASSERT_LE(small.getHeldBytes(), limit + PerfRecordOrderQueue::CHUNK_SIZE) << i;
        if (!scattered.got.empty())
            fewestQueued = std::min(fewestQueued, small.getQueuedCount());
    }
    // A release leaves half of what the limit holds (about 1,600 records), never the queue nearly empty.
    EXPECT_GT(fewestQueued, 500u);
    small.flush();
    EXPECT_EQ(many, scattered.got.size());
}
