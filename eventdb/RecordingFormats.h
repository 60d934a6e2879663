#ifndef EVENTDB_RECORDINGFORMATS_H
#define EVENTDB_RECORDINGFORMATS_H

#include "eventdb/TraceEventFormat.h"

#include <map>
#include <string>
#include <vector>

namespace perfevents {
class PerfOutputReader;
class TracePointFieldStore;
} // namespace perfevents

namespace eventdb {

/**
 * The trace point formats a recording carries (a perf.data file its tracing data), by trace point name, and the
 * check of an event database against them: the same id for the same trace point, and the same offset, size and
 * signedness for every field the database reads out of the raw data.
 */
class RecordingFormats {
public:
    /// Reads the formats of the recording; false, with the reason kept, when it carries none or they cannot be read.
    bool read(const perfevents::PerfOutputReader& reader);
    /// Why there are none, in words.
    const std::string& getProblem() const { return problem; }
    const std::vector<TraceEventFormat>& getFormats() const { return formats; }
    /// The format of a trace point ("system:name"), or null.
    const TraceEventFormat* find(const std::string& event) const;

    /// How the database contradicts the recording about a trace point's id, in words; empty when it agrees or
    /// the recording does not describe the trace point.
    std::string contradictsEvent(const perfevents::TracePointFieldStore& database, const std::string& event) const;
    /// The same about a field the database reads (ancillary fields are not in the raw data and always agree).
    std::string contradictsField(const perfevents::TracePointFieldStore& database, const std::string& event,
                                 const std::string& field) const;

private:
    bool _parse(const std::vector<unsigned char>& data);

    std::vector<TraceEventFormat> formats;
    std::map<std::string, std::size_t> byName;
    std::string problem;
};

} // namespace eventdb

#endif
