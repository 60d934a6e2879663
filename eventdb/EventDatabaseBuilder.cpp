#include "eventdb/EventDatabaseBuilder.h"

#include <stdexcept>

namespace eventdb {

namespace {

std::string describeEvent(const std::string& name, const std::string& origin) {
    return name + " (" + origin + ")";
}

} // namespace

void EventDatabaseBuilder::addEvent(const TraceEventFormat& format, const std::string& origin) {
    const std::string name = format.fullName();
    auto known = events.find(name);
    if (known != events.end()) {
        if (known->second.format != format) {
            throw std::runtime_error("trace point " + name + " is described differently in " + known->second.origin +
                                     " and in " + origin);
        }
        return;
    }
    auto sameId = namesById.find(format.id);
    if (sameId != namesById.end()) {
        throw std::runtime_error("trace points " + describeEvent(sameId->second, events.at(sameId->second).origin) +
                                 " and " + describeEvent(name, origin) + " have the same id " +
                                 std::to_string(format.id));
    }
    std::vector<TraceEventFormat::Field> common = _commonFields(format);
    if (events.empty()) {
        commonFields = common;
        commonOwner = describeEvent(name, origin);
    } else if (common != commonFields) {
        throw std::runtime_error("the common fields of trace points " + commonOwner + " and " +
                                 describeEvent(name, origin) +
                                 " disagree: " + _describeDifference(commonFields, common));
    }
    events[name] = Entry{format, origin};
    namesById[format.id] = name;
}

kestrel::JSOM EventDatabaseBuilder::toJsom() const {
    kestrel::JSOM database;
    // Navigating through a place that does not exist yet makes it an object, so trace points and field lists
    // without members still appear as {}.
    kestrel::JSOM eventList = database["events"];
    eventList[""];
    for (const auto& event : events) {
        kestrel::JSOM entry = eventList[event.first];
        entry["id"].setLong(event.second.format.id);
        kestrel::JSOM fields = entry["fields"];
        fields[""];
        for (const TraceEventFormat::Field& field : event.second.format.fields) {
            if (!field.isCommon()) {
                _setField(fields[field.name], field);
            }
        }
    }

    kestrel::JSOM common = database["common"]["fields"];
    common[""];
    for (const TraceEventFormat::Field& field : commonFields) {
        _setField(common[field.name], field);
    }
    // The thread id and the cpu are not part of the raw data; the converter takes them from the sample.
    if (!common["common_tid"].isResolved()) {
        common["common_tid"]["type"].setString("__ancillary_tid");
    }
    if (!common["common_cpu"].isResolved()) {
        common["common_cpu"]["type"].setString("__ancillary_cpu");
    }
    return database;
}

void EventDatabaseBuilder::write(std::ostream& out, bool pretty) const {
    std::string text;
    kestrel::JSOM database = toJsom();
    if (pretty) {
        database.toString(text, kestrel::JSOM::defaultPrecision);
    } else {
        database.toCompactString(text, kestrel::JSOM::defaultPrecision);
    }
    out << text;
}

void EventDatabaseBuilder::_setField(kestrel::JSOM place, const TraceEventFormat::Field& field) {
    place["type"].setString(field.type);
    place["offset"].setLong(field.offset);
    place["size"].setLong(field.size);
    const char* cast = field.castType();
    if (cast != nullptr) {
        place["cast"].setString(cast);
    }
}

std::vector<TraceEventFormat::Field> EventDatabaseBuilder::_commonFields(const TraceEventFormat& format) {
    std::vector<TraceEventFormat::Field> common;
    for (const TraceEventFormat::Field& field : format.fields) {
        if (field.isCommon()) {
            common.push_back(field);
        }
    }
    return common;
}

std::string EventDatabaseBuilder::_describeDifference(const std::vector<TraceEventFormat::Field>& first,
                                                      const std::vector<TraceEventFormat::Field>& second) {
    for (size_t i = 0; i < first.size() || i < second.size(); ++i) {
        if (i >= second.size()) {
            return first[i].name + " is missing in the second";
        }
        if (i >= first.size()) {
            return second[i].name + " is missing in the first";
        }
        if (first[i] != second[i]) {
            return first[i].describe() + " against " + second[i].describe();
        }
    }
    return "no difference";
}

} // namespace eventdb
