#include "viewer/LaneEncoder.h"
#include "viewer/OutputFile.h"
#include "viewer/PageAssets.h"
#include "viewer/PageChunks.h"
#include "viewer/PageWriter.h"

#include "kestrel/JSOM.h"

#include "ViewerTestDocuments.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

using kestrel::JSOM;
using viewer::LaneEncoder;
using viewer::PageAssets;
using viewer::PageWriter;
using viewer::PlotDataReader;

namespace {

const char* const TEMPLATE = "<style>\n  /*@PLOTWRIGHT_STYLE@*/\n</style>\n/*@PLOTWRIGHT_DATA@*/\n"
                             "<script>\n/*@PLOTWRIGHT_SCRIPT@*/\n</script>";

std::string between(const std::string& text, const std::string& open, const std::string& close) {
    std::string::size_type start = text.find(open);
    if (start == std::string::npos) {
        return "";
    }
    start += open.size();
    return text.substr(start, text.find(close, start) - start);
}

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::string fromBase64(const std::string& text) {
    std::string out;
    unsigned value = 0;
    int bits = 0;
    for (char c : text) {
        const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const char* found = std::strchr(digits, c);
        if (c == '=' || !found) {
            break;
        }
        value = (value << 6) | static_cast<unsigned>(found - digits);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out += static_cast<char>((value >> bits) & 0xFF);
        }
    }
    return out;
}

// Reads the page's varints the way its script does.
struct Bytes {
    std::string data;
    size_t p = 0;
    unsigned long long u() {
        unsigned long long x = 0;
        for (int shift = 0;; shift += 7) {
            unsigned char c = static_cast<unsigned char>(data.at(p++));
            x |= static_cast<unsigned long long>(c & 0x7F) << shift;
            if (c < 0x80) {
                return x;
            }
        }
    }
    long long s() {
        unsigned long long x = u();
        return static_cast<long long>(x >> 1) ^ -static_cast<long long>(x & 1);
    }
};

// Writes a page of the text with the test template and gives the page.
std::string pageOf(const std::string& text, viewer::OutputFile* output = nullptr, size_t inlineLimit = 1 << 30) {
    std::ostringstream out;
    PageWriter::Options options;
    options.inlineLimit = inlineLimit;
    PageWriter page(output ? output->stream() : out, output, options, TEMPLATE, "body{}", "run();");
    PlotDataReader::readText(text, "a.json", page);
    page.finish();
    return out.str();
}

} // namespace

