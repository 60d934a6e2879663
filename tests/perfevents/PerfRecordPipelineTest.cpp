#include "perfevents/PerfRecordPipeline.h"
#include "tests/perfevents/PerfTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <dirent.h>
#include <stdexcept>
#include <thread>

using perfdatawriter::Bytes;
using perfdatawriter::PerfDataWriter;
using perfevents::PerfRecordFileReader;

namespace {
const std::uint64_t SAMPLE_TYPE = 0x10587; // identifier, ip, tid, time, cpu, period, raw

// Records the pid of every sample and comm (the test's sequence numbers) and the attribute of each sample, and
// counts the samples whose raw bytes are not all the low byte of their pid, as written. It may dawdle now and
// then, so that the reading thread gets far ahead and would overwrite records not yet delivered if it could.
class Sequence : public perfevents::PerfEventDataListener {
public:
    void onEventData(const perfevents::PerfEventData& record) override {
        if (record.getType() == perfevents::PerfEventData::TYPE_SAMPLE) {
            const auto& s = static_cast<const perfevents::PerfEventDataSample&>(record);
            tags.push_back(s.getPid());
            samples.emplace_back(s.getPid(), &s.getAttribute());
            const unsigned char* raw = s.getRawData();
            if (raw == nullptr || s.getRawSize() < 100 ||
                std::count(raw, raw + 100, static_cast<unsigned char>(s.getPid())) != 100)
                ++damaged;
            if (dawdle && tags.size() % 3000 == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
        } else if (record.getType() == perfevents::PerfEventData::TYPE_COMM) {
            tags.push_back(static_cast<const perfevents::PerfEventDataComm&>(record).getPid());
        }
        if (tags.size() == throwAfter)
            throw std::runtime_error("listener failed");
    }
    void onClose() override { ++closes; }

    std::vector<unsigned int> tags;
    std::vector<std::pair<unsigned int, const perfevents::PerfEventAttribute*>> samples;
    std::size_t throwAfter = 0;
    int closes = 0;
    std::size_t damaged = 0;
    bool dawdle = true;
};

std::size_t threadCount() {
    std::size_t count = 0;
    if (DIR* tasks = opendir("/proc/self/task")) {
        while (dirent* entry = readdir(tasks))
            count += entry->d_name[0] != '.';
        closedir(tasks);
    }
    return count;
}

// A joined thread may stay listed for a moment after the join (under qemu-user for milliseconds): the count once it
// has not changed for 20 ms, or after two seconds.
std::size_t settledThreadCount() {
    std::size_t count = threadCount();
    for (int same = 0, round = 0; same < 2 && round < 200; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const std::size_t now = threadCount();
        same = now == count ? same + 1 : 0;
        count = now;
    }
    return count;
}

// A pipe recording of about 8 MiB in rounds of two CPU buffers whose times interleave, comms without time
// among them, and a second attribute (its samples' time at another offset) that arrives as a record mid-walk.
// expected: the tags in the order the queue's rule gives: at the end of a round, what is not later than the
// latest time before the previous round ended, by time and then file order; records without time at once.
Bytes recording(std::vector<unsigned int>& expected, std::vector<bool>& second) {
    PerfDataWriter writer;
    writer.addAttribute(perftest::traceAttribute({40, 41}, SAMPLE_TYPE));
    perfdatawriter::Attribute other = perftest::traceAttribute({50}, SAMPLE_TYPE & ~1ULL);
    std::vector<std::pair<std::uint64_t, unsigned int>> pending;
    std::uint64_t maxTime = 0, previousMax = 0;
    auto release = [&](bool all) {
        std::stable_sort(pending.begin(), pending.end(),
                         [](const std::pair<std::uint64_t, unsigned int>& a,
                            const std::pair<std::uint64_t, unsigned int>& b) { return a.first < b.first; });
        std::size_t count = 0;
        while (count < pending.size() && (all || pending[count].first <= previousMax))
            expected.push_back(pending[count++].second);
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(count));
    };
    unsigned int tag = 0;
    for (unsigned int round = 0; round < 100; ++round) {
        if (round == 8) {
            Bytes body = other.encode();
            perfdatawriter::putU64(body, 50);
            writer.addRecord(64, 0, body);
        }
        for (unsigned int cpu = 0; cpu < 2; ++cpu)
            for (unsigned int k = 0; k < 250; ++k, ++tag) {
                if (k % 100 == 7) {
                    writer.addComm(tag, tag, "c");
                    expected.push_back(tag);
                    continue;
                }
                perfdatawriter::Sample s;
                s.pid = tag;
                s.time = 1000 + round * 400 + k * 2 + cpu - (k % 50 == 0 ? 300 : 0);
                s.raw = Bytes(100, static_cast<std::uint8_t>(tag));
                const bool late = round >= 8 && k % 3 == 0;
                s.identifier = late ? 50 : 40 + cpu;
                if (late)
                    writer.addRecord(9, 0, perfdatawriter::encodeSample(other.sampleType, s));
                else
                    writer.addSample(s);
                second.resize(tag + 1);
                second[tag] = late;
                pending.emplace_back(s.time, tag);
                maxTime = std::max(maxTime, s.time);
            }
        writer.addFinishedRound();
        release(false);
        previousMax = maxTime;
    }
    release(true);
    return writer.buildPipe();
}
} // namespace

