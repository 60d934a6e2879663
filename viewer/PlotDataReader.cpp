#include "viewer/PlotDataReader.h"

#include "viewer/PlotDataError.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>

using kestrel::JSONData;

namespace viewer {

namespace {

// A text from the input, made fit for a one-line message: control characters become '?', long texts are cut.
std::string printable(const std::string& text) {
    std::string out;
    for (char c : text.substr(0, 60)) {
        out += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    return text.size() > 60 ? out + "..." : out;
}

const char* typeName(const JSONData* node) {
    switch (node ? node->getType() : JSONData::TYPE_UNDEFINED) {
    case JSONData::TYPE_NULL:
        return "null";
    case JSONData::TYPE_BOOLEAN:
        return "a boolean";
    case JSONData::TYPE_OBJECT:
        return "an object";
    case JSONData::TYPE_ARRAY:
        return "an array";
    case JSONData::TYPE_STRING:
        return "a string";
    case JSONData::TYPE_LONG:
    case JSONData::TYPE_DOUBLE:
        return "a number";
    default:
        return "missing";
    }
}

bool isNumber(const JSONData* node) {
    return node && (node->getType() == JSONData::TYPE_LONG || node->getType() == JSONData::TYPE_DOUBLE);
}

const std::string* stringMember(const JSONData* object, const char* key) {
    const JSONData* member = object->getByKey(key);
    return member ? member->stringValue() : nullptr;
}

// Runs the parser on one value with standard error sent to a scratch file, and hands back what the parser
// reported there, so that a syntax error becomes part of the reader's own one-line message.
bool parseCapturingReport(JSONData& node, const char*& p, std::string& report) {
    std::fflush(stderr);
    FILE* scratch = std::tmpfile();
    int saved = scratch ? dup(STDERR_FILENO) : -1;
    if (saved < 0 || dup2(fileno(scratch), STDERR_FILENO) < 0) {
        if (saved >= 0) {
            close(saved);
        }
        if (scratch) {
            std::fclose(scratch);
        }
        return node.setFromJsonString(p); // cannot capture: the parser reports on standard error itself
    }
    bool ok = node.setFromJsonString(p);
    std::fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
    std::rewind(scratch);
    char line[512];
    if (std::fgets(line, sizeof line, scratch)) {
        report = line;
        while (!report.empty() && (report.back() == '\n' || report.back() == '\r')) {
            report.pop_back();
        }
        // "JSONData::setFromJsonString(): syntax error: ..." -> "syntax error: ..."
        std::string::size_type colon = report.find("(): ");
        if (colon != std::string::npos) {
            report.erase(0, colon + 4);
        }
    }
    std::fclose(scratch);
    return ok;
}

} // namespace

std::vector<PlotDocument> PlotDataReader::readFile(const std::string& path) {
    std::string text;
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        if (std::cin.bad()) {
            throw PlotDataError("cannot read standard input");
        }
        return readText(text, path);
    }
    errno = 0;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        throw PlotDataError("cannot open " + path + ": " + std::strerror(errno));
    }
    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
        std::fclose(file);
        throw PlotDataError("cannot read " + path + ": it is a directory");
    }
    char buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        text.append(buffer, got);
    }
    bool failed = std::ferror(file) != 0;
    int error = errno;
    std::fclose(file);
    if (failed) {
        throw PlotDataError("cannot read " + path + ": " + std::strerror(error));
    }
    return readText(text, path);
}

std::vector<PlotDocument> PlotDataReader::readText(const std::string& text, const std::string& source) {
    std::vector<PlotDocument> documents;
    const char* begin = text.c_str();
    const char* end = begin + text.size();
    const char* p = begin;
    for (;;) {
        while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r')) {
            ++p;
        }
        if (p == end) {
            break;
        }
        std::string where = source + ": ";
        if (!documents.empty()) {
            where += "document " + std::to_string(documents.size() + 1) + ": ";
        }
        // The parser stops at a NUL character; one inside the text is no JSON.
        if (*p == '\0') {
            throw PlotDataError(where + "not JSON: NUL byte at offset " + std::to_string(p - begin));
        }
        JSONData* node = new JSONData;
        PlotDocument document(node); // its handle holds the one reference
        document.source = source;
        document.indexInSource = static_cast<int>(documents.size());
        const char* start = p;
        std::string report;
        if (!parseCapturingReport(*node, p, report) || p == start) {
            if (p < start || p > end) {
                p = start;
            }
            long line = 1 + static_cast<long>(std::count(begin, p, '\n'));
            throw PlotDataError(where + "not JSON" + (report.empty() ? std::string() : ": " + report) + " (line " +
                                std::to_string(line) + ")");
        }
        _check(document);
        documents.push_back(std::move(document));
    }
    if (documents.empty()) {
        throw PlotDataError(source + ": no plot data (the file is empty)");
    }
    return documents;
}

