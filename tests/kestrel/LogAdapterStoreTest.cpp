#include "kestrel/LogAdapterStore.h"
#include "kestrel/LogAdapterFactory.h"

#include <gtest/gtest.h>

using kestrel::LogAdapterStore;

namespace {

// Counts its own destruction, so the test can see which factories the store deleted.
class CountingFactory : public kestrel::LogAdapterFactory {
public:
    explicit CountingFactory(int& deleted) : LogAdapterFactory("counting"), deleted(deleted) {}
    ~CountingFactory() override { ++deleted; }
    kestrel::LogAdapter* createLogAdapter(const kestrel::JSOM&) override { return nullptr; }

private:
    int& deleted;
};

} // namespace

TEST(LogAdapterStoreTest, AddFactoryReplacesAndDeletesTheOldOne) {
    static int deleted = 0; // the store keeps the last factory for the rest of the process
    auto* first = new CountingFactory(deleted);
    auto* second = new CountingFactory(deleted);
    LogAdapterStore::addFactory("LogAdapterStoreTest", first);
    LogAdapterStore::addFactory("LogAdapterStoreTest", first);
    EXPECT_EQ(0, deleted);
    LogAdapterStore::addFactory("LogAdapterStoreTest", second);
    EXPECT_EQ(1, deleted);
    EXPECT_EQ(second, LogAdapterStore::Instance().get("LogAdapterStoreTest"));
    EXPECT_EQ(nullptr, LogAdapterStore::Instance().get("LogAdapterStoreTest2"));
}
