#include "algorithms/StatePlotAlgorithm.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "algorithms/StatePlotAlgorithmDictionary.h"
#include "algorithms/ValueDictionary.h"
#include "app/FieldDictionaries.h"
#include "app/ProcessDictionary.h"
#include "app/SeriesDataSet.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Logger.h"
#include "kestrel/PostfixErrors.h"
#include "kestrel/RowText.h"
#include "kestrel/Singleton.h"
#include "perfevents/NumericTracePointField.h"
#include "perfevents/PerfEventDataSampleAncillary.h"
#include "perfevents/TracePointFieldStore.h"

kestrel::Logger* StatePlotAlgorithm::logger = nullptr;
bool StatePlotAlgorithm::dictionarySent = false;

namespace {

// Pivoted labels keep at most this many characters.
const size_t LABEL_LIMIT = 126;

void writeLabel(kestrel::JsomWriter& writer, const char* label) {
    writer.appendLabel(label, true);
}

void writeLabel(kestrel::JsomWriter& writer, const std::string& label) {
    writer.appendLabel(label.c_str(), static_cast<int>(label.size()), true);
}

void writeString(kestrel::JsomWriter& writer, const std::string& value) {
    writer.appendString(value, false);
}

void writeJson(kestrel::JsomWriter& writer, const kestrel::JSOM& value) {
    std::string text;
    value.toCompactString(text, kestrel::JSOM::defaultPrecision);
    writer.appendJsonValue(text.c_str(), static_cast<int>(text.size()));
}

// Writes { "scope": "plotwright", "dictionary": name }.
void writeDictionaryReference(kestrel::JsomWriter& writer, const char* name) {
    writer.startObject();
    writeLabel(writer, "scope");
    writer.appendString("plotwright", false);
    writeLabel(writer, "dictionary");
    writer.appendString(name, false);
    writer.endObject();
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------
// Points and lists

void StatePlotAlgorithm::RunDataList::sort() {
    // The merge sort stays within bounds even for NaN times, where the comparison is no strict order.
    auto earlier = [](const RunData& a, const RunData& b) { return a.time < b.time; };
    if (extras.empty()) {
        std::stable_sort(runs.begin(), runs.end(), earlier);
        return;
    }
    std::vector<std::size_t> order(runs.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return earlier(runs[a], runs[b]); });
    decltype(runs) sortedRuns;
    decltype(extras) sortedExtras;
    for (std::size_t i : order) {
        sortedRuns.push_back(runs[i]);
        sortedExtras.push_back(extras[i]);
    }
    runs.swap(sortedRuns);
    extras.swap(sortedExtras);
}

void StatePlotAlgorithm::RunDataList::clear() {
    decltype(runs)().swap(runs);
    decltype(extras)().swap(extras);
}

// ---------------------------------------------------------------------------------------------------------------
// Event configurations

StatePlotAlgorithm::EventData::EventData(int id, const std::string& eventName)
    : eventId(id), eventName(eventName), stateField(nullptr), magnitudeField(nullptr), innerPivotField(nullptr),
      outerPivotField(nullptr) {}

StatePlotAlgorithm::EventData::~EventData() {
    delete stateField;
    delete magnitudeField;
    delete innerPivotField;
    delete outerPivotField;
}

// ---------------------------------------------------------------------------------------------------------------
// Columns

bool StatePlotAlgorithm::FieldInfo::setup(const char* defaultName, std::set<std::string> usedNames) {
    if (fieldNames.empty()) {
        name = defaultName;
        return true;
    }
    if (fieldNames.size() > 1) {
        // Several trace point fields feed the column: no single name or dictionary describes it.
        description = "Composite of fields: ";
        bool first = true;
        for (const std::string& fieldName : fieldNames) {
            if (!first) {
                description += ", ";
            }
            description += fieldName;
            first = false;
        }
        name = defaultName;
        return true;
    }
    name = *fieldNames.begin();
    description = name;
    const char* fieldDictionary = FieldDictionaries::getDictionary(name);
    if (fieldDictionary != nullptr) {
        dictionary = fieldDictionary;
    }
    if (usedNames.count(name) != 0) {
        name = defaultName;
        return true;
    }
    return false;
}

void StatePlotAlgorithm::FieldInfo::printColumnDictionaryEntry(kestrel::JsomWriter& writer, int column) const {
    writeLabel(writer, name);
    writer.startObject();
    writeLabel(writer, "column");
    writer.appendLong(column);
    if (!description.empty()) {
        writeLabel(writer, "description");
        writeString(writer, description);
    }
    if (!dictionary.empty()) {
        writeLabel(writer, "dataDictionary");
        writeDictionaryReference(writer, dictionary.c_str());
    }
    writer.endObject();
}

// ---------------------------------------------------------------------------------------------------------------
// Construction

StatePlotAlgorithm::StatePlotAlgorithm(const kestrel::JSOM& channelEntry,
                                       const perfevents::TracePointFieldStore& fields)
    : configured(false), hasMagnitude(false), hasInnerPivot(false), hasOuterPivot(false), unpivotedList(nullptr),
      usesDefaultColumns(false) {
    // A private deep copy: navigating to missing members must not change the caller's document, and the
    // "info" and "hints" edits at close time stay with this algorithm.
    channel.copy(channelEntry);
    if (logger == nullptr) {
        logger = kestrel::Logger::getLogger("StatePlotAlgorithm");
    }
    if (!_configure(fields)) {
        return;
    }
    configured = true;
    _nameColumns();
    _makeDictionaries();
    _noteUnreachableConfigurations();
    if (usesDefaultColumns && !dictionarySent) {
        dictionarySent = true;
        kestrel::Singleton<SeriesDataSet>::Instance().add(new StatePlotAlgorithmDictionary());
    }
}

StatePlotAlgorithm::~StatePlotAlgorithm() {
    for (EventData* eventData : eventDatas) {
        delete eventData;
    }
}

perfevents::NumericTracePointField* StatePlotAlgorithm::_createField(const perfevents::TracePointFieldStore& fields,
                                                                     EventData& eventData, const char* fieldName) {
    eventData.fieldNames.push_back(fieldName);
    return fields.createNumericField(eventData.eventName.c_str(), fieldName);
}

bool StatePlotAlgorithm::_configure(const perfevents::TracePointFieldStore& fields) {
    kestrel::JSOM detail = channel["detail"];
    kestrel::JSOM configs = detail["eventConfigs"];
    int count = configs.isArray() ? configs.size() : 0;
    // The outer pivot: the channel's, or each configuration's own; the series' "pivot" member is named by the
    // channel's, or else by the first configuration's.
    channelPivotField = detail["pivotField"].stringValue(kestrel::JSOM::EMPTY_STRING);
    pivotFieldName = channelPivotField;
    for (int i = 0; i < count && pivotFieldName.empty(); ++i) {
        kestrel::JSOM own = configs[i]["pivotField"];
        pivotFieldName = own.isString() ? own.stringValue(kestrel::JSOM::EMPTY_STRING) : std::string();
    }
    hasOuterPivot = !pivotFieldName.empty();
    if (!hasOuterPivot) {
        unpivotedList = &runDataLists[0];
    }

    if (count == 0) {
        return configurationError(logger, "\"detail\" has no \"eventConfigs\": a state plot needs at least one",
                                  "%p Configuration Error: Event configuration is missing 'eventConfigs'.", this);
    }
    kestrel::JSOM events = detail["events"];
    for (int i = 0; i < count; ++i) {
        if (!_configureEvent(fields, events, configs[i], i)) {
            return false;
        }
    }
    if (eventDatas.empty()) {
        // Every configuration is optional, and the database lacks all their trace points.
        if (detail["optional"].booleanValue(false)) {
            logger->infof("%p Channel [%s] left out: the event database has none of its trace points", this,
                          channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str());
            leftOut = true;
            return false;
        }
        return configurationError(logger,
                                  "the event database has none of the trace points of its optional event "
                                  "configurations",
                                  "%p Configuration Error: No event configuration applies.", this);
    }
    return true;
}

bool StatePlotAlgorithm::_configureEvent(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& events,
                                         kestrel::JSOM config, int position) {
    long long index = config["eventIndex"].longValue(-1);
    int eventCount = events.isArray() ? events.size() : 0;
    const std::string which = "event configuration " + std::to_string(position + 1);
    if (index < 0 || index >= eventCount) {
        return configurationError(
            logger,
            which + " has no \"eventIndex\" that points into \"events\" (" + std::to_string(eventCount) + " entries)",
            "%p Configuration Error: Event configuration %d has bad 'eventIndex'.", this, position);
    }
    int idx = static_cast<int>(index);
    const char* eventName = events[idx].stringValuePtr(nullptr);
    if (eventName == nullptr) {
        return configurationError(logger, "\"events\" entry " + std::to_string(idx) + " is not a trace point name",
                                  "%p Configuration Error: Cannot read event name for eventIndex %d.", this, idx);
    }
    int eventId = fields.getEventID(eventName);
    if (eventId == -1) {
        if (config["optional"].booleanValue(false)) {
            // A recording holds some of the trace points that mean the same (sched_waking or sched_wakeup).
            logger->debugf("%p %s of %s left out: the event database has no such trace point", this, which.c_str(),
                           eventName);
            return true;
        }
        if (channel["detail"]["optional"].booleanValue(false)) {
            logger->infof("%p Channel [%s] left out: the event database has no trace point %s", this,
                          channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str(), eventName);
            leftOut = true;
            return false;
        }
        return configurationError(logger, std::string("the event database has no trace point ") + eventName,
                                  "%p Configuration Error: Cannot find event [%s] in the store.", this, eventName);
    }
    if (std::find(eventIds.begin(), eventIds.end(), eventId) == eventIds.end()) {
        eventIds.push_back(eventId);
    }
    EventData* eventData = new EventData(eventId, eventName);
    eventDatas.push_back(eventData);
    eventData->continueWalk = config["continue"].booleanValue(false);

    if (!_configureState(fields, config, *eventData, which, idx)) {
        return false;
    }

    // Magnitude and inner pivot: switched on by the configuration of event index 0 that has the member (whatever
    // its value, so that a value that is no field name is reported), then required.
    if (idx == 0 && config["magnitudeField"].isResolved()) {
        hasMagnitude = true;
    }
    if (hasMagnitude && !_createOptionalField(fields, config, "magnitudeField", *eventData, idx,
                                              eventData->magnitudeField, magnitudeInfo)) {
        return false;
    }
    if (idx == 0 && config["innerPivotField"].isResolved()) {
        hasInnerPivot = true;
    }
    if (hasInnerPivot && !_createOptionalField(fields, config, "innerPivotField", *eventData, idx,
                                               eventData->innerPivotField, innerPivotInfo)) {
        return false;
    }

    if (hasOuterPivot && !_configureOuterPivot(fields, config, *eventData, which)) {
        return false;
    }

    // Filter: compile the formula, then create the readers of its variables.
    const char* formula = config["filterFormula"].stringValuePtr(nullptr);
    if (formula == nullptr || formula[0] == '\0') {
        return true;
    }
    std::vector<std::string> tokens;
    tokenizeString(tokens, formula);
    logger->debugf("%p assigning function '%s' args=%d", this, formula, static_cast<int>(tokens.size()));
    int code = eventData->filter.compile(formula, tokens);
    if (code != kestrel::PostfixErrors::OK) {
        const char* message = kestrel::PostfixErrors::getMessage(static_cast<kestrel::PostfixErrors::Code>(code));
        return configurationError(logger,
                                  which + ": the filter formula \"" + formula + "\" does not compile: " + message,
                                  "%p Filter assignment error: %s", this, message);
    }
    kestrel::JSOM filterFields = config["filterFields"];
    int filterCount = filterFields.isArray() ? filterFields.size() : 0;
    for (int k = 0; k < filterCount; ++k) {
        const char* fieldName = filterFields[k].stringValuePtr(nullptr);
        if (fieldName == nullptr) {
            fieldName = "";
        }
        logger->debugf("%p preparing %s trace point field %s '%s'", this, "filterFields", eventName, fieldName);
        perfevents::NumericTracePointField* reader =
            fieldName[0] == '\0' ? nullptr : _createField(fields, *eventData, fieldName);
        if (reader == nullptr) {
            return configurationError(
                logger, which + ": \"filterFields\": " + fields.whyNotNumeric(eventName, fieldName),
                "%p Configuration Error: Cannot find field [%s:%s] in the store.", this, eventName, fieldName);
        }
        eventData->filter.addField(reader);
    }
    return true;
}

bool StatePlotAlgorithm::_configureState(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config,
                                         EventData& eventData, const std::string& which, int idx) {
    const char* eventName = eventData.eventName.c_str();
    kestrel::JSOM constant = config["stateValue"];
    const char* stateName = config["stateField"].stringValuePtr(nullptr);
    if (constant.isResolved()) {
        // A state no field holds: Running, Runnable, "in an IRQ".
        const long long value = constant.longValue(0);
        if (stateName != nullptr || !constant.isNumber() || value < INT32_MIN || value > INT32_MAX) {
            return configurationError(logger,
                                      which + (stateName != nullptr
                                                   ? " has both \"stateField\" and \"stateValue\""
                                                   : " has a \"stateValue\" that is no 32-bit whole number"),
                                      "%p Configuration Error: Bad stateValue on event #%d.", this, idx);
        }
        eventData.stateValue = static_cast<int32_t>(value);
        constantStates = true;
        return true;
    }
    if (stateName == nullptr) {
        return configurationError(logger, which + " has no \"stateField\"",
                                  "%p Configuration Error: Cannot read stateField on event #%d.", this, idx);
    }
    logger->debugf("%p preparing %s trace point field %s '%s'", this, "stateField", eventName, stateName);
    perfevents::TracePointFieldStore::ValueKind kind = perfevents::TracePointFieldStore::VALUE_SIGNED;
    std::string declared, why;
    eventData.fieldNames.push_back(stateName);
    eventData.stateField = fields.createValueField(eventName, stateName, *stateTexts, kind, declared, why);
    if (eventData.stateField == nullptr) {
        return configurationError(logger, "\"stateField\": " + why,
                                  "%p Configuration Error: Cannot find stateField [%s:%s] in the store.", this,
                                  eventName, stateName);
    }
    textState = textState || kind == perfevents::TracePointFieldStore::VALUE_TEXT;
    stateInfo.fieldNames.insert(stateName);
    return true;
}

bool StatePlotAlgorithm::_configureOuterPivot(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config,
                                              EventData& eventData, const std::string& which) {
    const char* eventName = eventData.eventName.c_str();
    const std::string own = config["pivotField"].stringValue(kestrel::JSOM::EMPTY_STRING);
    const std::string field = own.empty() ? channelPivotField : own;
    if (field.empty()) {
        return configurationError(logger, which + " has no \"pivotField\", and the channel has none either",
                                  "%p Configuration Error: No outer pivot field on event %s.", this, eventName);
    }
    logger->debugf("%p preparing %s trace point field %s '%s'", this, "pivotField", eventName, field.c_str());
    perfevents::TracePointFieldStore::ValueKind kind = perfevents::TracePointFieldStore::VALUE_SIGNED;
    std::string declared, why;
    eventData.fieldNames.push_back(field);
    eventData.outerPivotField =
        fields.createValueField(eventName, field.c_str(), pivotNaming.getTexts(), kind, declared, why);
    if (eventData.outerPivotField == nullptr) {
        return configurationError(logger, "\"pivotField\": " + why,
                                  "%p Configuration Error: Cannot find outer pivot field [%s:%s] in the store.", this,
                                  eventName, field.c_str());
    }
    const std::string problem =
        pivotNaming.configure(channel["detail"]["pivotNames"].stringValue(kestrel::JSOM::EMPTY_STRING), field, kind);
    if (!problem.empty()) {
        return configurationError(logger, problem, "%p Configuration Error: Bad pivotNames for [%s:%s].", this,
                                  eventName, field.c_str());
    }
    return true;
}

bool StatePlotAlgorithm::_createOptionalField(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config,
                                              const char* key, EventData& eventData, int eventIndex,
                                              perfevents::NumericTracePointField*& reader, FieldInfo& info) {
    const char* eventName = eventData.eventName.c_str();
    const char* fieldName = config[key].stringValuePtr(nullptr);
    if (fieldName == nullptr) {
        return configurationError(logger,
                                  std::string("the event configuration of \"eventIndex\" ") +
                                      std::to_string(eventIndex) + " has no \"" + key +
                                      "\", which the first configuration switched on",
                                  "%p Configuration Error: Cannot read %s on event #%d.", this, key, eventIndex);
    }
    logger->debugf("%p preparing %s trace point field %s '%s'", this, key, eventName, fieldName);
    std::string why;
    if (&info == &innerPivotInfo) {
        // A subplot key may be a text or an unsigned number, as an outer pivot may.
        perfevents::TracePointFieldStore::ValueKind kind = perfevents::TracePointFieldStore::VALUE_SIGNED;
        std::string declared;
        eventData.fieldNames.push_back(fieldName);
        reader = fields.createValueField(eventName, fieldName, *innerPivotTexts, kind, declared, why);
        textInnerPivot = textInnerPivot || kind == perfevents::TracePointFieldStore::VALUE_TEXT;
        unsignedInnerPivot = unsignedInnerPivot || kind == perfevents::TracePointFieldStore::VALUE_UNSIGNED ||
                             kind == perfevents::TracePointFieldStore::VALUE_ADDRESS;
    } else {
        reader = _createField(fields, eventData, fieldName);
        why = reader == nullptr ? fields.whyNotNumeric(eventName, fieldName) : std::string();
    }
    if (reader == nullptr) {
        return configurationError(logger, std::string("\"") + key + "\": " + why,
                                  "%p Configuration Error: Cannot find %s [%s:%s] in the store.", this, key, eventName,
                                  fieldName);
    }
    info.fieldNames.insert(fieldName);
    return true;
}

void StatePlotAlgorithm::_makeDictionaries() {
    // Names of state values given by the channel, and the texts of a text state field, as the dictionary the state
    // column refers to; it extends the dictionary the column's field has (the thread names of next_pid).
    kestrel::JSOM stateNames = channel["detail"]["stateNames"];
    std::map<long long, std::string> names;
    const int count = stateNames.isObject() ? stateNames.size() : 0;
    for (int i = 0; i < count; ++i) {
        const std::string* key = stateNames.key(i);
        char* end = nullptr;
        const long long value = key != nullptr ? std::strtoll(key->c_str(), &end, 10) : 0;
        if (key == nullptr || key->empty() || *end != '\0') {
            notes.push_back("\"stateNames\" has the key \"" + (key != nullptr ? *key : std::string()) +
                            "\", which is no whole number: it names nothing");
            continue;
        }
        names[value] = stateNames[*key].stringValue(kestrel::JSOM::EMPTY_STRING);
    }
    const std::string id = channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING);
    const std::string prefix = id.empty() ? std::string("stateplot") : id;
    if (!names.empty() || textState) {
        const std::string name = ValueDictionary::uniqueName(prefix + " " + stateInfo.name);
        kestrel::Singleton<SeriesDataSet>::Instance().add(
            new ValueDictionary(name, names, textState ? stateTexts : nullptr, stateInfo.dictionary));
        stateInfo.dictionary = name;
    }
    if (textInnerPivot) {
        const std::string name = ValueDictionary::uniqueName(prefix + " " + innerPivotInfo.name);
        kestrel::Singleton<SeriesDataSet>::Instance().add(
            new ValueDictionary(name, std::map<long long, std::string>(), innerPivotTexts, std::string()));
        innerPivotInfo.dictionary = name;
    }
}

