#include "viewer/PageWriter.h"

#include "viewer/JsonInput.h"
#include "viewer/LaneEncoder.h"
#include "viewer/OutputFile.h"
#include "viewer/PageAssets.h"
#include "viewer/PlotDataReader.h"
#include "viewer/SinkThread.h"

#include "kestrel/JSOM.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <stdexcept>

namespace viewer {

const char* const PageWriter::STYLE_MARKER = "/*@PLOTWRIGHT_STYLE@*/";
const char* const PageWriter::SCRIPT_MARKER = "/*@PLOTWRIGHT_SCRIPT@*/";
const char* const PageWriter::DATA_MARKER = "/*@PLOTWRIGHT_DATA@*/";

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

// Calls onLine(line, withNewline) for every line of the text; stops when onLine returns false and gives the
// rest of the text after that line.
template <class F> std::string_view forEachLine(std::string_view text, F&& onLine) {
    while (!text.empty()) {
        std::string_view::size_type newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
        if (!onLine(line, newline != std::string_view::npos)) {
            break;
        }
    }
    return text;
}

void appendQuoted(std::string& out, const std::string& text) { JsonInput::appendQuoted(out, text); }

void appendMember(std::string& out, const char* name, const std::string& json) {
    out += ",\"";
    out += name;
    out += "\":";
    out += json;
}

void appendTexts(std::string& out, const ValueTable& table) {
    out += '[';
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        if (i) {
            out += ',';
        }
        appendQuoted(out, table[i].text);
    }
    out += ']';
}

// The "style" of a series' "hints": "line" draws straight lines between the points of a number series.
bool drawsLines(const std::string& hints) {
    if (hints.empty()) {
        return false;
    }
    kestrel::JSOM object;
    object.fromString(hints);
    std::string style = object["style"].stringValue("");
    std::transform(style.begin(), style.end(), style.begin(), [](unsigned char c) { return std::tolower(c); });
    return style == "line" || style == "lines" || style == "linear";
}

} // namespace

std::string PageWriter::number(double value) {
    if (!std::isfinite(value)) {
        return "null";
    }
    char text[40];
    for (int precision = 15; precision <= 17; ++precision) {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value) {
            break;
        }
    }
    return text;
}

void PageWriter::writePage(std::istream& plotData, const std::string& source, const Options& options,
                           OutputFile& output) {
    PageWriter page(output, options);
    SinkThread writer(page);
    PlotDataReader::read(plotData, source, writer);
    writer.finish();
    page.finish();
}

PageWriter::PageWriter(OutputFile& output, const Options& options)
    : PageWriter(output.stream(), &output, options, PageAssets::pageTemplate(), PageAssets::style(),
                 PageAssets::script()) {}

PageWriter::PageWriter(std::ostream& out, OutputFile* output, const Options& options, std::string_view pageTemplate,
                       std::string_view style, std::string_view script)
    : out(out), options(options), script(script) {
    const char* const markers[] = {STYLE_MARKER, SCRIPT_MARKER, DATA_MARKER};
    int seen[3] = {0, 0, 0};
    forEachLine(pageTemplate, [&](std::string_view line, bool) {
        for (int m = 0; m < 3; ++m) {
            seen[m] += trimmed(line) == markers[m];
        }
        return true;
    });
    for (int m = 0; m < 3; ++m) {
        if (seen[m] != 1) {
            throw std::logic_error(std::string("the page template holds the line ") + markers[m] + " " +
                                   std::to_string(seen[m]) + " times instead of once");
        }
    }
    if (output && output->canHaveDataFolder()) {
        folderName = output->dataFolderName();
    }
    chunks.reset(new PageChunks(out, output, options.inlineLimit));
    // Everything up to the data marker now; the rest once the data is written.
    rest = forEachLine(pageTemplate, [&](std::string_view line, bool newline) {
        std::string_view content = trimmed(line);
        if (content == DATA_MARKER) {
            return false;
        }
        if (content == STYLE_MARKER) {
            out << style;
        } else if (content == SCRIPT_MARKER) {
            out << script;
        } else {
            out << line;
        }
        if (newline) {
            out << '\n';
        }
        return true;
    });
}

PageWriter::~PageWriter() = default;

void PageWriter::beginDocument(const std::string& source, int indexInSource) {
    if (sources.empty() || sources.back() != source || indexInSource == 0) {
        sources.push_back(source);
    }
    document = "{\"source\":";
    appendQuoted(document, source);
    document += ",\"index\":" + std::to_string(indexInSource);
    seriesList.clear();
    dictionaryList.clear();
}

