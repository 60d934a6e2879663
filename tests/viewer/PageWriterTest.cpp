#include "viewer/PageWriter.h"
#include "viewer/PageAssets.h"
#include "viewer/PlotDataReader.h"

#include "kestrel/JSOM.h"

#include "ViewerTestDocuments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>
#include <string>

using kestrel::JSOM;
using viewer::PageAssets;
using viewer::PageWriter;
using viewer::PlotDataReader;
using viewer::PlotDocument;

namespace {

const char* const TEMPLATE = "<style>\n  /*@PLOTWRIGHT_STYLE@*/\n</style>\n"
                             "<script id=\"plot-data\" type=\"application/json\">\n/*@PLOTWRIGHT_DATA@*/\n</script>\n"
                             "<script id=\"plot-sources\" type=\"application/json\">\n/*@PLOTWRIGHT_SOURCES@*/\n"
                             "</script>\n<script>\n/*@PLOTWRIGHT_SCRIPT@*/\n</script>";

// The text of the script element with this id.
std::string scriptText(const std::string& page, const std::string& id) {
    std::string open = "<script id=\"" + id + "\" type=\"application/json\">";
    std::string::size_type start = page.find(open);
    EXPECT_NE(std::string::npos, start) << id;
    start += open.size();
    return page.substr(start, page.find("</script>", start) - start);
}

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

} // namespace

TEST(PageWriterTest, MarkersBecomeAssetsAndTheDocumentsAsRead) {
    std::string awkward = R"([{"label": "</script><!-- x", "time": 0, "type": "long", "data": [[0.000011, 5]]}])";
    std::vector<PlotDocument> documents = PlotDataReader::readText(std::string(VIEWER_TEST_DOCUMENT) + awkward, "a");
    std::ostringstream out;
    PageWriter::write(out, TEMPLATE, "body{}", "run();", documents, {"a.json", "<b>.json"});
    std::string page = out.str();

    EXPECT_EQ(0u, page.find("<style>\nbody{}\n</style>\n"));
    EXPECT_NE(std::string::npos, page.find("<script>\nrun();\n</script>"));
    EXPECT_EQ(std::string::npos, page.find("@PLOTWRIGHT"));

    // Nothing in the data can end its element, and it reads back as the documents, in input order.
    std::string data = scriptText(page, "plot-data");
    EXPECT_EQ(std::string::npos, data.find('<'));
    EXPECT_NE(std::string::npos, data.find("\\u003c/script>\\u003c!-- x"));
    EXPECT_NE(std::string::npos, data.find("[0.000011,5]"));
    JSOM read;
    ASSERT_FALSE(read.fromString(data).isError()) << data;
    ASSERT_EQ(2, read.size());
    for (int d = 0; d < 2; ++d) {
        std::string expected, actual;
        documents[d].root.toCompactString(expected, PageWriter::DATA_PRECISION);
        read[d].toCompactString(actual, PageWriter::DATA_PRECISION);
        EXPECT_EQ(expected, actual);
    }
    EXPECT_EQ(5, read[0].size());
    EXPECT_EQ(100.5, read[0][0]["time"].doubleValue(0));

    // Line and paragraph separators and control characters are escaped too.
    std::ostringstream escaped;
    PageWriter::writeScriptSafe(escaped, "[\"a\xE2\x80\xA8\xE2\x80\xA9\x01<\xE2\x80\"]");
    EXPECT_EQ("[\"a\\u2028\\u2029\\u0001\\u003c\xE2\x80\"]", escaped.str());

    JSOM sources;
    ASSERT_FALSE(sources.fromString(scriptText(page, "plot-sources")).isError());
    EXPECT_EQ("<b>.json", sources[1].stringValue(""));
    EXPECT_NE(std::string::npos, page.find("[\"a.json\",\"\\u003cb>.json\"]"));
}

TEST(PageWriterTest, TemplatesNeedEveryMarkerOnceAndTheBuiltInPageIsWellFormed) {
    std::vector<PlotDocument> none;
    std::ostringstream out;
    std::string withoutData = TEMPLATE;
    withoutData.replace(withoutData.find("/*@PLOTWRIGHT_DATA@*/"), 21, "x");
    EXPECT_THROW(PageWriter::write(out, withoutData, "", "", none, {}), std::logic_error);
    std::string twice = std::string(TEMPLATE) + "\n/*@PLOTWRIGHT_SCRIPT@*/";
    EXPECT_THROW(PageWriter::write(out, twice, "", "", none, {}), std::logic_error);

    // The embedded assets: the template has each marker once, the style and the script cannot close their
    // elements early, and a page without documents still has both data elements.
    std::ostringstream page;
    EXPECT_NO_THROW(PageWriter::write(page, none, {}));
    EXPECT_EQ("[]", scriptText(page.str(), "plot-data").substr(1, 2));
    EXPECT_EQ("[]", scriptText(page.str(), "plot-sources").substr(1, 2));
    EXPECT_EQ(std::string::npos, lower(PageAssets::style()).find("</style"));
    EXPECT_EQ(std::string::npos, lower(PageAssets::script()).find("</script"));
    EXPECT_EQ(std::string::npos, lower(PageAssets::script()).find("<!--"));
    EXPECT_NE(std::string::npos, lower(PageAssets::pageTemplate()).find("<meta charset=\"utf-8\">"));
}
