#ifndef VIEWER_PAGEWRITER_H
#define VIEWER_PAGEWRITER_H

#include "viewer/PlotDocument.h"

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace viewer {

/**
 * Writes the self-contained page: the embedded template with its markers replaced.
 *
 * Each marker stands alone on a line of the template and is replaced by: the style (STYLE_MARKER), the script
 * (SCRIPT_MARKER), the JSON array of the documents in input order, each written compactly as read
 * (DATA_MARKER), and the JSON array of the input file names (SOURCES_MARKER). The two JSON texts go into
 * script elements, so every '<' in them is written as \u003c, and U+2028, U+2029 and control characters as
 * \u escapes too; they stay valid JSON.
 */
class PageWriter {
public:
    static const char* const STYLE_MARKER;
    static const char* const SCRIPT_MARKER;
    static const char* const DATA_MARKER;
    static const char* const SOURCES_MARKER;
    /// Decimals of the numbers in the page's data: more than the converter writes.
    static const int DATA_PRECISION = 9;

    /// Writes the page from the embedded template. Throws std::logic_error when the template lacks a marker.
    static void write(std::ostream& out, const std::vector<PlotDocument>& documents,
                      const std::vector<std::string>& sources);
    /// The same with another template, style and script.
    static void write(std::ostream& out, std::string_view pageTemplate, std::string_view style, std::string_view script,
                      const std::vector<PlotDocument>& documents, const std::vector<std::string>& sources);
    /// Writes JSON text so that it can stand inside a script element (see the class comment).
    static void writeScriptSafe(std::ostream& out, std::string_view json);
};

} // namespace viewer

#endif
