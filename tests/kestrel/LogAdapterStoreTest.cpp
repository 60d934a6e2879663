#include "kestrel/LogAdapterStore.h"
#include "kestrel/LogAdapterFactory.h"
#include "kestrel/VectorMap.h"

#include <gtest/gtest.h>

using kestrel::LogAdapter;
using kestrel::LogAdapterFactory;
using kestrel::LogAdapterStore;
using kestrel::VectorMap;

namespace {

// Counts its own destruction, so the test can see which factories the store deleted.
class CountingFactory : public LogAdapterFactory {
public:
    CountingFactory(const std::string& name, int& deleted) : LogAdapterFactory(name), deleted(deleted) {}
    ~CountingFactory() override { ++deleted; }
    LogAdapter* createLogAdapter(const kestrel::JSOM&) override { return nullptr; }

private:
    int& deleted;
};

} // namespace

TEST(VectorMapTest, LaterEntriesHideEarlierOnesAndNamesCompareExactly) {
    int a = 1, b = 2, c = 3;
    VectorMap<int> map;
    map.add("x", &a);
    map.add(std::string("x\0y", 3), &b);
    map.add("x", &c);
    EXPECT_EQ(3, map.size());
    EXPECT_EQ(&c, map.get("x"));
    EXPECT_EQ(2, map.indexOf("x"));
    EXPECT_EQ(&b, map.get(std::string("x\0y", 3)));
    EXPECT_EQ(nullptr, map.get("X"));
    EXPECT_EQ(-1, map.indexOf(""));
}

TEST(LogAdapterStoreTest, AddFactoryReplacesAndDeletesTheOldOne) {
    int deleted = 0;
    auto* first = new CountingFactory("first", deleted);
    auto* second = new CountingFactory("second", deleted);
    LogAdapterStore::addFactory("LogAdapterStoreTest", first);
    LogAdapterStore::addFactory("LogAdapterStoreTest", first);
    EXPECT_EQ(0, deleted);
    LogAdapterStore::addFactory("LogAdapterStoreTest", second);
    EXPECT_EQ(1, deleted);
    EXPECT_EQ(second, LogAdapterStore::Instance().get("LogAdapterStoreTest"));
}
