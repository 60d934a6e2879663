#ifndef VIEWER_PLOTDATAREADER_H
#define VIEWER_PLOTDATAREADER_H

#include "viewer/JsonInput.h"
#include "viewer/PlotDataSink.h"

#include <istream>
#include <string>

namespace viewer {

/**
 * Reads plot data documents from a stream and hands them to a PlotDataSink series by series, without holding
 * more than the series being read.
 *
 * A stream may hold several documents one after another (as appended conversions write them), separated by
 * nothing or by white space. Members of an object may come in any order. Every problem is thrown as a
 * PlotDataError with a one-line message that names the source and the place; what the sink received before it
 * stays received. Reading takes time linear in the input (and n log n to sort a series whose points are out of
 * order).
 */
class PlotDataReader {
public:
    /// Reads every document of the file ("-": standard input), in order.
    static void readFile(const std::string& path, PlotDataSink& sink);
    /// Reads every document of the stream, `bufferBytes` at a time; `source` names it in messages and to the sink.
    static void read(std::istream& in, const std::string& source, PlotDataSink& sink,
                     std::size_t bufferBytes = 1 << 20);
    /// The same for text in memory.
    static void readText(const std::string& text, const std::string& source, PlotDataSink& sink);

    /// Reads a time in seconds, written as a JSON number, as whole nanoseconds: exactly from a plain decimal,
    /// rounded to the nanosecond beyond nine decimals. False when it is not finite or beyond about 146 years.
    static bool nanoseconds(std::string_view text, std::int64_t& out);

private:
    struct BadPoint;
    explicit PlotDataReader(JsonInput& input, PlotDataSink& sink) : in(input), sink(sink) {}

    void _document(int index);
    void _element(int index, const std::string& where);
    void _data(PlotSeries& series, const std::string& where, bool typeKnown, BadPoint* bad);
    void _finishSeries(PlotSeries& series, const std::string& where);
    void _addLane(PlotSeries& series, PlotLane&& lane);
    void _seriesDone(PlotSeries& series, std::size_t points);
    void _checkDictionaries(const std::string& json, const std::string& where);

    JsonInput& in;
    PlotDataSink& sink;
    PlotDataSink::DocumentSummary summary;
    std::string token;
    // The points of the series being read, before they are split into lanes.
    std::vector<std::int64_t> times;
    std::vector<std::uint32_t> columns[3];
    ValueTable tables[3];
};

} // namespace viewer

#endif
