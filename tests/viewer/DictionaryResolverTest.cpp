#include "viewer/DictionaryResolver.h"

#include "ViewerTestDocuments.h"

#include <gtest/gtest.h>

using viewer::DictionaryResolver;

TEST(DictionaryResolverTest, NamesFollowExtendsAcrossScopes) {
    std::vector<CollectedDocument> documents = CollectingSink::read(VIEWER_TEST_DOCUMENT);
    ASSERT_EQ(1u, documents.size());
    DictionaryResolver resolver(documents[0].dictionaries);

    // Scoped common_pid -> scoped common_tid -> unscoped common_tid; entries as objects and as texts.
    ASSERT_NE(nullptr, resolver.valueName("plotwright", "common_pid", "9"));
    EXPECT_EQ("ls", *resolver.valueName("plotwright", "common_pid", "9"));
    EXPECT_EQ("cat", *resolver.valueName("plotwright", "common_pid", "12"));
    EXPECT_EQ("sh", *resolver.valueName("", "common_tid", "7"));
    EXPECT_EQ(nullptr, resolver.valueName("plotwright", "common_pid", "0"));
    EXPECT_EQ(nullptr, resolver.valueName("other", "common_tid", "7"));

    // Columns: the number, the value dictionary, and the label from the extended column dictionary.
    kestrel::JSOM cpu, waits;
    cpu.fromString(documents[0].series[0].columnDictionary);
    waits.fromString(documents[0].series[1].columnDictionary);
    DictionaryResolver::Column state = resolver.column(cpu.node(), 1);
    EXPECT_EQ("next_pid", state.name);
    EXPECT_EQ("next_pid", state.label);
    EXPECT_EQ("sh", resolver.name(state, "7"));
    EXPECT_EQ("0", resolver.name(state, "0"));
    DictionaryResolver::Column key = resolver.column(waits.node(), 2);
    EXPECT_EQ("inner_pivot", key.name);
    EXPECT_EQ("Subplot", key.label);
    EXPECT_EQ("ls", resolver.name(key, "9"));
    DictionaryResolver::Column plain = resolver.column(waits.node(), 1);
    EXPECT_FALSE(plain.hasDictionary);
    EXPECT_EQ("2", resolver.name(plain, "2"));
    EXPECT_TRUE(resolver.column(waits.node(), 4).name.empty());
    EXPECT_TRUE(resolver.column(nullptr, 1).name.empty());
}

TEST(DictionaryResolverTest, LoopsOfExtendsEndAndLaterDefinitionsWin) {
    std::vector<CollectedDocument> documents = CollectingSink::read(R"([
        {"type": "dictionaries", "dictionaries": {
          "a": {"type": "map", "extends": {"dictionary": "b"}, "map": {"1": "one"}},
          "b": {"type": "map", "extends": {"dictionary": "a"}, "map": {"2": "two"}},
          "c": {"type": "map", "map": {"3": "old"}}}},
        {"type": "dictionaries", "dictionaries": {"c": {"type": "map", "map": {"3": "new", "3": "newest"}},
          "big": {"type": "map", "map": {"18446744073709551615": "all ones"}}}}
    ])");
    DictionaryResolver resolver(documents[0].dictionaries);
    EXPECT_EQ("two", *resolver.valueName("", "a", "2"));
    EXPECT_EQ("one", *resolver.valueName("", "b", "1"));
    EXPECT_EQ(nullptr, resolver.valueName("", "a", "5")); // goes round the loop until the chain limit
    EXPECT_EQ("newest", *resolver.valueName("", "c", "3"));
    EXPECT_EQ("all ones", *resolver.valueName("", "big", "18446744073709551615"));
}