void StatePlotAlgorithm::_nameColumns() {
    std::set<std::string> usedNames;
    bool stateDefault = stateInfo.setup("state", usedNames);
    if (constantStates) {
        // Running or Runnable beside the prev_state of a switch: named as a state, not as the field.
        stateInfo.name = "state";
        stateInfo.description = "state";
        stateInfo.dictionary.clear();
        stateDefault = true;
    }
    usedNames.insert(stateInfo.name);
    bool magnitudeDefault = magnitudeInfo.setup("magnitude", usedNames);
    usedNames.insert(magnitudeInfo.name);
    bool innerPivotDefault = innerPivotInfo.setup("inner_pivot", usedNames);
    usesDefaultColumns = stateDefault || magnitudeDefault || innerPivotDefault;
}

void StatePlotAlgorithm::tokenizeString(std::vector<std::string>& tokens, const char* text) {
    tokens.clear();
    if (text == nullptr) {
        return;
    }
    logger->tracef("%p: tokenizeString('%s')", this, text);
    SampleFilter::split(text, tokens);
    for (const std::string& token : tokens) {
        logger->tracef("%p: tokenizeString: new token '%s'", this, token.c_str());
    }
}

void StatePlotAlgorithm::_noteUnreachableConfigurations() {
    for (std::size_t i = 0; i < eventDatas.size(); ++i) {
        const EventData& entry = *eventDatas[i];
        const std::string which = "event configuration " + std::to_string(i + 1) + " (" + entry.eventName + ")";
        if (entry.filter.isNeverEvaluated()) {
            notes.push_back(which + " has a \"filterFormula\" but no \"filterFields\": the formula is never "
                                    "evaluated and every sample passes");
        }
        // An earlier configuration of the same trace point that takes every sample leaves none for this one.
        for (std::size_t j = 0; j < i; ++j) {
            if (eventDatas[j]->eventId == entry.eventId && eventDatas[j]->filter.passesAll() &&
                !eventDatas[j]->continueWalk) {
                notes.push_back(which + " never receives a sample: event configuration " + std::to_string(j + 1) +
                                " of the same trace point has no filter and takes every sample");
                break;
            }
        }
    }
}