void PlotDataReader::_check(PlotDocument& document) {
    std::string where = document.source + ": ";
    if (document.indexInSource > 0) {
        where += "document " + std::to_string(document.indexInSource + 1) + ": ";
    }
    const JSONData* root = document.root.node();
    if (root->getType() != JSONData::TYPE_ARRAY) {
        throw PlotDataError(where + "not plot data: the document is " + typeName(root) + ", not an array");
    }
    bool anyPoint = false;
    for (int i = 0; i < root->length(); ++i) {
        const JSONData* object = root->getByIndex(i);
        std::string place = where + "element " + std::to_string(i + 1) + ": ";
        if (object->getType() != JSONData::TYPE_OBJECT) {
            throw PlotDataError(place + "not plot data: " + typeName(object) + " where a series or dictionaries " +
                                "object belongs");
        }
        const std::string* type = stringMember(object, "type");
        if (!type) {
            throw PlotDataError(place + "not plot data: an object without a \"type\" text");
        }
        if (*type == "dictionaries") {
            _checkDictionaries(object, place);
            document.dictionaries.push_back(object);
            continue;
        }
        PlotSeries series;
        series.object = object;
        series.type = *type;
        series.index = static_cast<int>(document.series.size());
        _checkSeries(document, series, place);
        if (series.data->length() > 0) {
            double first = series.origin + series.data->getByIndex(0)->getByIndex(0)->doubleValue();
            double last = first;
            for (int k = 0; k < series.data->length(); ++k) {
                double t =
                    series.origin + static_cast<double>(series.data->getByIndex(k)->getByIndex(0)->doubleValue());
                first = std::min(first, t);
                last = std::max(last, t);
            }
            document.startTime = anyPoint ? std::min(document.startTime, first) : first;
            document.endTime = anyPoint ? std::max(document.endTime, last) : last;
            anyPoint = true;
        }
        document.points += series.data->length();
        document.series.push_back(std::move(series));
    }
}

void PlotDataReader::_checkSeries(PlotDocument&, PlotSeries& series, const std::string& where) {
    const std::string& type = series.type;
    if (type == "long") {
        series.isState = false;
    } else if (type == "state" || type == "state-key" || type == "state-value" || type == "state-key-value") {
        series.isState = true;
        series.hasKey = type == "state-key" || type == "state-key-value";
        series.hasMagnitude = type == "state-value" || type == "state-key-value";
    } else {
        throw PlotDataError(where + "not plot data: unknown series type \"" + printable(type) + "\"");
    }
    const JSONData* object = series.object;
    if (const std::string* label = stringMember(object, "label")) {
        series.label = *label;
    }
    if (const std::string* group = stringMember(object, "group")) {
        series.group = *group;
    }
    std::string place = where + "series \"" + printable(series.label) + "\": ";
    const JSONData* columnDictionary = object->getByKey("columnDictionary");
    if (columnDictionary && columnDictionary->getType() == JSONData::TYPE_OBJECT) {
        series.columnDictionary = columnDictionary;
    }
    const JSONData* time = object->getByKey("time");
    if (!isNumber(time) || !std::isfinite(static_cast<double>(time->doubleValue()))) {
        throw PlotDataError(place + "not plot data: \"time\" is " + typeName(time) + ", not a finite number");
    }
    series.origin = static_cast<double>(time->doubleValue());
    series.data = object->getByKey("data");
    if (!series.data || series.data->getType() != JSONData::TYPE_ARRAY) {
        throw PlotDataError(place + "not plot data: \"data\" is " + typeName(series.data) + ", not an array");
    }
    int columns = series.columns();
    for (int k = 0; k < series.data->length(); ++k) {
        const JSONData* point = series.data->getByIndex(k);
        std::string at = place + "point " + std::to_string(k + 1) + ": not plot data: ";
        if (point->getType() != JSONData::TYPE_ARRAY || point->length() < columns) {
            throw PlotDataError(at + "a \"" + type + "\" point is an array of " + std::to_string(columns) + " numbers");
        }
        for (int c = 0; c < columns; ++c) {
            if (!isNumber(point->getByIndex(c))) {
                throw PlotDataError(at + "element " + std::to_string(c + 1) + " is " + typeName(point->getByIndex(c)) +
                                    ", not a number");
            }
        }
        if (!std::isfinite(static_cast<double>(point->getByIndex(0)->doubleValue()))) {
            throw PlotDataError(at + "the time is not finite");
        }
    }
}

void PlotDataReader::_checkDictionaries(const JSONData* object, const std::string& where) {
    const JSONData* dictionaries = object->getByKey("dictionaries");
    if (!dictionaries || dictionaries->getType() != JSONData::TYPE_OBJECT) {
        throw PlotDataError(where + "not plot data: \"dictionaries\" is " + typeName(dictionaries) + ", not an object");
    }
    for (int i = 0; i < dictionaries->length(); ++i) {
        const JSONData* dictionary = dictionaries->getByIndex(i);
        std::string place = where + "dictionary \"" + printable(*dictionaries->getKeyAtIndex(i)) + "\": ";
        if (dictionary->getType() != JSONData::TYPE_OBJECT) {
            throw PlotDataError(place + "not plot data: " + typeName(dictionary) + ", not an object");
        }
        const JSONData* map = dictionary->getByKey("map");
        if (map && map->getType() != JSONData::TYPE_OBJECT) {
            throw PlotDataError(place + "not plot data: \"map\" is " + typeName(map) + ", not an object");
        }
    }
}

} // namespace viewer
