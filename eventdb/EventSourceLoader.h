#ifndef PERFEVENTS_EVENTSOURCELOADER_H
#define PERFEVENTS_EVENTSOURCELOADER_H

#include "eventdb/EventDatabaseBuilder.h"

#include <string>

namespace eventdb {

/**
 * Feeds trace point formats from the sources named on the command line into an event database builder. What a
 * source is, is told by its content, not its name:
 * - a perf.data file: the formats of its tracing data section (or, written to a pipe, of its tracing data
 *   record); "-" is standard input;
 * - a trace-cmd recording (trace.dat, versions 6 and 7): its ftrace and event formats; it must be a file, as its
 *   parts are found by seeking;
 * - a format text (as tracefs' events/<system>/<event>/format); its system is the name of the directory above
 *   the event's directory, or the default system when the path does not tell;
 * - a directory: every file named "format" below it, searched recursively (for example
 *   /sys/kernel/tracing/events/sched).
 * Problems are reported with std::runtime_error, the message beginning with the path.
 */
class EventSourceLoader {
public:
    /** Largest file taken for a format text; anything longer is no format text. */
    static const size_t MAX_FORMAT_TEXT_SIZE = 16 * 1024 * 1024;

    explicit EventSourceLoader(EventDatabaseBuilder& builder);

    /** The system of format texts whose path does not name it (empty: such texts are an error). */
    void setDefaultSystem(const std::string& system) { defaultSystem = system; }

    /** Loads one source. */
    void load(const std::string& path);

private:
    void _loadFile(const std::string& path);
    void _loadDirectory(const std::string& path);
    void _loadStream(const std::string& path, std::istream& in);
    void _loadPerfFile(const std::string& path, std::istream& in, const std::string& head);
    void _loadTraceDat(const std::string& path, std::istream& in);
    void _loadFormatText(const std::string& path, const std::string& text);
    std::string _systemFromPath(const std::string& path, const std::string& eventName) const;

    EventDatabaseBuilder& builder;
    std::string defaultSystem;
};

} // namespace eventdb

#endif