std::vector<TracePointAlgorithm::FieldUse> StatePlotAlgorithm::getFieldUses() const {
    std::vector<FieldUse> uses;
    for (const EventData* entry : eventDatas) {
        for (const std::string& field : entry->fieldNames) {
            uses.push_back(FieldUse{entry->eventName, field});
        }
    }
    return uses;
}

std::vector<std::string> StatePlotAlgorithm::getProblems() const {
    std::vector<std::string> problems;
    if (!offReason.empty()) {
        problems.push_back(offReason);
    }
    problems.insert(problems.end(), notes.begin(), notes.end());
    unsigned long long divisions = 0;
    for (const EventData* entry : eventDatas) {
        divisions += entry->filter.getDivisionsByZero();
    }
    if (divisions > 0) {
        problems.push_back(std::to_string(divisions) + " samples were rejected because the filter formula divided by "
                                                       "zero");
    }
    if (statesCut > 0) {
        problems.push_back(std::to_string(statesCut) + " state values did not fit in 32 bits and were cut to their "
                                                       "low 32 bits");
    }
    return problems;
}

// ---------------------------------------------------------------------------------------------------------------
// Event processing

void StatePlotAlgorithm::onTracePointEvent(int eventId, double time,
                                           const perfevents::PerfEventDataSampleAncillary& ancillary,
                                           const unsigned char* data) {
    if (!configured || std::find(eventIds.begin(), eventIds.end(), eventId) == eventIds.end()) {
        return;
    }
    // The configurations of the trace point in order: the first whose filter accepts the sample adds its point,
    // and with "continue" the walk goes on to the later ones.
    for (EventData* entry : eventDatas) {
        if (entry->eventId != eventId) {
            continue;
        }
        int code = kestrel::PostfixErrors::OK;
        const SampleFilter::Outcome outcome = entry->filter.evaluate(ancillary, data, code, logger, this);
        if (outcome == SampleFilter::REJECT) {
            continue;
        }
        if (outcome != SampleFilter::PASS) {
            const char* message = kestrel::PostfixErrors::getMessage(static_cast<kestrel::PostfixErrors::Code>(code));
            logger->errorf("%p Filter execution error: %s", this, message);
            if (outcome == SampleFilter::DIVISION_BY_ZERO) {
                continue;
            }
            // Any other failure means the formula cannot work on these samples at all: stop for good.
            configured = false;
            offReason = "switched off after " + std::to_string(acceptedSamples) + " points: the filter formula \"" +
                        entry->filter.getFormula() + "\" fails: " + message + "; nothing is written";
            return;
        }
        _addPoint(*entry, time, ancillary, data);
        if (!entry->continueWalk) {
            return;
        }
    }
}