void PageWriter::series(PlotSeries& series) {
    std::string& s = seriesList;
    s += s.empty() ? "{" : ",{";
    s += "\"label\":";
    appendQuoted(s, series.label);
    s += ",\"group\":";
    appendQuoted(s, series.group);
    s += ",\"type\":";
    appendQuoted(s, series.type);
    appendMember(s, "time", number(series.origin));
    appendMember(s, "points", std::to_string(series.points()));
    for (const auto& member : {std::make_pair("info", &series.info), std::make_pair("hints", &series.hints),
                               std::make_pair("columnDictionary", &series.columnDictionary),
                               std::make_pair("pivot", &series.pivot)}) {
        if (!member.second->empty()) {
            appendMember(s, member.first, *member.second);
        }
    }
    if (!series.pivotKey.empty()) {
        s += ",\"pivotKey\":";
        appendQuoted(s, series.pivotKey);
    }
    long long endIndex = -1;
    if (!series.endState.empty()) {
        s += ",\"endState\":";
        appendQuoted(s, series.endState);
        endIndex = series.values.find(series.endState);
    }
    std::size_t points = series.points();
    LaneEncoder::Mode valueMode =
        series.isState ? LaneEncoder::MODE_INDEX : LaneEncoder::numberMode(series.values, points);
    LaneEncoder::Mode magnitudeMode = LaneEncoder::numberMode(series.magnitudes, points);
    appendMember(s, "valueMode", std::to_string(valueMode));
    if (valueMode == LaneEncoder::MODE_INDEX) {
        s += ",\"values\":";
        appendTexts(s, series.values);
    }
    if (series.hasMagnitude) {
        appendMember(s, "magnitudeMode", std::to_string(magnitudeMode));
        if (magnitudeMode == LaneEncoder::MODE_INDEX) {
            s += ",\"magnitudes\":";
            appendTexts(s, series.magnitudes);
        }
    }
    if (series.hasKey) {
        s += ",\"keys\":";
        appendTexts(s, series.keys);
    }
    bool line = !series.isState && drawsLines(series.hints);
    s += ",\"lanes\":[";
    for (std::size_t l = 0; l < series.lanes.size(); ++l) {
        PlotLane& lane = series.lanes[l];
        LaneEncoder encoded(series, lane, valueMode, magnitudeMode, endIndex, line);
        // Small lanes go with the overviews: a first view needs them too.
        PageChunks::Stream stream =
            lane.size() < LaneEncoder::OVERVIEW_MIN_POINTS ? PageChunks::OVERVIEW : PageChunks::POINTS;
        s += l ? ",{" : "{";
        s += "\"key\":" + std::to_string(lane.key);
        appendMember(s, "n", std::to_string(lane.size()));
        appendMember(s, "tick", std::to_string(encoded.tickNanoseconds));
        appendMember(s, "first", std::to_string(encoded.firstTick));
        appendMember(s, "last", std::to_string(encoded.lastTick));
        s += ",\"blocks\":[";
        for (std::size_t b = 0; b < encoded.blocks.size(); ++b) {
            const LaneEncoder::Block& block = encoded.blocks[b];
            PageChunks::Place place = chunks->add(stream, block.bytes);
            s += (b ? "," : "") + std::to_string(place.chunk) + "," + std::to_string(place.offset) + "," +
                 std::to_string(place.bytes) + "," + std::to_string(block.points) + "," +
                 std::to_string(block.firstTick);
        }
        s += "]";
        if (encoded.bucketWidth > 0) {
            appendMember(s, "width", std::to_string(encoded.bucketWidth));
            s += ",\"levels\":[";
            for (std::size_t k = 0; k < encoded.levels.size(); ++k) {
                const LaneEncoder::Level& level = encoded.levels[k];
                PageChunks::Place place = chunks->add(PageChunks::OVERVIEW, level.bytes);
                s += (k ? "," : "") + std::to_string(place.chunk) + "," + std::to_string(place.offset) + "," +
                     std::to_string(place.bytes) + "," + std::to_string(level.buckets);
            }
            s += "]";
        }
        if (lane.size() > 0) {
            // The last point's value: its span (or held value) lasts to the document's end.
            std::uint32_t tail = lane.values.back();
            appendMember(s, "tail", series.isState ? std::to_string(tail) : number(series.values[tail].number));
        }
        if (series.isState) {
            s += ",\"totals\":[";
            for (std::size_t t = 0; t < encoded.totals.size(); ++t) {
                s += (t ? "," : "") + std::to_string(encoded.totals[t].first) + "," +
                     std::to_string(encoded.totals[t].second);
            }
            s += "]";
        } else if (lane.size() > 0) {
            appendMember(s, "low", number(encoded.low));
            appendMember(s, "high", number(encoded.high));
            s += ",\"min\":";
            appendQuoted(s, series.values[encoded.minIndex].text);
            s += ",\"max\":";
            appendQuoted(s, series.values[encoded.maxIndex].text);
        }
        s += "}";
        // The points are written: the lane's memory goes now, not with the series.
        std::vector<std::int64_t>().swap(lane.times);
        std::vector<std::uint32_t>().swap(lane.values);
        std::vector<std::uint32_t>().swap(lane.magnitudes);
    }
    s += "]}";
}

void PageWriter::dictionaries(const std::string& json) {
    dictionaryList += dictionaryList.empty() ? "" : ",";
    dictionaryList += json;
}

void PageWriter::endDocument(const DocumentSummary& summary) {
    document += ",\"points\":" + std::to_string(summary.points);
    if (summary.anyPoint) {
        appendMember(document, "start", number(summary.startTime));
        appendMember(document, "end", number(summary.endTime));
    }
    document += ",\"dictionaries\":[" + dictionaryList + "],\"series\":[" + seriesList + "]}";
    documents += documentCount++ ? "," : "";
    documents += document;
    document.clear();
    seriesList.clear();
    dictionaryList.clear();
}

void PageWriter::finish() {
    chunks->finish();
    std::string manifest = "{\"version\":1,\"align\":";
    manifest += options.alignDocuments ? "true" : "false";
    manifest += ",\"folder\":";
    appendQuoted(manifest, folderName);
    manifest += ",\"chunks\":" + chunks->table();
    manifest += ",\"sources\":[";
    for (std::size_t i = 0; i < sources.size(); ++i) {
        manifest += i ? "," : "";
        appendQuoted(manifest, sources[i]);
    }
    manifest += "],\"documents\":[" + documents + "]}";
    documents.clear();
    out << "<script id=\"plot-manifest\" type=\"application/json\">";
    writeScriptSafe(out, manifest);
    out << "</script>\n";
    forEachLine(rest, [&](std::string_view line, bool newline) {
        if (trimmed(line) == SCRIPT_MARKER) {
            out << script;
        } else if (trimmed(line) == STYLE_MARKER) {
            // only once, and before the data: checked at the start
        } else {
            out << line;
        }
        if (newline) {
            out << '\n';
        }
        return true;
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
