#include "kestrel/JSONData.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using kestrel::JSONData;

namespace {

/// Parses a text into a new root node (count 1); fails the test when it does not parse.
JSONData* parse(const char* text) {
    JSONData* node = new JSONData();
    node->retain();
    EXPECT_TRUE(node->setFromJsonString(text)) << text;
    return node;
}

std::string compact(const JSONData* node, int precision = 4) {
    std::string out;
    node->toJsonString(out, false, precision);
    return out;
}

std::string pretty(const JSONData* node, int precision = 4) {
    std::string out;
    node->toJsonString(out, true, precision);
    return out;
}

std::string scalar(long double d, int precision) {
    JSONData n;
    n.setDouble(d);
    std::string out;
    n.appendStringValue(out, precision);
    return out;
}

} // namespace

TEST(JSONData, DuplicateKeysActOnTheLastEntry) {
    JSONData* root = parse(R"({"k":1,"x":true,"k":2})");
    EXPECT_EQ(3, root->length());
    EXPECT_EQ(2, root->getByKey("k")->longValue());
    EXPECT_EQ(R"({"k":1,"x":true,"k":2})", compact(root));
    root->erase("k");
    EXPECT_EQ(1, root->getByKey(std::string("k"))->longValue());
    EXPECT_EQ(R"({"k":1,"x":true})", compact(root));
    EXPECT_EQ(nullptr, root->getByKey("missing"));
    EXPECT_EQ(nullptr, root->getByKey(static_cast<const char*>(nullptr)));
    root->release();
}

TEST(JSONData, SetByKeyKeepsOrderAndRemovesWithNull) {
    JSONData* root = parse(R"({"a":1,"b":2,"c":3})");
    JSONData* v = new JSONData();
    v->setString("new");
    root->setByKey("b", v);
    EXPECT_EQ(1u, v->getRefCount());
    EXPECT_EQ(R"({"a":1,"b":"new","c":3})", compact(root));
    JSONData* d = new JSONData();
    d->setNull();
    root->setByKey(std::string("d"), d);
    EXPECT_EQ(R"({"a":1,"b":"new","c":3,"d":null})", compact(root));
    root->setByKey("b", nullptr);
    root->setByKey("zz", nullptr);
    EXPECT_EQ(R"({"a":1,"c":3,"d":null})", compact(root));
    EXPECT_EQ("c", *root->getKeyAtIndex(1));
    EXPECT_EQ(nullptr, root->getKeyAtIndex(3));

    // A string node becomes an object holding the one entry.
    JSONData* s = new JSONData();
    s->retain();
    s->setString("text");
    JSONData* one = new JSONData();
    one->setLong(1);
    s->setByKey("k", one);
    EXPECT_EQ(JSONData::TYPE_OBJECT, s->getType());
    EXPECT_EQ(R"({"k":1})", compact(s));
    s->release();
    root->release();
}

