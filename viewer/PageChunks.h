#ifndef VIEWER_PAGECHUNKS_H
#define VIEWER_PAGECHUNKS_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace viewer {

class OutputFile;

/**
 * The binary data of a page, gathered into chunks of about CHUNK_BYTES and written as base64 text: into the page
 * itself as `<script type="text/plain" id="pw-c<N>">` elements while the page holds less than its inline limit,
 * beyond that into the page's data folder as script files `c<N>.js` that call `plotwrightChunk(N, "...")` (a
 * page opened from disk may load scripts beside it, but not fetch files).
 *
 * Two streams fill chunks of their own, so that what a first view needs (overviews and small lanes) lies
 * together and the points of close views apart. A piece of data never straddles two chunks.
 */
class PageChunks {
public:
    enum Stream { POINTS = 0, OVERVIEW = 1 };
    struct Place {
        std::size_t chunk = 0;
        std::size_t offset = 0;
        std::size_t bytes = 0;
    };
    static const std::size_t CHUNK_BYTES = 1 << 20;

    /// `output` gives the data folder; without one (or on standard output) every chunk goes into the page.
    PageChunks(std::ostream& page, OutputFile* output, std::size_t inlineLimit);

    /// Adds a piece of data to a stream and says where it will be.
    Place add(Stream stream, const std::string& bytes);
    /// Writes the chunks still open.
    void finish();
    /// The JSON array of the chunks: [where, base64 length] each, where 1 is the page and 0 the data folder.
    std::string table() const;

    std::size_t inlineBytes = 0;
    std::size_t externalBytes = 0;

    static void appendBase64(std::string& out, const std::string& bytes);

private:
    void _flush(Stream stream);

    std::ostream& page;
    OutputFile* output;
    std::size_t inlineLimit;
    std::string pending[2];
    std::size_t current[2];
    bool open[2] = {false, false};
    std::vector<std::pair<bool, std::size_t>> chunks;
    std::string text;
};

} // namespace viewer

#endif
