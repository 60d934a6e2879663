#ifndef VIEWER_PLOTDATAREADER_H
#define VIEWER_PLOTDATAREADER_H

#include "viewer/PlotDocument.h"

#include <string>
#include <vector>

namespace viewer {

/**
 * Reads plot data documents with the project's JSON parser and checks that they are plot data.
 *
 * A file may hold several documents one after another (as appended conversions write them), separated by
 * nothing or by whitespace. Every problem is thrown as a PlotDataError with a one-line message that names the
 * file and the place; the parser's own report is taken into that message instead of going to standard error.
 * Reading takes time linear in the input.
 */
class PlotDataReader {
public:
    /// Reads every document of the file ("-": standard input), in order.
    static std::vector<PlotDocument> readFile(const std::string& path);
    /// The same for text in memory; `source` names it in messages and in the documents.
    static std::vector<PlotDocument> readText(const std::string& text, const std::string& source);

private:
    static void _check(PlotDocument& document);
    static void _checkSeries(PlotDocument& document, PlotSeries& series, const std::string& where);
    static void _checkDictionaries(const kestrel::JSONData* object, const std::string& where);
};

} // namespace viewer

#endif
