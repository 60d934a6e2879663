#include "viewer/PageWriter.h"

#include "kestrel/JSOM.h"
#include "viewer/PageAssets.h"

#include <ostream>
#include <stdexcept>

namespace viewer {

const char* const PageWriter::STYLE_MARKER = "/*@PLOTWRIGHT_STYLE@*/";
const char* const PageWriter::SCRIPT_MARKER = "/*@PLOTWRIGHT_SCRIPT@*/";
const char* const PageWriter::DATA_MARKER = "/*@PLOTWRIGHT_DATA@*/";
const char* const PageWriter::SOURCES_MARKER = "/*@PLOTWRIGHT_SOURCES@*/";

namespace {

std::string_view trimmed(std::string_view line) {
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
        line.remove_prefix(1);
    }
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    return line;
}

// Calls onLine(line, withNewline) for every line of the text.
template <class F> void forEachLine(std::string_view text, F&& onLine) {
    while (!text.empty()) {
        std::string_view::size_type newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        onLine(line, newline != std::string_view::npos);
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
    }
}

} // namespace

void PageWriter::write(std::ostream& out, const std::vector<PlotDocument>& documents,
                       const std::vector<std::string>& sources) {
    write(out, PageAssets::pageTemplate(), PageAssets::style(), PageAssets::script(), documents, sources);
}

void PageWriter::write(std::ostream& out, std::string_view pageTemplate, std::string_view style,
                       std::string_view script, const std::vector<PlotDocument>& documents,
                       const std::vector<std::string>& sources) {
    const char* const markers[] = {STYLE_MARKER, SCRIPT_MARKER, DATA_MARKER, SOURCES_MARKER};
    int seen[4] = {0, 0, 0, 0};
    forEachLine(pageTemplate, [&](std::string_view line, bool) {
        for (int m = 0; m < 4; ++m) {
            seen[m] += trimmed(line) == markers[m];
        }
    });
    for (int m = 0; m < 4; ++m) {
        if (seen[m] != 1) {
            throw std::logic_error(std::string("the page template holds the line ") + markers[m] + " " +
                                   std::to_string(seen[m]) + " times instead of once");
        }
    }
    forEachLine(pageTemplate, [&](std::string_view line, bool newline) {
        std::string_view content = trimmed(line);
        if (content == STYLE_MARKER) {
            out << style;
        } else if (content == SCRIPT_MARKER) {
            out << script;
        } else if (content == DATA_MARKER) {
            out << '[';
            std::string json;
            for (size_t d = 0; d < documents.size(); ++d) {
                if (d > 0) {
                    out << ',';
                }
                json.clear();
                documents[d].root.toCompactString(json, DATA_PRECISION);
                writeScriptSafe(out, json);
            }
            out << ']';
        } else if (content == SOURCES_MARKER) {
            kestrel::JSOM names;
            names[0]; // an empty array even without sources
            for (const std::string& source : sources) {
                names[-1].setString(source);
            }
            std::string json;
            names.toCompactString(json, DATA_PRECISION);
            writeScriptSafe(out, json);
        } else {
            out << line;
        }
        if (newline) {
            out << '\n';
        }
    });
}

void PageWriter::writeScriptSafe(std::ostream& out, std::string_view json) {
    static const char hex[] = "0123456789abcdef";
    const char* p = json.data();
    const char* end = p + json.size();
    const char* run = p;
    char escape[7] = {'\\', 'u', '0', '0', '0', '0', 0};
    for (; p < end; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        int code;
        int skip = 0;
        if (c == '<' || c < 0x20) {
            code = c;
        } else if (c == 0xE2 && end - p >= 3 && static_cast<unsigned char>(p[1]) == 0x80 &&
                   (static_cast<unsigned char>(p[2]) == 0xA8 || static_cast<unsigned char>(p[2]) == 0xA9)) {
            code = static_cast<unsigned char>(p[2]) == 0xA8 ? 0x2028 : 0x2029; // line and paragraph separator
            skip = 2;
        } else {
            continue;
        }
        out.write(run, p - run);
        escape[2] = hex[(code >> 12) & 15];
        escape[3] = hex[(code >> 8) & 15];
        escape[4] = hex[(code >> 4) & 15];
        escape[5] = hex[code & 15];
        out.write(escape, 6);
        p += skip;
        run = p + 1;
    }
    out.write(run, end - run);
}

} // namespace viewer