TEST(PageWriterTest, MarkersBecomeAssetsAndTheManifestDescribesTheLanes) {
    std::string awkward = R"([{"label": "</script><!-- x", "time": 0, "type": "long", "data": [[0.000011, 5]]}])";
    std::string page = pageOf(std::string(VIEWER_TEST_DOCUMENT) + awkward);
    EXPECT_EQ(0u, page.find("<style>\nbody{}\n</style>\n<script type=\"text/plain\" id=\"pw-c0\">"));
    EXPECT_NE(std::string::npos, page.find("</script>\n<script>\nrun();\n</script>"));
    EXPECT_EQ(std::string::npos, page.find("@PLOTWRIGHT"));

    // Nothing in the manifest can end its element; it reads as the documents, in input order.
    std::string text = between(page, "<script id=\"plot-manifest\" type=\"application/json\">", "</script>");
    EXPECT_EQ(std::string::npos, text.find('<'));
    EXPECT_NE(std::string::npos, text.find("\\u003c/script>\\u003c!-- x"));
    JSOM manifest;
    ASSERT_FALSE(manifest.fromString(text).isError()) << text;
    ASSERT_EQ(2, manifest["documents"].size());
    EXPECT_EQ("a.json", manifest["sources"][0].stringValue(""));
    JSOM first = manifest["documents"][0];
    EXPECT_EQ(3, first["series"].size());
    EXPECT_EQ(2, first["dictionaries"].size());
    EXPECT_EQ(100.5, first["start"].doubleValue(0));
    EXPECT_EQ(101.25, first["end"].doubleValue(0));
    JSOM waits = first["series"][1];
    EXPECT_EQ("state-key-value", waits["type"].stringValue(""));
    EXPECT_EQ(2, waits["keys"].size());
    EXPECT_EQ("7", waits["keys"][waits["lanes"][0]["key"].longValue(-1)].stringValue("")); // keys ascending
    EXPECT_EQ("2.5", waits["magnitudes"][0].stringValue(""));

    // The lane's block decodes to its points: ticks of a millisecond, values by their number in the table.
    JSOM lane = waits["lanes"][1];
    EXPECT_EQ(1000000, lane["tick"].longValue(0));
    JSOM blocks = lane["blocks"];
    ASSERT_EQ(5, blocks.size());
    std::string chunk = fromBase64(between(page, "id=\"pw-c" + std::to_string(blocks[0].longValue(-1)) + "\">", "<"));
    Bytes bytes{chunk.substr(static_cast<size_t>(blocks[1].longValue(0)), static_cast<size_t>(blocks[2].longValue(0)))};
    EXPECT_EQ(2, blocks[3].longValue(0));
    EXPECT_EQ(125, bytes.s());  // 0.125 s
    EXPECT_EQ(250u, bytes.u()); // + 0.25 s
    JSOM values = waits["values"];
    EXPECT_EQ("1", values[static_cast<int>(bytes.u())].stringValue(""));
    EXPECT_EQ("2", values[static_cast<int>(bytes.u())].stringValue(""));
    EXPECT_EQ("2.5", waits["magnitudes"][static_cast<int>(bytes.u())].stringValue(""));
    EXPECT_EQ(bytes.data.size() - 1, bytes.p);

    // Line and paragraph separators and control characters are escaped too.
    std::ostringstream escaped;
    PageWriter::writeScriptSafe(escaped, "[\"a\xE2\x80\xA8\xE2\x80\xA9\x01<\xE2\x80\"]");
    EXPECT_EQ("[\"a\\u2028\\u2029\\u0001\\u003c\xE2\x80\"]", escaped.str());
}

TEST(PageWriterTest, OverviewsKeepShortSpansAndNumberExtremes) {
    // A state lane of 1 us spans every 2 ms (state 3; the end state 0 between), 10 s long; a number lane with
    // one spike.
    std::string data = "[{\"label\": \"irq\", \"time\": 0, \"type\": \"state\", \"endState\": 0, \"data\": [";
    std::string numbers = "{\"label\": \"n\", \"time\": 0, \"type\": \"long\", \"data\": [";
    for (int i = 0; i < 5000; ++i) {
        data += (i ? "," : "") + std::string("[") + std::to_string(i * 0.002) + ",3],[" +
                std::to_string(i * 0.002 + 1e-6) + ",0]";
        numbers += (i ? "," : "") + std::string("[") + std::to_string(i * 0.001) + "," + (i == 2500 ? "90" : "10") + "]";
    }
    std::vector<CollectedDocument> documents = CollectingSink::read(data + "]}," + numbers + "]}]");
    viewer::PlotSeries& irq = documents[0].series[0];
    LaneEncoder state(irq, irq.lanes[0], LaneEncoder::MODE_INDEX, LaneEncoder::MODE_INDEX,
                      irq.values.find("0"), false);
    EXPECT_EQ(1000, state.tickNanoseconds);
    ASSERT_GE(state.levels.size(), 2u);
    ASSERT_EQ(1u, state.totals.size());
    EXPECT_EQ(5000, state.totals[0].second); // 5000 spans of one tick
    long long three = irq.values.find("3");
    for (size_t k = 0; k < state.levels.size(); ++k) {
        // Every bucket lists state 3 and nothing else: each holds a span, and the end state is never listed.
        Bytes bytes{state.levels[k].bytes};
        std::int64_t width = state.bucketWidth << (2 * k);
        for (size_t b = 0; b < state.levels[k].buckets; ++b) {
            unsigned long long header = bytes.u();
            std::int64_t start = static_cast<std::int64_t>(b) * width;
            std::int64_t span = (start + 1999) / 2000 * 2000; // the first span start in or after the bucket
            bool holdsSpan = span < start + width && span <= 9998000;
            ASSERT_EQ(holdsSpan ? 2u : 0u, header) << "level " << k << " bucket " << b;
            if (header) {
                EXPECT_EQ(static_cast<unsigned long long>(three), bytes.u());
                EXPECT_GE(static_cast<unsigned char>(bytes.data.at(bytes.p++)), 1);
            }
        }
        EXPECT_EQ(bytes.data.size(), bytes.p);
    }

    viewer::PlotSeries& n = documents[0].series[1];
    LaneEncoder number(n, n.lanes[0], LaneEncoder::MODE_INDEX, LaneEncoder::MODE_INDEX, -1, false);
    EXPECT_EQ(10, number.low);
    EXPECT_EQ(90, number.high);
    EXPECT_EQ("90", n.values[number.maxIndex].text);
    for (const LaneEncoder::Level& level : number.levels) {
        // The spike is in exactly one bucket's maximum; every other bucket is flat at the bottom.
        int spikes = 0;
        for (size_t b = 0; b < level.buckets; ++b) {
            const unsigned char* q = reinterpret_cast<const unsigned char*>(level.bytes.data()) + b * 8;
            spikes += (q[2] | (q[3] << 8)) == 65535;
            EXPECT_EQ(0, q[0] | (q[1] << 8));
        }
        EXPECT_EQ(1, spikes);
    }
}