TEST(JSONData, SetByIndexAndErase) {
    JSONData* arr = parse("[1,2,3]");
    JSONData* v = new JSONData();
    v->setLong(20);
    arr->setByIndex(1, v);
    EXPECT_EQ("[1,20,3]", compact(arr));
    JSONData* w = new JSONData();
    w->setLong(4);
    arr->setByIndex(arr->length(), w);
    EXPECT_EQ("[1,20,3,4]", compact(arr));

    // Out of range: reported, and the new node (held by nobody else) is freed; ASan checks the latter.
    testing::internal::CaptureStderr();
    JSONData* lost = new JSONData();
    arr->setByIndex(9, lost);
    EXPECT_EQ("JSONData::setByIndex(): index out of range\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(4, arr->length());

    arr->setByIndex(0, nullptr);
    EXPECT_EQ("[20,3,4]", compact(arr));
    arr->erase(-1);
    EXPECT_EQ("[20,3]", compact(arr));
    arr->erase(5);
    arr->clear();
    arr->erase(-1);
    EXPECT_EQ("[]", compact(arr));
    arr->release();
}

TEST(JSONData, CloneAndCopyAreDeep) {
    JSONData* root = parse(R"({"child":{"a":[1,{"b":"x"}]},"n":1.5})");
    JSONData* c = root->clone();
    EXPECT_EQ(0u, c->getRefCount());
    c->retain();
    EXPECT_EQ(compact(root), compact(c));
    root->getByKey("child")->getByKey("a")->getByIndex(1)->setLong(5);
    EXPECT_EQ(R"({"child":{"a":[1,{"b":"x"}]},"n":1.5})", compact(c));
    c->release();

    // Copying a child onto its parent, of the same and of a different type.
    root->copy(*root->getByKey("child"));
    EXPECT_EQ(R"({"a":[1,5]})", compact(root));
    root->copy(*root->getByKey("a"));
    EXPECT_EQ("[1,5]", compact(root));
    root->copy(*root);
    EXPECT_EQ("[1,5]", compact(root));
    // And a node onto one of its own children.
    root->getByIndex(1)->copy(*root);
    EXPECT_EQ("[1,[1,5]]", compact(root));
    root->release();
}

TEST(JSONData, ScalarConversions) {
    JSONData n;
    n.setDouble(-2.7);
    EXPECT_EQ(-2, n.longValue());
    n.setDouble(1e300);
    EXPECT_EQ(INT64_MAX, n.longValue());
    n.setBoolean(true);
    EXPECT_EQ(1.0L, n.doubleValue());
    EXPECT_EQ(1, n.longValue());
    n.setLong(-7);
    EXPECT_EQ(-7.0L, n.doubleValue());
    n.setString("12");
    EXPECT_EQ(0, n.longValue());
    EXPECT_EQ("12", *n.stringValue());
    n.setString(static_cast<const char*>(nullptr));
    EXPECT_EQ("12", *n.stringValue());
    n.setNull();
    EXPECT_EQ(nullptr, n.stringValue());
    n.setString(static_cast<const char*>(nullptr));
    EXPECT_EQ("", *n.stringValue());
}

TEST(JSONData, NumberText) {
    EXPECT_EQ("2.5", scalar(2.5, 4));
    EXPECT_EQ("3", scalar(3.0, 4));
    EXPECT_EQ("0", scalar(0.0, 4));
    EXPECT_EQ("-0.25", scalar(-0.25, 4));
    EXPECT_EQ("1234.5679", scalar(1234.56789, 4));
    EXPECT_EQ("100", scalar(100.0, 0));
    EXPECT_EQ("3.000000", scalar(3.0, -1));
    std::string big = scalar(1e300, 4);
    EXPECT_EQ(301u, big.size());
    EXPECT_EQ("10000000000000000525", big.substr(0, 20));
    EXPECT_EQ(std::string::npos, big.find('.'));
    JSONData l;
    l.setLong(INT64_MIN);
    std::string out;
    l.appendStringValue(out, 4);
    EXPECT_EQ("-9223372036854775808", out);
}

TEST(JSONData, PrettyAndCompactLayouts) {
    JSONData* root = parse(R"({"a":[1,{}],"b":{"c":[]},"d":"x"})");
    EXPECT_EQ("{\n \"a\": [\n  1,\n  {\n  }\n ],\n \"b\": {\n  \"c\": [\n  ]\n },\n \"d\": \"x\"\n}", pretty(root));
    root->release();
    JSONData empty;
    empty.setObject();
    EXPECT_EQ("{\n}", pretty(&empty));
    EXPECT_EQ("{}", compact(&empty));
    JSONData undefined;
    EXPECT_EQ("", compact(&undefined));

    // Indentation stops growing at 50 spaces.
    std::string text;
    for (int i = 0; i < 60; ++i) {
        text += "[";
    }
    text += "1";
    for (int i = 0; i < 60; ++i) {
        text += "]";
    }
    JSONData* deep = parse(text.c_str());
    std::string p = pretty(deep);
    EXPECT_NE(std::string::npos, p.find("\n" + std::string(50, ' ') + "1\n"));
    EXPECT_EQ(std::string::npos, p.find(std::string(51, ' ')));
    deep->release();
}

TEST(JSONData, AppendStreamUsesStreamPrecision) {
    JSONData* root = parse(R"({"a":[1.25,null,true],"s":"q\"","e":{}})");
    std::ostringstream os;
    os.precision(1);
    root->appendStream(os);
    EXPECT_EQ(R"({"a":[1.2,null,true],"s":"q\"","e":{}})", os.str());
    std::ostringstream bad;
    bad.setstate(std::ios::failbit);
    root->appendStream(bad);
    EXPECT_EQ("", bad.str());
    root->release();
}
