#include "viewer/PageChunks.h"

#include "viewer/OutputFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace viewer {

PageChunks::PageChunks(std::ostream& page, OutputFile* output, std::size_t inlineLimit)
    : page(page), output(output && output->canHaveDataFolder() ? output : nullptr), inlineLimit(inlineLimit) {}

void PageChunks::appendBase64(std::string& out, const std::string& bytes) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t n = bytes.size();
    std::size_t start = out.size();
    out.resize(start + (n + 2) / 3 * 4);
    char* o = &out[start];
    std::size_t i = 0;
    for (; i + 3 <= n; i += 3) {
        unsigned v = (unsigned(p[i]) << 16) | (unsigned(p[i + 1]) << 8) | p[i + 2];
        *o++ = digits[v >> 18];
        *o++ = digits[(v >> 12) & 63];
        *o++ = digits[(v >> 6) & 63];
        *o++ = digits[v & 63];
    }
    if (i < n) {
        unsigned v = unsigned(p[i]) << 16;
        if (i + 1 < n) {
            v |= unsigned(p[i + 1]) << 8;
        }
        *o++ = digits[v >> 18];
        *o++ = digits[(v >> 12) & 63];
        *o++ = i + 1 < n ? digits[(v >> 6) & 63] : '=';
        *o++ = '=';
    }
}

PageChunks::Place PageChunks::add(Stream stream, const std::string& bytes) {
    if (open[stream] && !pending[stream].empty() && pending[stream].size() + bytes.size() > CHUNK_BYTES) {
        _flush(stream);
    }
    if (!open[stream]) {
        open[stream] = true;
        current[stream] = chunks.size();
        chunks.emplace_back(true, 0);
    }
    Place place;
    place.chunk = current[stream];
    place.offset = pending[stream].size();
    place.bytes = bytes.size();
    pending[stream] += bytes;
    if (pending[stream].size() >= CHUNK_BYTES) {
        _flush(stream);
    }
    return place;
}

void PageChunks::_flush(Stream stream) {
    if (!open[stream]) {
        return;
    }
    std::size_t id = current[stream];
    text.clear();
    appendBase64(text, pending[stream]);
    bool inPage = !output || inlineBytes + text.size() <= inlineLimit;
    chunks[id] = std::make_pair(inPage, text.size());
    if (inPage) {
        page << "<script type=\"text/plain\" id=\"pw-c" << id << "\">" << text << "</script>\n";
        inlineBytes += text.size();
    } else {
        std::string path = output->dataFolder() + "/c" + std::to_string(id) + ".js";
        std::ofstream file(path, std::ios::binary);
        file << "plotwrightChunk(" << id << ",\"" << text << "\");\n";
        file.close();
        if (!file) {
            throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
        }
        externalBytes += text.size();
    }
    pending[stream].clear();
    open[stream] = false;
}

void PageChunks::finish() {
    _flush(POINTS);
    _flush(OVERVIEW);
}

std::string PageChunks::table() const {
    std::string out = "[";
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        out += i ? ",[" : "[";
        out += chunks[i].first ? "1," : "0,";
        out += std::to_string(chunks[i].second) + "]";
    }
    return out + "]";
}

} // namespace viewer
