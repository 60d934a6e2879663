#ifndef VIEWER_PAGEWRITER_H
#define VIEWER_PAGEWRITER_H

#include "viewer/PageChunks.h"
#include "viewer/PlotDataSink.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace viewer {

class OutputFile;

/**
 * Writes the page while plot data is read: the embedded template with its markers replaced.
 *
 * Each marker stands alone on a line of the template. STYLE_MARKER becomes the style, SCRIPT_MARKER the script.
 * DATA_MARKER becomes the data: the chunks of binary lane data (see PageChunks and LaneEncoder), written as
 * each series is read, and at the end the manifest, `<script id="plot-manifest" type="application/json">`: the
 * documents with their sources, time ranges, dictionaries and series (label, group, type, origin, "info",
 * "hints", "columnDictionary", "pivot" and its key, end state, value tables and, per lane, where its blocks and
 * overview levels lie), the chunk table, the data folder's name and the page's options. The manifest's
 * integers of more than 15 digits are texts, so that the page keeps them exact; it stands in a script element,
 * so every '<' in it is written as \u003c, and U+2028, U+2029 and control characters as \u escapes too.
 *
 * Memory stays within the series being read plus the manifest: points are written as soon as their series is
 * complete.
 */
class PageWriter : public PlotDataSink {
public:
    struct Options {
        /// The page's default for aligning several documents at their own first sample.
        bool alignDocuments = false;
        /// Base64 bytes of data the page holds itself; the rest goes to its data folder (where it has one).
        std::size_t inlineLimit = std::size_t(256) << 20;
    };

    static const char* const STYLE_MARKER;
    static const char* const SCRIPT_MARKER;
    static const char* const DATA_MARKER;

    /// Writes a page of the plot data text in `plotData` (a file, standard input, a buffer: any size) to
    /// `output`, named `source` in the page and in messages. Throws PlotDataError on bad input.
    static void writePage(std::istream& plotData, const std::string& source, const Options& options,
                          OutputFile& output);

    /// Starts a page from the embedded template on the output; the data folder is the output's.
    PageWriter(OutputFile& output, const Options& options);
    /// Starts a page with another template, style and script; `output` may be null (no data folder). Throws
    /// std::logic_error when the template lacks a marker or has one twice.
    PageWriter(std::ostream& out, OutputFile* output, const Options& options, std::string_view pageTemplate,
               std::string_view style, std::string_view script);
    ~PageWriter() override;

    void beginDocument(const std::string& source, int indexInSource) override;
    void series(PlotSeries& series) override;
    void dictionaries(const std::string& json) override;
    void endDocument(const DocumentSummary& summary) override;
    /// Writes the manifest and the rest of the page.
    void finish();

    /// Writes JSON text so that it can stand inside a script element (see the class comment).
    static void writeScriptSafe(std::ostream& out, std::string_view json);
    /// A double as the shortest JSON number that reads back as it; null when it is not finite.
    static std::string number(double value);

private:
    std::ostream& out;
    Options options;
    std::string_view rest; // the template after the data marker
    std::string_view script;
    std::string folderName;
    std::unique_ptr<PageChunks> chunks;
    std::vector<std::string> sources;
    std::string documents;
    std::string document;
    std::string seriesList;
    std::string dictionaryList;
    int documentCount = 0;
};

} // namespace viewer

#endif
