#include "eventdb/RecordingFormats.h"

#include "eventdb/TracingDataParser.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/TraceDatReader.h"
#include "perfevents/TracePointFieldStore.h"

#include <stdexcept>

namespace eventdb {

bool RecordingFormats::read(const perfevents::PerfOutputReader& reader) {
    formats.clear();
    byName.clear();
    if (const auto* traceDat = dynamic_cast<const perfevents::TraceDatReader*>(&reader)) {
        return _parse(traceDat->getTracingData());
    }
    const auto* perf = dynamic_cast<const perfevents::PerfRecordFileReader*>(&reader);
    if (perf == nullptr) {
        problem = "the recording carries no trace point formats";
        return false;
    }
    const std::vector<unsigned char>& data = perf->getTracingData();
    if (data.empty()) {
        problem = perf->getTracingDataProblem();
        return false;
    }
    return _parse(data);
}

bool RecordingFormats::_parse(const std::vector<unsigned char>& data) {
    try {
        formats = TracingDataParser(data.data(), data.size()).parse();
    } catch (const std::runtime_error& e) {
        problem = std::string("its tracing data cannot be read: ") + e.what();
        return false;
    }
    for (std::size_t i = 0; i < formats.size(); ++i) {
        byName[formats[i].fullName()] = i;
    }
    problem.clear();
    return true;
}

const TraceEventFormat* RecordingFormats::find(const std::string& event) const {
    auto found = byName.find(event);
    return found != byName.end() ? &formats[found->second] : nullptr;
}

std::string RecordingFormats::contradictsEvent(const perfevents::TracePointFieldStore& database,
                                               const std::string& event) const {
    const TraceEventFormat* format = find(event);
    const int32_t id = database.getEventID(event.c_str());
    if (format == nullptr || id == -1 || static_cast<uint32_t>(id) == format->id) {
        return std::string();
    }
    return "the event database gives " + event + " the id " + std::to_string(id) + ", the recording " +
           std::to_string(format->id);
}

std::string RecordingFormats::contradictsField(const perfevents::TracePointFieldStore& database,
                                               const std::string& event, const std::string& field) const {
    const TraceEventFormat* format = find(event);
    perfevents::TracePointFieldStore::FieldDescription described;
    if (format == nullptr || !database.describeField(event.c_str(), field.c_str(), described) || described.ancillary) {
        return std::string();
    }
    const TraceEventFormat::Field* recorded = nullptr;
    for (const TraceEventFormat::Field& candidate : format->fields) {
        if (candidate.name == field) {
            recorded = &candidate;
        }
    }
    const std::string subject = "field \"" + field + "\" of " + event;
    if (recorded == nullptr) {
        return subject + " is in the event database but not in the recording";
    }
    // Addresses have no sign; numbers are read signed by the int casts, unsigned by the uint casts.
    const bool numeric = described.cast.compare(0, 3, "int") == 0 || described.cast.compare(0, 4, "uint") == 0;
    const bool isSigned = described.cast.compare(0, 3, "int") == 0;
    if (described.offset == recorded->offset && described.size == recorded->size &&
        (!numeric || isSigned == recorded->isSigned)) {
        return std::string();
    }
    auto where = [numeric](uint32_t offset, uint32_t size, bool isSigned) {
        return "offset " + std::to_string(offset) + ", " + std::to_string(size) + " bytes" +
               (numeric ? isSigned ? ", signed" : ", unsigned" : "");
    };
    return subject + ": the event database reads it at " + where(described.offset, described.size, isSigned) +
           ", the recording has it at " + where(recorded->offset, recorded->size, recorded->isSigned);
}

} // namespace eventdb
