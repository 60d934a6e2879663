#include "app/PerfInputRunner.h"
#include "app/ProcessDictionary.h"
#include "kestrel/JSOM.h"
#include "kestrel/JSONData.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Singleton.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/TracePointFieldStore.h"
#include "tests/kestrel/StrictJson.h"
#include "tools/perfdatawriter/PerfDataWriter.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

using perfdatawriter::Bytes;

// The value field's name is a label in the output: it holds a quote, a non-ASCII letter and a control character.
const char* const DATABASE = R"({
  "common": {"fields": {
    "common_type": {"offset": 0, "size": 2, "cast": "uint16_t"},
    "common_tid": {"type": "__ancillary_tid"}
  }},
  "events": {"test:ev": {"id": 7, "fields": {"v\"\u00e4\u0001l": {"offset": 8, "size": 4, "cast": "int32_t"}}}}
})";

// Every text of the channels that reaches the output holds escapes of non-ASCII characters (one outside the BMP),
// control characters and quotes; the first name also holds raw bytes that are not UTF-8 and a raw tab.
const std::string CHANNELS = "[{\"id\": \"n\", \"name\": \"raw\xFF\xC3(\t Ch\\u00e4nnel \\\"1\\\" "
                             "\\ud83d\\ude00\\u0007\", \"detail\": {\"type\": \"varnel2\", "
                             "\"algorithm\": \"numberplot\", \"events\": [\"test:ev\"], \"valueField\": "
                             "\"v\\\"\\u00e4\\u0001l\", \"group\": \"Gr\\u00fc\\u00dfe\\u001f\"}},"
                             R"JSON(
  {"id": "t", "name": "by thread",
   "info": {"Unit": "\u00b0C \"deg\"\u0002", "n": 1.5}, "hints": {"c\u00f6lor": "r\u00e9d\b"},
   "detail": {"type": "varnel2", "algorithm": "numberplot", "events": ["test:ev"], "valueField": "v\"\u00e4\u0001l",
   "pivotField": "common_tid", "pivotPrefix": "pre\"fix\\ ", "group": "\u65e5\u672c"}},
  {"id": "s", "name": "St\u00e4te \"plot\"", "info": {"\u00fcber": "\u0003"},
   "detail": {"type": "varnel2", "algorithm": "stateplot", "events": ["test:ev"],
   "group": "\"g\"", "eventConfigs": [{"eventIndex": 0, "stateField": "v\"\u00e4\u0001l",
   "magnitudeField": "v\"\u00e4\u0001l"}]}}
])JSON";

void addSample(perfdatawriter::PerfDataWriter& file, uint32_t tid, double seconds, int32_t value) {
    perfdatawriter::Sample sample;
    sample.pid = 100;
    sample.tid = tid;
    sample.time = static_cast<uint64_t>(seconds * 1e9);
    sample.raw = Bytes(12, 0);
    const uint16_t type = 7;
    memcpy(sample.raw.data(), &type, sizeof(type));
    memcpy(sample.raw.data() + 8, &value, sizeof(value));
    file.addSample(sample);
}

// Converts a recording whose thread names are not UTF-8 or hold quotes and control characters.
std::string convert(double skew) {
    perfdatawriter::PerfDataWriter file;
    perfdatawriter::Attribute attribute;
    attribute.config = 7;
    attribute.sampleType = 0x487; // IP, TID, TIME, CPU, RAW
    file.addAttribute(attribute);
    file.addEventType(7, "test:ev");
    file.addComm(100, 101, "t\xFF\xC3(");
    file.addComm(100, 102, "q\"\\\x1b[0m");
    addSample(file, 101, 1.0, 5);
    addSample(file, 102, 1.25, -6);
    addSample(file, 101, 2.5, 7);
    const std::string path = testing::TempDir() + "strict-" + std::to_string(getpid()) + ".data";
    EXPECT_TRUE(file.writeTo(path));

    kestrel::Singleton<ProcessDictionary>::Instance().clear();
    perfevents::TracePointFieldStore fields;
    kestrel::JSOM database;
    database.fromString(DATABASE);
    fields.setEventDatabase(database);
    kestrel::JSOM channels;
    channels.fromString(CHANNELS);
    kestrel::TimeConverter timeConverter;
    timeConverter.setup(0.0, 0.0, skew, 0.0, 0.0);
    std::ifstream input(path, std::ios::in | std::ios::binary);
    unlink(path.c_str());
    std::ostringstream out;
    {
        kestrel::JsomWriter writer(&out);
        PerfInputRunner runner(channels, &input, fields, &timeConverter, &writer);
        EXPECT_EQ(3u, runner.getAlgorithmCount());
    }
    return out.str();
}

