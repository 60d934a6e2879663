// Damaged, truncated and hostile documents: the parsers must answer true or false, never crash, hang or touch
// memory outside the text. Run under the sanitizer build, which catches reads past the terminating NUL.

#include "kestrel/JSOM.h"
#include "kestrel/JSONData.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

using kestrel::JSONData;

namespace {

const char* const VALID_DOCUMENTS[] = {
    R"({"eventDatabase":"db.json","log":{"level":"INFO","categories":{"main":"DEBUG"},
        "adapter":{"type":"file","maxSize":100000,"fileCount":3}},"whitespace":true,"list":[1,-2.5,null,false]})",
    "// comment\n[ {\"a\" /* c */ : \"\\u00e9\\n\\\"x\\\\\"}, [[], {}], 007, 1., -0, true, ]",
    R"({"k":1,"k":{"deeper":[{"x":[1,[2,[3,[4]]]]}]},"s":"\t\/\b\f\r"})",
};

/// Parses the bytes from an allocation of exactly their size plus the NUL, so any read beyond it is caught.
bool parseExact(const std::string& bytes) {
    std::vector<char> buffer(bytes.begin(), bytes.end());
    buffer.push_back('\0');
    JSONData* node = new JSONData();
    node->retain();
    const char* p = buffer.data();
    bool ok = node->setFromJsonString(p);
    EXPECT_TRUE(p >= buffer.data() && p < buffer.data() + buffer.size());
    // Whatever was built must be a sound tree.
    std::string out;
    node->toJsonString(out, true, 4);
    JSONData* copy = node->clone();
    copy->retain();
    copy->release();
    node->release();
    return ok;
}

bool parseStream(const std::string& bytes) {
    std::istringstream in(bytes);
    kestrel::JSOM doc;
    doc.fromStream(in);
    std::string out;
    doc.toCompactString(out, 6);
    return !in.fail();
}

} // namespace

TEST(JSONDataRobustness, TruncatedAtEveryPosition) {
    testing::internal::CaptureStderr();
    for (const char* doc : VALID_DOCUMENTS) {
        std::string text(doc);
        EXPECT_TRUE(parseExact(text));
        EXPECT_TRUE(parseStream(text));
        for (size_t cut = 0; cut < text.size(); ++cut) {
            parseExact(text.substr(0, cut));
            parseStream(text.substr(0, cut));
        }
    }
    testing::internal::GetCapturedStderr();
}

TEST(JSONDataRobustness, MutatedAndRandomDocuments) {
    std::mt19937 rng(20261123);
    const char interesting[] = "{}[],:\"\\/*u0123456789abcdefABCDEF-+.tfnrule \n\t\r\x01\x80\xff";
    testing::internal::CaptureStderr();
    for (int round = 0; round < 3000; ++round) {
        std::string text(VALID_DOCUMENTS[round % 3]);
        int edits = 1 + static_cast<int>(rng() % 8);
        for (int e = 0; e < edits && !text.empty(); ++e) {
            size_t at = rng() % text.size();
            char c = (rng() % 2) ? interesting[rng() % (sizeof(interesting) - 1)] : static_cast<char>(rng());
            switch (rng() % 3) {
            case 0:
                text[at] = c;
                break;
            case 1:
                text.insert(text.begin() + static_cast<long>(at), c);
                break;
            default:
                text.erase(at, 1 + rng() % 4);
                break;
            }
        }
        parseExact(text);
        if (round % 4 == 0) {
            parseStream(text);
        }
    }
    for (int round = 0; round < 500; ++round) {
        std::string text(rng() % 200, '\0');
        for (char& c : text) {
            c = (round % 2) ? interesting[rng() % (sizeof(interesting) - 1)] : static_cast<char>(rng());
        }
        parseExact(text);
        parseStream(text);
    }
    testing::internal::GetCapturedStderr();
}

TEST(JSONDataRobustness, DeepNesting) {
    const int depth = 10000;
    std::string arrays(depth, '[');
    std::string closed = arrays + "1" + std::string(depth, ']');
    std::string objects;
    std::string mixed;
    for (int i = 0; i < depth; ++i) {
        objects += "{\"k\":";
        mixed += (i % 2) ? "[" : "{\"\":";
    }
    testing::internal::CaptureStderr();
    for (const std::string* text : {&arrays, &closed, &objects, &mixed}) {
        EXPECT_FALSE(parseExact(*text));
        EXPECT_FALSE(parseStream(*text));
    }
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, errors.find("JSONData::setFromJsonString(): syntax error: nesting too deep\n"));

    // Just within the limit, a deep document parses and is written and freed without trouble; one more fails.
    int allowed = JSONData::MAX_PARSE_DEPTH;
    std::string deepest = std::string(allowed, '[') + std::string(allowed, ']');
    EXPECT_TRUE(parseExact(deepest));
    EXPECT_TRUE(parseStream(deepest));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(parseExact("[" + deepest + "]"));
    EXPECT_FALSE(parseStream("[" + deepest + "]"));
    testing::internal::GetCapturedStderr();
}
