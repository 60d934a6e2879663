#ifndef PERFEVENTS_TRACEFORMATPARSER_H
#define PERFEVENTS_TRACEFORMATPARSER_H

#include "eventdb/TraceEventFormat.h"

#include <cstddef>
#include <string>

namespace eventdb {

/**
 * Parses the format text of one trace point, the text tracefs shows in events/<system>/<event>/format and a
 * perf.data file keeps in its tracing data section:
 *
 *     name: sched_switch
 *     ID: 372
 *     format:
 *         field:unsigned short common_type;  offset:0;  size:2;  signed:0;
 *         ...
 *     print fmt: "..."
 *
 * The text is untrusted: every malformed line is reported with std::runtime_error naming the line. The system
 * is not part of the text; the caller fills it in.
 */
class TraceFormatParser {
public:
    /** Whether the bytes look like a format text (they begin with "name:"). */
    static bool isFormatText(const char* text, size_t length);

    /** Whether a text can name a trace point or a system: letters, digits, '_', '-' and '.'. */
    static bool isValidName(const std::string& name);

    /** Parses a format text; throws std::runtime_error on malformed text. */
    static TraceEventFormat parse(const char* text, size_t length);

private:
    static TraceEventFormat::Field _parseField(const std::string& body);
    static void _parseDeclaration(const std::string& declaration, TraceEventFormat::Field& field);
    static uint32_t _parseNumber(const std::string& text, const char* what);
    static bool _guessSigned(const std::string& type);
};

} // namespace eventdb

#endif