void StatePlotAlgorithm::_addPoint(const EventData& entry, double time,
                                   const perfevents::PerfEventDataSampleAncillary& ancillary,
                                   const unsigned char* data) {
    RunData run;
    run.time = time;
    // The state column holds 32 bits; a value of a wider field that does not fit is cut to its low 32 bits, and
    // counted.
    if (entry.stateField != nullptr) {
        const int64_t state = entry.stateField->getInt64(ancillary, data);
        run.state = static_cast<int32_t>(state);
        if (state < INT32_MIN || state > static_cast<int64_t>(UINT32_MAX)) {
            ++statesCut;
        }
    } else {
        run.state = entry.stateValue;
    }
    ++acceptedSamples;

    RunDataList* list = unpivotedList;
    if (hasOuterPivot) {
        const long long key = entry.outerPivotField->getInt64(ancillary, data);
        if (lastList == nullptr || key != lastKey) {
            lastList = &runDataLists[key];
            lastKey = key;
        }
        list = lastList;
    }
    if (run.time < list->lastTime) {
        list->unsorted = true;
    }
    list->lastTime = run.time;
    list->runs.push_back(run);
    if (hasInnerPivot || hasMagnitude) {
        // A configuration listed before the one that switched a column on may have no reader for it: it carries 0.
        RunExtra extra;
        extra.innerPivot =
            hasInnerPivot && entry.innerPivotField != nullptr ? entry.innerPivotField->getInt64(ancillary, data) : 0;
        extra.magnitude =
            hasMagnitude && entry.magnitudeField != nullptr ? entry.magnitudeField->getDouble(ancillary, data) : 0.0;
        list->extras.push_back(extra);
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Output

bool StatePlotAlgorithm::onClose(kestrel::JsomWriter& writer, double clockOrigin) {
    if (!configured) {
        return false;
    }
    kestrel::JSOM detail = channel["detail"];
    const std::string labelPrefix = PivotNaming::labelPrefix(detail);
    for (auto& entry : pivotNaming.order(runDataLists)) {
        _writeSeries(writer, clockOrigin, entry->first, entry->second, labelPrefix);
    }
    return !runDataLists.empty();
}

void StatePlotAlgorithm::_writeSeries(kestrel::JsomWriter& writer, double clockOrigin, long long key, RunDataList& list,
                                      const std::string& labelPrefix) {
    if (list.unsorted && !list.runs.empty()) {
        list.sort();
    }
    writer.startObject();
    _writeLabel(writer, key, labelPrefix);
    if (hasOuterPivot) {
        writeLabel(writer, "pivot");
        writer.startObject();
        writeLabel(writer, pivotFieldName);
        pivotNaming.writeKey(writer, key);
        writer.endObject();
    }
    _writeColumnDictionary(writer);

    kestrel::JSOM detail = channel["detail"];
    const std::string& group = detail["group"].stringValue(kestrel::JSOM::EMPTY_STRING);
    if (!group.empty()) {
        writeLabel(writer, "group");
        writeString(writer, group);
    }
    writeLabel(writer, "endState");
    writer.appendLong(detail["endState"].longValue(0));

    _writeInfo(writer, key);

    kestrel::JSOM hints = channel["hints"];
    if (hints.isObject()) {
        hints.erase("empty");
        writeLabel(writer, "hints");
        writeJson(writer, hints);
    }

    writeLabel(writer, "time");
    writer.appendDouble(clockOrigin, 6);
    writeLabel(writer, "type");
    const char* type =
        hasInnerPivot ? (hasMagnitude ? "state-key-value" : "state-key") : (hasMagnitude ? "state-value" : "state");
    writer.appendString(type, false);

    writeLabel(writer, "data");
    writer.startArray();
    // One row per point, written either to the writer or, ahead of it and possibly on its worker thread, to a row
    // text: the points are only read until the array is complete.
    const std::size_t extraCount = list.extras.size();
    auto writeRow = [this](auto& sink, const RunData& run, const RunExtra* extra) {
        sink.startArray();
        sink.appendDouble(run.time, 6);
        sink.appendLong(run.state);
        if (extra != nullptr) {
            if (hasInnerPivot && unsignedInnerPivot) {
                sink.appendUnsignedLong(static_cast<unsigned long long>(extra->innerPivot));
            } else if (hasInnerPivot) {
                sink.appendLong(extra->innerPivot);
            }
            if (hasMagnitude) {
                sink.appendDouble(extra->magnitude, 1);
            }
        }
        sink.endArray();
    };
    writer.appendElements(
        list.runs.size(),
        [&](std::size_t begin, std::size_t end, kestrel::RowText& text) {
            auto run = list.runs.cbegin() + static_cast<std::ptrdiff_t>(begin);
            auto extra = list.extras.cbegin() + static_cast<std::ptrdiff_t>(begin < extraCount ? begin : extraCount);
            for (std::size_t i = begin; i < end; ++i, ++run) {
                if (i < extraCount) {
                    writeRow(text, *run, &*extra);
                    ++extra;
                } else {
                    writeRow(text, *run, nullptr);
                }
            }
        },
        [&](std::size_t i) { writeRow(writer, list.runs[i], i < extraCount ? &list.extras[i] : nullptr); });
    list.clear();
    writer.endArray();
    writer.endObject();
}

void StatePlotAlgorithm::_writeLabel(kestrel::JsomWriter& writer, long long key, const std::string& labelPrefix) {
    writeLabel(writer, "label");
    if (!hasOuterPivot) {
        writeString(writer, channel["name"].stringValue(kestrel::JSOM::EMPTY_STRING));
        return;
    }
    writeString(writer, pivotNaming.label(labelPrefix, key, LABEL_LIMIT));
}

void StatePlotAlgorithm::_writeColumnDictionary(kestrel::JsomWriter& writer) {
    writeLabel(writer, "columnDictionary");
    writer.startObject();
    writeLabel(writer, "type");
    writer.appendString("map", false);
    if (usesDefaultColumns) {
        writeLabel(writer, "extends");
        writeDictionaryReference(writer, "statePlotColumns");
    }
    writeLabel(writer, "map");
    writer.startObject();
    stateInfo.printColumnDictionaryEntry(writer, 1);
    if (hasInnerPivot) {
        innerPivotInfo.printColumnDictionaryEntry(writer, 2);
    }
    if (hasMagnitude) {
        magnitudeInfo.printColumnDictionaryEntry(writer, hasInnerPivot ? 3 : 2);
    }
    writer.endObject();
    writer.endObject();
}

void StatePlotAlgorithm::_writeInfo(kestrel::JsomWriter& writer, long long key) {
    kestrel::JSOM info = channel["info"];
    if (hasOuterPivot && pivotNaming.isUnsigned() && key < 0) {
        info[pivotFieldName].setString(std::to_string(static_cast<unsigned long long>(key)));
    } else if (hasOuterPivot) {
        info[pivotFieldName].setLong(key);
    }
    info["State"].setString(stateInfo.description);
    if (hasMagnitude) {
        info["Y-Axis"].setString(magnitudeInfo.description);
    }
    if (hasInnerPivot) {
        info["Subplot"].setString(innerPivotInfo.description);
    }
    std::string traceEvents;
    kestrel::JSOM events = channel["detail"]["events"];
    int eventCount = events.isArray() ? events.size() : 0;
    bool first = true;
    for (int i = 0; i < eventCount; ++i) {
        kestrel::JSOM event = events[i];
        if (!event.isString()) {
            continue;
        }
        if (!first) {
            traceEvents += ", ";
        }
        traceEvents += event.stringValue(kestrel::JSOM::EMPTY_STRING);
        first = false;
    }
    info["Trace Events"].setString(traceEvents);
    writeLabel(writer, "info");
    writeJson(writer, info);
}
