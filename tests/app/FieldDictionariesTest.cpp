#include "app/FieldDictionaries.h"

#include <gtest/gtest.h>
#include <string>

TEST(FieldDictionaries, TableNamesTheDictionaryOfIdFields) {
    EXPECT_STREQ("common_pid", FieldDictionaries::getDictionary("next_pid"));
    EXPECT_STREQ("common_pid", FieldDictionaries::getDictionary(std::string("prev_pid")));
    EXPECT_STREQ("common_pid", FieldDictionaries::getDictionary("common_pid"));
    EXPECT_STREQ("common_tid", FieldDictionaries::getDictionary("tid"));
    EXPECT_STREQ("common_tid", FieldDictionaries::getDictionary(std::string("common_tid")));
    // Matching is exact and case-sensitive; fields without a dictionary give null.
    EXPECT_EQ(nullptr, FieldDictionaries::getDictionary("common_type"));
    EXPECT_EQ(nullptr, FieldDictionaries::getDictionary("Pid"));
    EXPECT_EQ(nullptr, FieldDictionaries::getDictionary(std::string("pid ")));
    EXPECT_EQ(nullptr, FieldDictionaries::getDictionary(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(FieldDictionaries::fieldHasDictionary("pid"));
    EXPECT_FALSE(FieldDictionaries::fieldHasDictionary(std::string("prev_prio")));
    EXPECT_FALSE(FieldDictionaries::fieldHasDictionary(static_cast<const char*>(nullptr)));
}

TEST(FieldDictionaries, GetFieldInfoKeepsExistingEntriesAndAddsNewOnes) {
    FieldDictionaries& table = FieldDictionaries::Instance();
    EXPECT_EQ(&table, &FieldDictionaries::Instance());

    // The text handed out stays the same object from call to call.
    const char* before = FieldDictionaries::getDictionary("tid");
    FieldDictionaries::FieldDictionaryInfo* tid = table.getFieldInfo("tid", "common_pid");
    ASSERT_NE(nullptr, tid);
    EXPECT_EQ("common_tid", tid->dictionary);
    EXPECT_EQ(before, FieldDictionaries::getDictionary("tid"));

    FieldDictionaries::FieldDictionaryInfo* added = table.getFieldInfo("test_only_owner_pid", "common_pid");
    ASSERT_NE(nullptr, added);
    EXPECT_EQ(added, table.getFieldInfo("test_only_owner_pid", "other"));
    EXPECT_STREQ("common_pid", FieldDictionaries::getDictionary("test_only_owner_pid"));
}
