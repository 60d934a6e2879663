#include "perfevents/PerfRecordEventDataStore.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataExit.h"
#include "perfevents/PerfEventDataLost.h"
#include "perfevents/PerfEventDataMmap.h"
#include "perfevents/PerfEventDataRead.h"
#include "tests/perfevents/PerfTestFiles.h"

#include "kestrel/Logger.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace perfevents;
using perfdatawriter::Bytes;

namespace {
boost::ptr_vector<PerfEventAttribute> attributesWithReadFormats(std::vector<unsigned long long> formats) {
    boost::ptr_vector<PerfEventAttribute> attributes;
    for (unsigned long long format : formats) {
        perfdatawriter::Attribute fields;
        fields.readFormat = format;
        fields.sampleType = 0x4C7;
        attributes.push_back(new PerfEventAttribute(perftest::decodeAttribute(fields)));
    }
    return attributes;
}

PerfEventData* decode(PerfRecordEventDataStore& store, unsigned int type, Bytes body) {
    return store.getEventData(static_cast<PerfEventData::Type>(type), perftest::viewOf(body), 3);
}

Bytes commBody(unsigned int pid, unsigned int tid, const std::string& name) {
    Bytes body;
    perfdatawriter::putU32(body, pid);
    perfdatawriter::putU32(body, tid);
    body.insert(body.end(), name.begin(), name.end());
    return body;
}
} // namespace

TEST(PerfRecordEventDataStoreTest, CommNamesAreCutAndCleaned) {
    boost::ptr_vector<PerfEventAttribute> attributes = attributesWithReadFormats({0});
    PerfRecordEventDataStore store(attributes);

    PerfEventData* first = decode(store, 3,
                                  commBody(7, 8,
                                           std::string("ab\tc\x7f"
                                                       "d\xc3\xa9"
                                                       "e\0junk",
                                                       12)));
    ASSERT_NE(nullptr, first);
    const PerfEventDataComm& comm = static_cast<const PerfEventDataComm&>(*first);
    EXPECT_EQ(PerfEventData::TYPE_COMM, comm.getType());
    EXPECT_EQ(3, comm.getMiscFlags());
    EXPECT_EQ(7u, comm.getPid());
    EXPECT_EQ(8u, comm.getTid());
    EXPECT_EQ("abcde", comm.getComm());

    // The same decoder object is reused; an 8-byte body gives an empty name, a 7-byte one is refused.
    EXPECT_EQ(first, decode(store, 3, commBody(9, 10, "")));
    EXPECT_EQ("", comm.getComm());
    EXPECT_EQ(10u, comm.getTid());
    EXPECT_EQ(nullptr, decode(store, 3, Bytes(7, 0)));
    EXPECT_EQ(10u, comm.getTid());

    EXPECT_EQ("migration/0 x", static_cast<PerfEventDataComm*>(decode(store, 3, commBody(1, 1, "migration/0 x")))
                                   ->getComm()); // unterminated: the body's end ends the name
}

TEST(PerfRecordEventDataStoreTest, FixedRecordsAndMinimumSizes) {
    boost::ptr_vector<PerfEventAttribute> plain = attributesWithReadFormats({0});
    PerfRecordEventDataStore store(plain);

    EXPECT_EQ(nullptr, decode(store, 0, Bytes(64, 0)));
    EXPECT_EQ(nullptr, decode(store, 10, Bytes(64, 0)));
    EXPECT_EQ(nullptr, decode(store, 2, Bytes(15, 0)));

    Bytes lostBody;
    perfdatawriter::putU64(lostBody, 11);
    perfdatawriter::putU64(lostBody, 12);
    const PerfEventDataLost* lost = static_cast<PerfEventDataLost*>(decode(store, 2, lostBody));
    ASSERT_NE(nullptr, lost);
    EXPECT_EQ(11u, lost->getId());
    EXPECT_EQ(12u, lost->getLost());

    Bytes exitBody;
    for (unsigned int v : {1u, 2u, 3u, 4u})
        perfdatawriter::putU32(exitBody, v);
    perfdatawriter::putU64(exitBody, 99);
    const PerfEventDataExit* exit = static_cast<PerfEventDataExit*>(decode(store, 4, exitBody));
    ASSERT_NE(nullptr, exit);
    EXPECT_EQ(3u, exit->getTid());
    EXPECT_EQ(4u, exit->getPtid());
    EXPECT_EQ(99u, exit->getTime());
    EXPECT_EQ(PerfEventData::TYPE_FORK, decode(store, 7, exitBody)->getType());
    EXPECT_EQ(PerfEventData::TYPE_UNTHROTTLE, decode(store, 6, exitBody)->getType());

    Bytes mmapBody(32, 0);
    mmapBody[0] = 5;
    const std::string file("/usr/lib/libc.so\0\0\0", 19);
    mmapBody.insert(mmapBody.end(), file.begin(), file.end());
    const PerfEventDataMmap* mmap = static_cast<PerfEventDataMmap*>(decode(store, 1, mmapBody));
    ASSERT_NE(nullptr, mmap);
    EXPECT_EQ(5u, mmap->getPid());
    EXPECT_EQ("/usr/lib/libc.so", mmap->getFilename());

    // A read record needs 48 bytes when the attribute has a read format; its values view starts at offset 8.
    const PerfEventDataRead* read = static_cast<PerfEventDataRead*>(decode(store, 8, Bytes(16, 1)));
    ASSERT_NE(nullptr, read);
    EXPECT_EQ(8u, read->getValues().size());
    boost::ptr_vector<PerfEventAttribute> withFormat = attributesWithReadFormats({4});
    PerfRecordEventDataStore formatStore(withFormat);
    EXPECT_EQ(nullptr, decode(formatStore, 8, Bytes(47, 0)));
    EXPECT_NE(nullptr, decode(formatStore, 8, Bytes(48, 0)));

    boost::ptr_vector<PerfEventAttribute> none;
    EXPECT_THROW(PerfRecordEventDataStore empty(none), std::invalid_argument);
}

TEST(PerfRecordEventDataStoreTest, DifferentLayoutsAreAnnouncedOnce) {
    boost::ptr_vector<PerfEventAttribute> attributes = attributesWithReadFormats({0, 0, 4, 0});
    EXPECT_TRUE(PerfRecordEventDataStore::areAtributesSimilar(attributes[0], attributes[1]));
    EXPECT_FALSE(PerfRecordEventDataStore::areAtributesSimilar(attributes[1], attributes[2]));

    testing::internal::CaptureStdout();
    PerfRecordEventDataStore store(attributes);
    kestrel::Logger::flushAll();
    const std::string log = testing::internal::GetCapturedStdout();
    const std::string warning = "WARN Attributes stored in perf record file will result in event data of different "
                                "layouts.  This may cause parsing failure.";
    EXPECT_NE(std::string::npos, log.find(warning));
    EXPECT_EQ(log.find(warning), log.rfind(warning));
    // Decoders follow the first attribute: 16 bytes suffice for a read record.
    EXPECT_NE(nullptr, decode(store, 8, Bytes(16, 0)));
}
