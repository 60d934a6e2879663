#include "kestrel/JSOM.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

using kestrel::JSOM;

namespace {

std::string compact(const JSOM& h) {
    std::string out;
    return h.toCompactString(out, JSOM::defaultPrecision);
}

std::string tempPath(const char* name) {
    return std::string(testing::TempDir()) + "jsomtest-" + std::to_string(getpid()) + "-" + name;
}

} // namespace

TEST(JSOM, ReadingMissingPlacesGivesDefaults) {
    JSOM doc;
    ASSERT_NE(JSOM::JERROR, doc.fromString(R"({"a":{"b":1}})"));
    EXPECT_EQ(1, doc["a"]["b"].longValue(0));
    EXPECT_EQ(7, doc["x"].longValue(7));
    EXPECT_FALSE(doc["x"].isObject());
    EXPECT_EQ(R"({"a":{"b":1}})", compact(doc));
    // Navigating on from a missing member gives it a node.
    EXPECT_EQ(7, doc["x"]["y"].longValue(7));
    EXPECT_EQ(R"({"a":{"b":1},"x":{}})", compact(doc));

    std::string key("a");
    EXPECT_TRUE(doc[key].isObject());
    EXPECT_TRUE(doc.at(key).at("b").isNumber());
    EXPECT_EQ("a", *doc.key(0));
    EXPECT_EQ(nullptr, doc.key(2));
    EXPECT_EQ(2, doc.size());
    EXPECT_EQ(0, doc["a"]["b"].size());
    EXPECT_EQ("dflt", doc["nothing"].stringValue("dflt"));
    EXPECT_STREQ("p", doc["nothing"].stringValuePtr("p"));
}

TEST(JSOM, WritingThroughPendingHandlesCreatesNodes) {
    JSOM doc;
    doc.fromString("{}");
    doc["list"][-1].setLong(5);
    doc["list"][-1].setLong(6);
    EXPECT_EQ(R"({"list":[5,6]})", compact(doc));
    JSOM list = doc["list"];
    list[2].setString("s");
    list[0].setString(static_cast<const char*>(nullptr));
    doc["o"]["k"].setDouble(2.5).setBoolean(true);
    EXPECT_EQ(R"({"list":[null,6,"s"],"o":{"k":true}})", compact(doc));

    testing::internal::CaptureStderr();
    JSOM bad = list[9];
    EXPECT_EQ("JSOM::operator[](int32_t): index out of bounds\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(JSOM::JERROR, bad);
    EXPECT_TRUE(bad.isError());
    EXPECT_EQ(3, bad.longValue(3));
    testing::internal::CaptureStderr();
    bad.setLong(1);
    list.at(-2);
    doc[static_cast<const char*>(nullptr)];
    bad["x"];
    EXPECT_EQ("JSOM::setLong(): null reference error\n"
              "JSOM::at(int32_t): index out of bounds\n"
              "JSOM::operator[](char *): null key pointer\n"
              "JSOM::operator[](char *): null reference error\n",
              testing::internal::GetCapturedStderr());
    EXPECT_FALSE(JSOM::JERROR.isResolved());

    // Writing a member through a scalar turns it into an object.
    doc["o"]["k"]["deep"].setLong(1);
    EXPECT_EQ(R"({"deep":1})", compact(doc["o"]["k"]));
    doc.erase("o");
    list.erase(0);
    EXPECT_EQ(R"({"list":[6,"s"]})", compact(doc));
    list.clear();
    EXPECT_EQ(R"({"list":[]})", compact(doc));
}

TEST(JSOM, GettersConvertAndStoreBack) {
    JSOM doc;
    doc.fromString(R"({"n":"42","bad":"42x","d":"-1.25","y":"YES","off":"Off","one":"1","no":"n",
                       "en":"enabled","f":"false","half":0.5,"pi":0.123456,"l":12,"t":true})");
    EXPECT_EQ(42, doc["n"].longValue(0));
    EXPECT_EQ(-1, doc["bad"].longValue(-1));
    EXPECT_DOUBLE_EQ(-1.25, static_cast<double>(doc["d"].doubleValue(0)));
    EXPECT_TRUE(doc["y"].booleanValue(false));
    EXPECT_FALSE(doc["off"].booleanValue(true));
    EXPECT_TRUE(doc["one"].booleanValue(false));
    EXPECT_FALSE(doc["no"].booleanValue(true));
    EXPECT_TRUE(doc["en"].booleanValue(true));
    EXPECT_TRUE(doc["f"].booleanValue(true));
    EXPECT_FALSE(doc["half"].booleanValue(true));
    EXPECT_EQ("0.1235", doc["pi"].stringValue(JSOM::EMPTY_STRING));
    EXPECT_STREQ("12", doc["l"].stringValuePtr(nullptr));
    EXPECT_EQ("true", doc["t"].stringValue(JSOM::EMPTY_STRING));
    EXPECT_EQ(0, doc["half"].longValue(9));
    EXPECT_EQ(R"({"n":42,"bad":"42x","d":-1.25,"y":true,"off":false,"one":true,"no":false,"en":"enabled",)"
              R"("f":"false","half":0.5,"pi":"0.1235","l":"12","t":"true"})",
              compact(doc));
}