// Collects every string and key of a tree, each followed by a line feed.
void collectTexts(const kestrel::JSONData* node, std::string& texts) {
    if (node->stringValue() != nullptr) {
        texts += *node->stringValue() + "\n";
    }
    for (int i = 0; i < node->length(); ++i) {
        if (node->getKeyAtIndex(i) != nullptr) {
            texts += *node->getKeyAtIndex(i) + "\n";
        }
        collectTexts(node->getByIndex(i), texts);
    }
}

} // namespace

TEST(StrictOutputTest, ConversionWritesStrictUtf8JsonThatReadsBackEqual) {
    const std::string fffd = "\xEF\xBF\xBD";
    for (double skew : {1.0, std::nan(""), HUGE_VAL}) {
        SCOPED_TRACE(skew);
        const std::string out = convert(skew);
        std::string problem;
        EXPECT_TRUE(strictjson::valid(out, &problem)) << problem;

        // The project's parser reads the document, and the tree written again is the same document.
        kestrel::JSONData* root = new kestrel::JSONData();
        root->retain();
        ASSERT_TRUE(root->setFromJsonStlString(out));
        std::string again;
        root->toJsonString(again, false, 6);
        EXPECT_EQ(out, again);

        std::string texts = "\n";
        collectTexts(root, texts);
        root->release();
        // Channel name (raw bytes, a raw tab, escapes), group, value field name, info text, hints key and text, a
        // group outside Latin-1, the state plot's name, info key and group.
        const std::string expected[] = {
            "raw" + fffd + fffd + "(\t Ch\xC3\xA4nnel \"1\" \xF0\x9F\x98\x80\x07",
            std::string("Gr\xC3\xBC\xC3\x9F") + "e\x1f",
            "v\"\xC3\xA4\x01l",
            std::string("\xC2\xB0") + "C \"deg\"\x02",
            "c\xC3\xB6lor",
            std::string("r\xC3\xA9") + "d\b",
            "\xE6\x97\xA5\xE6\x9C\xAC",
            "St\xC3\xA4te \"plot\"",
            std::string("\xC3\xBC") + "ber",
            "\"g\"",
        };
        for (const std::string& text : expected) {
            EXPECT_NE(std::string::npos, texts.find("\n" + text + "\n")) << text;
        }
        // Thread names of the recording, alone in the dictionary and after the prefix and a blank in series labels. The
        // reader drops the bytes of command names that are not printable ASCII; kept, they would arrive as U+FFFD.
        int found = 0;
        for (const std::string& name : {std::string("t("), "t" + fffd + fffd + "("}) {
            found += texts.find("\n" + name + "\n") != std::string::npos;
            found += texts.find("\npre\"fix\\  " + name + "\n") != std::string::npos;
        }
        EXPECT_EQ(2, found) << texts;
        EXPECT_NE(std::string::npos, texts.find("\npre\"fix\\  q\"\\[0m\n")) << texts;
        if (!std::isfinite(skew)) {
            EXPECT_NE(std::string::npos, out.find("\"time\":null")) << out;
            EXPECT_NE(std::string::npos, out.find("[null,7]")) << out;
        }
    }
}
