#include "app/ProcessDictionary.h"
#include "app/SeriesDataSet.h"
#include "kestrel/JsomWriter.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string print(SeriesData& data, bool* wrote = nullptr) {
    std::ostringstream out;
    {
        kestrel::JsomWriter writer(&out);
        writer.startArray();
        bool result = data.print(writer, 12.5);
        if (wrote != nullptr) {
            *wrote = result;
        }
    }
    return out.str();
}

// A section that records the order in which sections print.
class Marker : public SeriesData {
public:
    Marker(std::vector<int>& log, int id, bool writes) : log(log), id(id), writes(writes) {}
    ~Marker() override { log.push_back(-id); }
    bool print(kestrel::JsomWriter&, double) override {
        log.push_back(id);
        return writes;
    }

private:
    std::vector<int>& log;
    int id;
    bool writes;
};

} // namespace

TEST(ProcessDictionaryTest, WritesThreadsInTidOrderWithScopedCopies) {
    ProcessDictionary dictionary;
    bool wrote = true;
    EXPECT_EQ("[]", print(dictionary, &wrote));
    EXPECT_FALSE(wrote);

    dictionary.addThread(10, 10, "main");
    dictionary.addThread(10, 11, "say \"hi\"\\");
    dictionary.addThread(9, 9, "nine");
    EXPECT_TRUE(dictionary.setThreadName(11, "worker \"1\"\\"));
    EXPECT_FALSE(dictionary.setThreadName(12, "nobody"));
    EXPECT_EQ(10, dictionary.findThread(11)->pid);
    EXPECT_EQ(nullptr, dictionary.getThreadName(12));

    EXPECT_EQ("[{\"type\":\"dictionaries\",\"dictionaries\":{\"common_tid\":{\"type\":\"map\",\"map\":{"
              "\"9\":{\"label\":\"nine\"},\"10\":{\"label\":\"main\"},"
              "\"11\":{\"pid\":10,\"label\":\"worker \\\"1\\\"\\\\\"}}},"
              "\"common_pid\":{\"type\":\"map\",\"extends\":{\"dictionary\":\"common_tid\"},\"map\":{}}}},"
              "{\"type\":\"dictionaries\",\"scope\":\"plotwright\",\"dictionaries\":{"
              "\"common_tid\":{\"type\":\"map\",\"extends\":{\"dictionary\":\"common_tid\"},\"map\":{}},"
              "\"common_pid\":{\"type\":\"map\",\"extends\":{\"scope\":\"plotwright\",\"dictionary\":\"common_tid\"},"
              "\"map\":{}}}}]",
              print(dictionary, &wrote));
    EXPECT_TRUE(wrote);

    // A forked thread takes its parent's name until a comm record names it; a comm record before the fork stands.
    dictionary.forkThread(10, 12, 11);
    EXPECT_EQ("worker \"1\"\\", *dictionary.getThreadName(12));
    dictionary.setThreadName(12, "renamed");
    dictionary.forkThread(10, 12, 9);
    EXPECT_EQ("renamed", *dictionary.getThreadName(12));
    dictionary.forkThread(10, 13, 99); // a parent never seen names nothing
    EXPECT_EQ(nullptr, dictionary.getThreadName(13));
}

TEST(SeriesDataSetTest, PrintsAllMembersInInsertionOrderAndOwnsThem) {
    std::vector<int> log;
    {
        SeriesDataSet set;
        // Allocated in one order, added in another: the order of adding counts.
        Marker* first = new Marker(log, 1, false);
        Marker* second = new Marker(log, 2, false);
        Marker* third = new Marker(log, 3, true);
        EXPECT_TRUE(set.add(third));
        EXPECT_TRUE(set.add(first));
        EXPECT_FALSE(set.add(third));
        EXPECT_FALSE(set.add(nullptr));
        EXPECT_TRUE(set.add(second));
        EXPECT_EQ(3u, set.size());

        bool wrote = false;
        print(set, &wrote);
        EXPECT_TRUE(wrote);
        EXPECT_EQ((std::vector<int>{3, 1, 2}), log);
        log.clear();
    }
    // Each member is deleted exactly once.
    EXPECT_EQ((std::vector<int>{-3, -1, -2}), log);
}