TEST(JSOM, AssignmentAndCopyCopyValues) {
    JSOM doc;
    doc.fromString(R"({"a":[1,{"b":2}],"c":3})");
    JSOM c = doc["c"];
    c = doc["a"];
    EXPECT_EQ(R"({"a":[1,{"b":2}],"c":[1,{"b":2}]})", compact(doc));
    doc["a"][1]["b"].setLong(9);
    EXPECT_EQ(2, doc["c"][1]["b"].longValue(0));
    c = doc["missing"];
    EXPECT_TRUE(c.isArray());
    c.copy(doc["missing"]);
    EXPECT_EQ(R"({"a":[1,{"b":9}],"c":false})", compact(doc));
    doc["new"] = doc["a"][1];
    EXPECT_EQ(9, doc["new"]["b"].longValue(0));
}

TEST(JSOM, ExpandValues) {
    setenv("JSOMTEST_HOME", "/home/u", 1);
    unsetenv("JSOMTEST_X");
    JSOM doc;
    doc.fromString(R"({"${JSOMTEST_HOME}":["${JSOMTEST_HOME}/x:${JSOMTEST_X}:${}:$JSOMTEST_HOME:${JSOMTEST_HOME",
                       {"k":"a${JSOMTEST_HOME}b${JSOMTEST_HOME}"}, 5, "plain $ {x}"]})");
    doc.expandValues();
    EXPECT_EQ(R"({"${JSOMTEST_HOME}":["/home/u/x:${JSOMTEST_X}:${}:$JSOMTEST_HOME:${JSOMTEST_HOME",)"
              R"({"k":"a/home/ub/home/u"},5,"plain $ {x}"]})",
              compact(doc));
}

TEST(JSOM, FilesAndStreams) {
    std::string path = tempPath("doc.json");
    JSOM doc;
    doc.fromString(R"({"a":[1,2.5],"s":"x"})");
    ASSERT_TRUE(doc.toFile(path.c_str(), 4));
    JSOM loaded;
    ASSERT_NE(JSOM::JERROR, loaded.fromFile(path.c_str()));
    EXPECT_EQ(compact(doc), compact(loaded));
    std::ifstream in(path);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ("{\n \"a\": [\n  1,\n  2.5\n ],\n \"s\": \"x\"\n}", text);

    // An unresolved handle writes an empty file.
    ASSERT_TRUE(JSOM().toCompactFile(path.c_str(), 4));
    testing::internal::CaptureStderr();
    EXPECT_EQ(JSOM::JERROR, JSOM().fromFile(path.c_str()));
    std::string missing = path + ".missing";
    EXPECT_EQ(JSOM::JERROR, JSOM().fromFile(missing.c_str()));
    EXPECT_EQ(JSOM::JERROR, JSOM().fromFile("/"));
    EXPECT_FALSE(doc.toFile("/nonexistent-dir/x.json", 4));
    EXPECT_EQ("JSOM::fromFile(): could not read file\n"
              "JSOM::fromFile(): could not open file '" +
                  missing +
                  "'\n"
                  "JSOM::fromFile(): could not read file\n"
                  "JSOM::toFile(): could not write file\n",
              testing::internal::GetCapturedStderr());
    unlink(path.c_str());

    std::ostringstream os;
    doc.toStream(os);
    EXPECT_EQ(compact(doc), os.str());
}
