#include "viewer/PlotDataReader.h"

#include "viewer/PlotDataError.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <numeric>
#include <sstream>

namespace viewer {

namespace {

const std::uint32_t NO_VALUE = std::numeric_limits<std::uint32_t>::max();
const std::size_t MAX_POINTS = NO_VALUE - 1;

// A text from the input, made fit for a one-line message: control characters become '?', long texts are cut.
std::string printable(const std::string& text) {
    std::string out;
    for (char c : text.substr(0, 60)) {
        out += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    return text.size() > 60 ? out + "..." : out;
}

bool stateType(const std::string& type) {
    return type == "state" || type == "state-key" || type == "state-value" || type == "state-key-value";
}

// Orders subplot keys by their numbers (exact for integers), then by their texts.
bool keyLess(const ValueTable::Entry& a, const ValueTable::Entry& b) {
    if (a.isInteger && b.isInteger) {
        return a.integer < b.integer;
    }
    if (a.number != b.number) {
        return a.number < b.number;
    }
    return a.text < b.text;
}

} // namespace

// The first point that does not have as many leading numbers as a layout needs, and why.
struct PlotDataReader::BadPoint {
    long long point = 0; // from 1; 0: none
    int element = 0;     // from 1: the element that is not a number; 0: the point is too short or no array
    JsonInput::Kind kind = JsonInput::KIND_END;
};

bool PlotDataReader::nanoseconds(std::string_view text, std::int64_t& out) {
    // A plain decimal of up to nine integer digits: exact, in one pass.
    std::size_t i = 0, n = text.size();
    bool negative = n > 0 && text[0] == '-';
    i = negative ? 1 : 0;
    std::int64_t whole = 0;
    std::size_t integerDigits = 0;
    while (i < n && text[i] >= '0' && text[i] <= '9' && integerDigits < 10) {
        whole = whole * 10 + (text[i++] - '0');
        ++integerDigits;
    }
    std::int64_t fraction = 0;
    int decimals = 0;
    bool roundUp = false;
    if (integerDigits <= 9 && i < n && text[i] == '.') {
        for (++i; i < n && text[i] >= '0' && text[i] <= '9'; ++i, ++decimals) {
            if (decimals < 9) {
                fraction = fraction * 10 + (text[i] - '0');
            } else if (decimals == 9) {
                roundUp = text[i] >= '5';
            }
        }
    }
    if (i == n && integerDigits <= 9) {
        for (int d = decimals; d < 9; ++d) {
            fraction *= 10;
        }
        std::int64_t value = whole * 1000000000 + fraction + (roundUp ? 1 : 0);
        out = negative ? -value : value;
        return true;
    }
    std::string copy(text);
    double seconds = std::strtod(copy.c_str(), nullptr);
    if (!std::isfinite(seconds) || std::fabs(seconds) >= 4.6e9) {
        return false;
    }
    out = std::llround(seconds * 1e9);
    return true;
}

void PlotDataReader::readFile(const std::string& path, PlotDataSink& sink) {
    if (path == "-") {
        read(std::cin, path, sink);
        return;
    }
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        throw PlotDataError("cannot read " + path + ": it is a directory");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        throw PlotDataError("cannot open " + path + ": " + std::strerror(errno ? errno : ENOENT));
    }
    read(file, path, sink);
}

void PlotDataReader::readText(const std::string& text, const std::string& source, PlotDataSink& sink) {
    std::istringstream stream(text);
    read(stream, source, sink, std::min<std::size_t>(text.size() + 1, 1 << 20));
}

void PlotDataReader::read(std::istream& stream, const std::string& source, PlotDataSink& sink, std::size_t bufferBytes) {
    JsonInput input(stream, source, bufferBytes);
    PlotDataReader reader(input, sink);
    int documents = 0;
    while (input.peekSignificant() >= 0) {
        input.place = source + ": ";
        if (documents > 0) {
            input.place += "document " + std::to_string(documents + 1) + ": ";
        }
        reader._document(documents++);
    }
    if (documents == 0) {
        throw PlotDataError(source + ": no plot data (the file is empty)");
    }
}

void PlotDataReader::_document(int index) {
    if (in.peekSignificant() == 0) {
        in.fail("not JSON: NUL byte at offset " + std::to_string(in.offset()));
    }
    JsonInput::Kind kind = in.kind();
    if (kind != JsonInput::KIND_ARRAY) {
        in.readValue(nullptr); // reports a syntax error first
        in.fail(std::string("not plot data: the document is ") + JsonInput::kindName(kind) + ", not an array");
    }
    summary = PlotDataSink::DocumentSummary();
    sink.beginDocument(in.source, index);
    in.expect('[', "'['");
    if (in.peekSignificant() == ']') {
        in.skip();
    } else {
        int element = 0;
        do {
            ++element;
            _element(element, in.place + "element " + std::to_string(element) + ": ");
        } while (in.nextMember(']'));
    }
    sink.endDocument(summary);
}

void PlotDataReader::_element(int index, const std::string& where) {
    (void)index;
    JsonInput::Kind kind = in.kind();
    if (kind != JsonInput::KIND_OBJECT) {
        in.readValue(nullptr);
        throw PlotDataError(where + "not plot data: " + JsonInput::kindName(kind) +
                            " where a series or dictionaries object belongs");
    }
    PlotSeries series;
    series.index = summary.series;
    bool typeSeen = false;
    bool timeSeen = false;
    JsonInput::Kind timeKind = JsonInput::KIND_END;
    bool dataSeen = false;
    JsonInput::Kind dataKind = JsonInput::KIND_END;
    BadPoint bad[5];
    std::string typeAtData; // the type the points were read for, when it came first
    std::string object; // the members but "data", as compact JSON
    std::string member;
    std::string key;
    for (std::vector<std::uint32_t>& column : columns) {
        column.clear();
    }
    times.clear();
    for (ValueTable& table : tables) {
        table = ValueTable();
    }

    in.expect('{', "'{'");
    bool more = in.peekSignificant() != '}';
    if (!more) {
        in.skip();
    }
    while (more) {
        in.readString(key);
        in.expect(':', "':'");
        JsonInput::Kind valueKind = in.kind();
        bool dictionaries = typeSeen && series.type == "dictionaries";
        if (key == "data" && !dictionaries) {
            dataSeen = true;
            dataKind = valueKind;
            if (valueKind == JsonInput::KIND_ARRAY) {
                // A second "data" replaces the first.
                times.clear();
                for (std::vector<std::uint32_t>& column : columns) {
                    column.clear();
                }
                std::string place = where;
                if (typeSeen && series.type != "dictionaries") {
                    place += "series \"" + printable(series.label) + "\": ";
                }
                _data(series, place, typeSeen && series.type != "dictionaries", bad);
                typeAtData = typeSeen ? series.type : std::string();
            } else {
                in.readValue(nullptr);
            }
        } else {
            member.clear();
            if (valueKind == JsonInput::KIND_STRING && (key == "type" || key == "label" || key == "group")) {
                std::string text;
                in.readString(text);
                JsonInput::appendQuoted(member, text);
                (key == "type" ? series.type : key == "label" ? series.label : series.group) = text;
                typeSeen = typeSeen || key == "type";
            } else if (key == "endState" && valueKind == JsonInput::KIND_NUMBER) {
                in.readNumber(token);
                member = token;
                ValueTable canonical;
                series.endState = canonical[canonical.add(token)].text;
            } else if (key == "time" && valueKind == JsonInput::KIND_NUMBER) {
                in.readNumber(token);
                member = token;
                series.origin = std::strtod(token.c_str(), nullptr);
                timeSeen = std::isfinite(series.origin);
                timeKind = valueKind;
            } else {
                in.readValue(&member, true);
                if (key == "time") {
                    timeSeen = false;
                    timeKind = valueKind;
                } else if (key == "type") {
                    typeSeen = false;
                } else if (key == "endState") {
                    series.endState.clear();
                } else if (key == "info" || key == "hints" || key == "columnDictionary" || key == "pivot") {
                    std::string& target = key == "info"               ? series.info
                                          : key == "hints"            ? series.hints
                                          : key == "columnDictionary" ? series.columnDictionary
                                                                      : series.pivot;
                    target = valueKind == JsonInput::KIND_OBJECT ? member : std::string();
                }
            }
            if (!object.empty()) {
                object += ',';
            }
            JsonInput::appendQuoted(object, key);
            object += ':';
            object += member;
        }
        more = in.nextMember('}');
    }

    if (!typeSeen) {
        throw PlotDataError(where + "not plot data: an object without a \"type\" text");
    }
    if (series.type == "dictionaries") {
        _checkDictionaries("{" + object + "}", where);
        sink.dictionaries("{" + object + "}");
        return;
    }
    if (series.type == "long") {
        series.isState = false;
    } else if (stateType(series.type)) {
        series.isState = true;
        series.hasKey = series.type == "state-key" || series.type == "state-key-value";
        series.hasMagnitude = series.type == "state-value" || series.type == "state-key-value";
    } else {
        throw PlotDataError(where + "not plot data: unknown series type \"" + printable(series.type) + "\"");
    }
    std::string place = where + "series \"" + printable(series.label) + "\": ";
    if (!typeAtData.empty() && typeAtData != series.type) {
        throw PlotDataError(place + "not plot data: a second \"type\" after \"data\" changes the points' layout");
    }
    if (!timeSeen) {
        throw PlotDataError(place + "not plot data: \"time\" is " +
                            (timeKind == JsonInput::KIND_END ? "missing" : JsonInput::kindName(timeKind)) +
                            ", not a finite number");
    }
    if (dataKind != JsonInput::KIND_ARRAY) {
        throw PlotDataError(place + "not plot data: \"data\" is " +
                            (dataSeen ? JsonInput::kindName(dataKind) : "missing") + ", not an array");
    }
    const BadPoint& first = bad[series.columns()];
    if (first.point > 0) {
        std::string at = place + "point " + std::to_string(first.point) + ": not plot data: ";
        if (first.element == 0) {
            throw PlotDataError(at + "a \"" + series.type + "\" point is an array of " +
                                std::to_string(series.columns()) + " numbers");
        }
        throw PlotDataError(at + "element " + std::to_string(first.element) + " is " +
                            JsonInput::kindName(first.kind) + ", not a number");
    }
    _finishSeries(series, place);
}

void PlotDataReader::_data(PlotSeries& series, const std::string& where, bool typeKnown, BadPoint* bad) {
    // With the type known, only its columns are kept and the first bad point stops reading; otherwise up to
    // three value columns are kept and the first bad point for each layout width is remembered.
    int needed = 4;
    if (typeKnown) {
        if (series.type == "long" || series.type == "state") {
            needed = 2;
        } else if (stateType(series.type)) {
            needed = series.type == "state-key-value" ? 4 : 3;
        }
    }
    auto record = [&](long long point, int element, JsonInput::Kind kind, int numbers) {
        // The point has `numbers` leading numbers: it is bad for every layout that needs more.
        for (int width = numbers + 1; width <= 4; ++width) {
            if (bad[width].point == 0) {
                bad[width].point = point;
                bad[width].element = element;
                bad[width].kind = kind;
            }
        }
        if (typeKnown && numbers < needed) {
            std::string at = where + "point " + std::to_string(point) + ": not plot data: ";
            if (element == 0) {
                throw PlotDataError(at + "a \"" + series.type + "\" point is an array of " + std::to_string(needed) +
                                    " numbers");
            }
            throw PlotDataError(at + "element " + std::to_string(element) + " is " + JsonInput::kindName(kind) +
                                ", not a number");
        }
    };
    in.expect('[', "'['");
    if (in.peekSignificant() == ']') {
        in.skip();
        return;
    }
    long long point = 0;
    std::string_view row[4];
    do {
        ++point;
        if (times.size() >= MAX_POINTS) {
            throw PlotDataError(where + "more than " + std::to_string(MAX_POINTS) + " points in one series");
        }
        if (typeKnown && in.peekSignificant() == '[' && in.readNumberRow(row, needed)) {
            // The usual compact point: its numbers straight from the buffer.
            std::int64_t time = 0;
            if (!nanoseconds(row[0], time)) {
                throw PlotDataError(where + "point " + std::to_string(point) + ": not plot data: the time " +
                                    printable(std::string(row[0])) + " is not finite or beyond 146 years");
            }
            times.push_back(time);
            for (int c = 0; c + 1 < needed; ++c) {
                columns[c].push_back(tables[c].add(row[c + 1].data(), row[c + 1].size()));
            }
            continue;
        }
        if (in.kind() != JsonInput::KIND_ARRAY) {
            in.readValue(nullptr);
            record(point, 0, JsonInput::KIND_END, 0);
            times.push_back(0);
            for (int c = 0; c < 3 && c < needed - 1; ++c) {
                columns[c].push_back(NO_VALUE);
            }
            continue;
        }
        in.skip();
        int numbers = 0;
        int element = 0;
        bool stopped = false; // a non-number was met: later elements are skipped
        std::uint32_t values[3] = {NO_VALUE, NO_VALUE, NO_VALUE};
        std::int64_t time = 0;
        if (in.peekSignificant() == ']') {
            in.skip();
        } else {
            do {
                ++element;
                JsonInput::Kind kind = in.kind();
                if (stopped || kind != JsonInput::KIND_NUMBER || element > needed) {
                    in.readValue(nullptr); // a syntax error goes first
                    if (!stopped && element <= needed && kind != JsonInput::KIND_NUMBER) {
                        stopped = true;
                        record(point, element, kind, numbers);
                    }
                    continue;
                }
                std::string_view number = in.readNumberView();
                ++numbers;
                if (element == 1) {
                    if (!nanoseconds(number, time)) {
                        throw PlotDataError(where + "point " + std::to_string(point) + ": not plot data: the time " +
                                            printable(std::string(number)) + " is not finite or beyond 146 years");
                    }
                } else {
                    values[element - 2] = tables[element - 2].add(number.data(), number.size());
                }
            } while (in.nextMember(']'));
        }
        if (!stopped && numbers < needed) {
            record(point, 0, JsonInput::KIND_END, numbers);
        }
        times.push_back(time);
        for (int c = 0; c < 3 && c < needed - 1; ++c) {
            columns[c].push_back(values[c]);
        }
    } while (in.nextMember(']'));
}

void PlotDataReader::_finishSeries(PlotSeries& series, const std::string& where) {
    (void)where;
    // The value tables by their columns: value, then key and magnitude as the layout has them.
    int keyColumn = series.hasKey ? 1 : -1;
    int magnitudeColumn = series.hasMagnitude ? (series.hasKey ? 2 : 1) : -1;
    series.values = std::move(tables[0]);
    if (keyColumn >= 0) {
        series.keys = std::move(tables[keyColumn]);
    }
    if (magnitudeColumn >= 0) {
        series.magnitudes = std::move(tables[magnitudeColumn]);
    }
    if (!series.pivot.empty()) {
        // The first member's value, exactly as written (long integers came as texts).
        std::istringstream text(series.pivot);
        JsonInput pivot(text, "pivot", series.pivot.size() + 1);
        pivot.expect('{', "'{'");
        if (pivot.peekSignificant() == '"') {
            pivot.readString(token);
            pivot.expect(':', "':'");
            if (pivot.kind() == JsonInput::KIND_STRING) {
                pivot.readString(series.pivotKey);
            } else {
                series.pivotKey.clear();
                pivot.readValue(&series.pivotKey);
            }
        }
    }

    std::size_t n = times.size();
    if (keyColumn < 0 && std::is_sorted(times.begin(), times.end())) {
        // One lane in order, the usual case: the columns become the lane as they are.
        PlotLane lane;
        lane.times.swap(times);
        lane.values.swap(columns[0]);
        if (magnitudeColumn >= 0) {
            lane.magnitudes.swap(columns[magnitudeColumn]);
        }
        _addLane(series, std::move(lane));
        _seriesDone(series, n);
        return;
    }
    std::vector<std::uint32_t> order(n);
    std::iota(order.begin(), order.end(), 0u);
    const std::vector<std::uint32_t>& keys = columns[keyColumn >= 0 ? keyColumn : 0];
    if (keyColumn >= 0) {
        // Key ranks in ascending key order, then the points by key and time (stable: equal times keep their order).
        std::vector<std::uint32_t> byKey(series.keys.size());
        std::iota(byKey.begin(), byKey.end(), 0u);
        std::sort(byKey.begin(), byKey.end(),
                  [&](std::uint32_t a, std::uint32_t b) { return keyLess(series.keys[a], series.keys[b]); });
        std::vector<std::uint32_t> rank(byKey.size());
        for (std::uint32_t r = 0; r < byKey.size(); ++r) {
            rank[byKey[r]] = r;
        }
        std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
            std::uint32_t ka = rank[keys[a]], kb = rank[keys[b]];
            return ka != kb ? ka < kb : times[a] < times[b];
        });
    } else if (!std::is_sorted(times.begin(), times.end())) {
        std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return times[a] < times[b]; });
    }
    std::size_t i = 0;
    while (i < n || (i == 0 && keyColumn < 0)) {
        PlotLane lane;
        std::size_t j = i;
        if (keyColumn >= 0) {
            lane.key = keys[order[i]];
            while (j < n && keys[order[j]] == lane.key) {
                ++j;
            }
        } else {
            j = n;
        }
        lane.times.reserve(j - i);
        lane.values.reserve(j - i);
        for (std::size_t k = i; k < j; ++k) {
            lane.times.push_back(times[order[k]]);
            lane.values.push_back(columns[0][order[k]]);
            if (magnitudeColumn >= 0) {
                lane.magnitudes.push_back(columns[magnitudeColumn][order[k]]);
            }
        }
        _addLane(series, std::move(lane));
        i = j;
        if (i == 0) {
            break; // the one empty lane of a series without keys
        }
    }
    _seriesDone(series, n);
}