TEST(PerfRecordPipelineTest, ThreadedWalkDeliversTheSingleThreadedSequence) {
    std::vector<unsigned int> expected;
    std::vector<bool> second;
    const Bytes bytes = recording(expected, second);
    // Well beyond the records that the batches in flight can refer to (an address of 8 bytes each, for records of 160
    // bytes), so that the memory the records are read into is reused while batches are out.
    const std::size_t inFlight = perfevents::PerfRecordPipeline::DEFAULT_BATCHES *
                                 (perfevents::PerfRecordPipeline::DEFAULT_BATCH_SIZE / 8) * 160;
    ASSERT_GT(bytes.size(), 2 * inFlight);

    // With the reading thread (unless the environment rules it out: emulators that cannot start threads), and
    // without it.
    const bool threadsWanted = perfevents::PerfRecordPipeline::isThreadWanted();
    for (const char* threaded : {"1", "0"}) {
        SCOPED_TRACE(std::string("PLOTWRIGHT_READER_THREAD=") + threaded);
        if (!threadsWanted && threaded[0] == '1')
            continue;
        setenv("PLOTWRIGHT_READER_THREAD", threaded, 1);
        std::istringstream input(std::string(bytes.begin(), bytes.end()));
        PerfRecordFileReader reader(input, true);
        Sequence seen;
        testing::internal::CaptureStdout();
        reader.parseEvents(seen);
        kestrel::Logger::flushAll();
        EXPECT_EQ(std::string::npos, testing::internal::GetCapturedStdout().find("WARN"));
        EXPECT_EQ(1, seen.closes);
        ASSERT_EQ(2u, reader.getAttributes().size());
        ASSERT_EQ(expected, seen.tags);
        EXPECT_EQ(0u, seen.damaged);
        for (const auto& sample : seen.samples)
            ASSERT_EQ(&reader.getAttributes()[second[sample.first] ? 1 : 0], sample.second)
                << "sample " << sample.first;
        EXPECT_EQ(bytes.size() - perfevents::PerfFormat::PIPE_HEADER_SIZE, reader.getDataConsumed());
    }
    if (threadsWanted)
        unsetenv("PLOTWRIGHT_READER_THREAD");

    // A listener that throws mid-walk: the exception comes out of parseEvents and the reading thread is gone.
    const std::size_t threads = settledThreadCount();
    for (std::size_t after : {std::size_t(1), expected.size() / 2}) {
        std::istringstream again(std::string(bytes.begin(), bytes.end()));
        PerfRecordFileReader failing(again, true);
        Sequence throwing;
        throwing.throwAfter = after;
        throwing.dawdle = false;
        EXPECT_THROW(failing.parseEvents(throwing), std::runtime_error);
        EXPECT_EQ(0, throwing.closes);
        EXPECT_EQ(threads, settledThreadCount());
    }
}