TEST(PageWriterTest, DataBeyondTheInlineLimitGoesToTheDataFolder) {
    std::string folder = testing::TempDir() + "viewer-page-test";
    mkdir(folder.c_str(), 0777);
    std::string data = "[{\"label\": \"x\", \"time\": 0, \"type\": \"long\", \"data\": [";
    for (int i = 0; i < 200000; ++i) {
        data += (i ? ",[" : "[") + std::to_string(i) + "," + std::to_string((i * 7919) % 100003) + "]";
    }
    data += "]}]";
    {
        viewer::OutputFile output(folder + "/page.html", true);
        pageOf(data, &output, 0);
        EXPECT_EQ("page_files", output.dataFolderName());
        output.commit();
    }
    std::ifstream page(folder + "/page.html");
    std::string text((std::istreambuf_iterator<char>(page)), std::istreambuf_iterator<char>());
    EXPECT_EQ(std::string::npos, text.find("id=\"pw-c0\""));
    EXPECT_NE(std::string::npos, text.find("\"folder\":\"page_files\""));
    EXPECT_NE(std::string::npos, text.find("\"chunks\":[[0,"));
    std::ifstream chunk(folder + "/page_files/c0.js");
    std::string script((std::istreambuf_iterator<char>(chunk)), std::istreambuf_iterator<char>());
    EXPECT_EQ(0u, script.find("plotwrightChunk(0,\""));
    // A later page without external data replaces the folder: it is gone.
    {
        viewer::OutputFile output(folder + "/page.html", true);
        pageOf("[]", &output);
        output.commit();
    }
    struct stat status;
    EXPECT_NE(0, stat((folder + "/page_files").c_str(), &status));
}

TEST(PageWriterTest, TemplatesNeedEveryMarkerOnceAndTheBuiltInPageIsWellFormed) {
    std::ostringstream out;
    PageWriter::Options options;
    std::string withoutData = TEMPLATE;
    withoutData.replace(withoutData.find("/*@PLOTWRIGHT_DATA@*/"), 21, "x");
    EXPECT_THROW(PageWriter(out, nullptr, options, withoutData, "", ""), std::logic_error);
    std::string twice = std::string(TEMPLATE) + "\n/*@PLOTWRIGHT_SCRIPT@*/";
    EXPECT_THROW(PageWriter(out, nullptr, options, twice, "", ""), std::logic_error);

    // The embedded assets: the style and the script cannot close their elements early.
    EXPECT_EQ(std::string::npos, lower(PageAssets::style()).find("</style"));
    EXPECT_EQ(std::string::npos, lower(PageAssets::script()).find("</script"));
    EXPECT_EQ(std::string::npos, lower(PageAssets::script()).find("<!--"));
    EXPECT_NE(std::string::npos, lower(PageAssets::pageTemplate()).find("<meta charset=\"utf-8\">"));
}