void PlotDataReader::_addLane(PlotSeries& series, PlotLane&& lane) {
    if (!lane.times.empty()) {
        double first = series.origin + static_cast<double>(lane.times.front()) * 1e-9;
        double last = series.origin + static_cast<double>(lane.times.back()) * 1e-9;
        summary.startTime = summary.anyPoint ? std::min(summary.startTime, first) : first;
        summary.endTime = summary.anyPoint ? std::max(summary.endTime, last) : last;
        summary.anyPoint = true;
    }
    series.lanes.push_back(std::move(lane));
}

void PlotDataReader::_seriesDone(PlotSeries& series, std::size_t n) {
    summary.points += static_cast<long long>(n);
    ++summary.series;
    times.clear();
    times.shrink_to_fit();
    for (std::vector<std::uint32_t>& column : columns) {
        column.clear();
        column.shrink_to_fit();
    }
    sink.series(series);
}

void PlotDataReader::_checkDictionaries(const std::string& json, const std::string& where) {
    std::istringstream text(json);
    JsonInput object(text, "dictionaries", json.size() + 1);
    object.expect('{', "'{'");
    bool found = false;
    std::string key;
    if (object.peekSignificant() != '}') {
        do {
            object.readString(key);
            object.expect(':', "':'");
            if (key != "dictionaries") {
                object.readValue(nullptr);
                continue;
            }
            found = true;
            JsonInput::Kind kind = object.kind();
            if (kind != JsonInput::KIND_OBJECT) {
                throw PlotDataError(where + "not plot data: \"dictionaries\" is " + JsonInput::kindName(kind) +
                                    ", not an object");
            }
            object.expect('{', "'{'");
            if (object.peekSignificant() == '}') {
                object.skip();
                continue;
            }
            do {
                std::string name;
                object.readString(name);
                object.expect(':', "':'");
                std::string place = where + "dictionary \"" + printable(name) + "\": ";
                JsonInput::Kind dictionaryKind = object.kind();
                if (dictionaryKind != JsonInput::KIND_OBJECT) {
                    throw PlotDataError(place + "not plot data: " + JsonInput::kindName(dictionaryKind) +
                                        ", not an object");
                }
                object.expect('{', "'{'");
                if (object.peekSignificant() == '}') {
                    object.skip();
                    continue;
                }
                do {
                    object.readString(key);
                    object.expect(':', "':'");
                    JsonInput::Kind memberKind = object.readValue(nullptr);
                    if (key == "map" && memberKind != JsonInput::KIND_OBJECT) {
                        throw PlotDataError(place + "not plot data: \"map\" is " + JsonInput::kindName(memberKind) +
                                            ", not an object");
                    }
                } while (object.nextMember('}'));
            } while (object.nextMember('}'));
        } while (object.nextMember('}'));
    }
    if (!found) {
        throw PlotDataError(where + "not plot data: \"dictionaries\" is missing, not an object");
    }
}

} // namespace viewer
