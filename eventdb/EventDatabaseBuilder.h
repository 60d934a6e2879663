#ifndef PERFEVENTS_EVENTDATABASEBUILDER_H
#define PERFEVENTS_EVENTDATABASEBUILDER_H

#include "kestrel/JSOM.h"
#include "eventdb/TraceEventFormat.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace eventdb {

/**
 * Collects trace point formats from any number of sources and writes the event database the converter loads:
 *
 *     {"events": {"sched:sched_switch": {"id": 372, "fields": {"prev_pid": {"type": "pid_t", "offset": 24,
 *                  "size": 4, "cast": "int32_t"}, ...}}, ...},
 *      "common": {"fields": {"common_type": {...}, ..., "common_tid": {"type": "__ancillary_tid"},
 *                 "common_cpu": {"type": "__ancillary_cpu"}}}}
 *
 * The common fields are written once; they must be the same in every trace point. Fields that no reader can
 * read (arrays, variable-length data) are written without "cast". Conflicting descriptions are reported with
 * std::runtime_error naming both trace points and where they came from.
 */
class EventDatabaseBuilder {
public:
    /** Adds a trace point; origin names where it came from, for messages. Adding the same one again is harmless. */
    void addEvent(const TraceEventFormat& format, const std::string& origin);

    /** The number of distinct trace points added. */
    size_t getEventCount() const { return events.size(); }

    /** The database as a JSON document. */
    kestrel::JSOM toJsom() const;

    /** Writes the database, compact or pretty (one member per line, indented). */
    void write(std::ostream& out, bool pretty) const;

private:
    struct Entry {
        TraceEventFormat format;
        std::string origin;
    };

    static void _setField(kestrel::JSOM place, const TraceEventFormat::Field& field);
    static std::vector<TraceEventFormat::Field> _commonFields(const TraceEventFormat& format);
    static std::string _describeDifference(const std::vector<TraceEventFormat::Field>& first,
                                           const std::vector<TraceEventFormat::Field>& second);

    /** Trace points by "system:name", so that the output does not depend on the order of the sources. */
    std::map<std::string, Entry> events;
    std::map<uint32_t, std::string> namesById;
    std::vector<TraceEventFormat::Field> commonFields;
    /** The trace point whose common fields were taken first, with its origin. */
    std::string commonOwner;
};

} // namespace eventdb

#endif
