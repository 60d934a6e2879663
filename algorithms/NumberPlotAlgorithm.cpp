#include "algorithms/NumberPlotAlgorithm.h"

#include "kestrel/JsomWriter.h"
#include "kestrel/Logger.h"
#include "kestrel/PostfixErrors.h"
#include "kestrel/RowText.h"
#include "perfevents/NumericTracePointField.h"
#include "perfevents/TracePointFieldStore.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

kestrel::Logger* NumberPlotAlgorithm::logger = nullptr;

NumberPlotAlgorithm::NumberPlotAlgorithm(const kestrel::JSOM& channel, const perfevents::TracePointFieldStore& fields)
    : channel(channel) {
    if (logger == nullptr) {
        logger = kestrel::Logger::getLogger("NumberPlotAlgorithm");
    }
    configured = _configure(fields);
}

NumberPlotAlgorithm::~NumberPlotAlgorithm() {
    delete valueField;
    delete pivotField;
}

perfevents::NumericTracePointField* NumberPlotAlgorithm::_createField(const perfevents::TracePointFieldStore& fields,
                                                                      const char* fieldName) {
    fieldNames.push_back(fieldName);
    return fields.createNumericField(eventName.c_str(), fieldName);
}

bool NumberPlotAlgorithm::_configure(const perfevents::TracePointFieldStore& fields) {
    kestrel::JSOM detail = channel["detail"];
    const char* event = detail["events"][0].stringValuePtr(nullptr);
    if (event == nullptr) {
        return configurationError(logger, "\"detail\" \"events\" does not start with a trace point name",
                                  "%p Configuration Error: Cannot read event name.", this);
    }
    eventName = event;
    const char* value = detail["valueField"].stringValuePtr(nullptr);
    if (value == nullptr) {
        return configurationError(logger, "\"detail\" has no \"valueField\"",
                                  "%p Configuration Error: Cannot read event value field.", this);
    }
    valueFieldName = value;
    const char* pivot = detail["pivotField"].stringValuePtr(nullptr);
    if (pivot != nullptr) {
        pivotFieldName = pivot;
    }

    eventId = fields.getEventID(eventName.c_str());
    if (eventId == -1 && detail["optional"].booleanValue(false)) {
        logger->infof("%p Channel [%s] left out: the event database has no trace point %s", this,
                      channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str(), eventName.c_str());
        leftOut = true;
        return false;
    }
    if (eventId == -1) {
        return configurationError(logger, "the event database has no trace point " + eventName,
                                  "%p Configuration Error: Cannot find event [%s] in the store.", this,
                                  eventName.c_str());
    }
    // Numbers and pointers are plotted; a text has no value to plot (a state plot shows it).
    typedef perfevents::TracePointFieldStore S;
    S::ValueKind kind = S::VALUE_SIGNED;
    std::string declared, why;
    fieldNames.push_back(valueFieldName);
    valueField = fields.createValueField(eventName.c_str(), value, unusedTexts, kind, declared, why);
    if (valueField != nullptr && kind == S::VALUE_TEXT) {
        delete valueField;
        valueField = nullptr;
        why = "field \"" + valueFieldName + "\" of " + eventName + " is a text: a state plot shows texts";
    }
    if (valueField == nullptr) {
        return configurationError(logger, "\"valueField\": " + why,
                                  "%p Configuration Error: Cannot find field [%s:%s] in the store.", this,
                                  eventName.c_str(), valueFieldName.c_str());
    }
    unsignedValues = kind == S::VALUE_UNSIGNED || kind == S::VALUE_ADDRESS;
    if (!pivotFieldName.empty()) {
        fieldNames.push_back(pivotFieldName);
        pivotField = fields.createValueField(eventName.c_str(), pivot, pivotNaming.getTexts(), kind, declared, why);
        if (pivotField == nullptr) {
            return configurationError(logger, "\"pivotField\": " + why,
                                      "%p Configuration Error: Cannot find pivot field [%s:%s] in the store.", this,
                                      eventName.c_str(), pivotFieldName.c_str());
        }
        const std::string problem =
            pivotNaming.configure(detail["pivotNames"].stringValue(kestrel::JSOM::EMPTY_STRING), pivotFieldName, kind);
        if (!problem.empty()) {
            return configurationError(logger, problem, "%p Configuration Error: Bad pivotNames for [%s:%s].", this,
                                      eventName.c_str(), pivotFieldName.c_str());
        }
    } else {
        unpivotedList = &runDataLists[0];
    }
    return _configureFilter(fields);
}

bool NumberPlotAlgorithm::_configureFilter(const perfevents::TracePointFieldStore& fields) {
    // The same filter as an event configuration of a state plot: a formula over the values of filter fields.
    kestrel::JSOM detail = channel["detail"];
    const char* formula = detail["filterFormula"].stringValuePtr(nullptr);
    if (formula == nullptr || formula[0] == '\0') {
        return true;
    }
    std::vector<std::string> tokens;
    SampleFilter::split(formula, tokens);
    const int code = filter.compile(formula, tokens);
    if (code != kestrel::PostfixErrors::OK) {
        const char* message = kestrel::PostfixErrors::getMessage(static_cast<kestrel::PostfixErrors::Code>(code));
        return configurationError(logger,
                                  std::string("the filter formula \"") + formula + "\" does not compile: " + message,
                                  "%p Filter assignment error: %s", this, message);
    }
    kestrel::JSOM filterFields = detail["filterFields"];
    const int count = filterFields.isArray() ? filterFields.size() : 0;
    for (int k = 0; k < count; ++k) {
        const char* fieldName = filterFields[k].stringValuePtr("");
        perfevents::NumericTracePointField* reader = fieldName[0] == '\0' ? nullptr : _createField(fields, fieldName);
        if (reader == nullptr) {
            return configurationError(logger, "\"filterFields\": " + fields.whyNotNumeric(eventName.c_str(), fieldName),
                                      "%p Configuration Error: Cannot find field [%s:%s] in the store.", this,
                                      eventName.c_str(), fieldName);
        }
        filter.addField(reader);
    }
    return true;
}

std::vector<TracePointAlgorithm::FieldUse> NumberPlotAlgorithm::getFieldUses() const {
    std::vector<FieldUse> uses;
    for (const std::string& field : fieldNames) {
        uses.push_back(FieldUse{eventName, field});
    }
    return uses;
}

std::vector<std::string> NumberPlotAlgorithm::getProblems() const {
    std::vector<std::string> problems;
    if (!offReason.empty()) {
        problems.push_back(offReason);
    }
    if (filter.isNeverEvaluated()) {
        problems.push_back("\"filterFormula\" is given without \"filterFields\": the formula is never evaluated "
                           "and every sample passes");
    }
    if (filter.getDivisionsByZero() > 0) {
        problems.push_back(std::to_string(filter.getDivisionsByZero()) +
                           " samples were rejected because the filter formula divided by zero");
    }
    return problems;
}

NumberPlotAlgorithm::RunDataList& NumberPlotAlgorithm::_listFor(long long key) {
    if (lastList == nullptr || key != lastKey) {
        lastList = &runDataLists[key];
        lastKey = key;
    }
    return *lastList;
}

void NumberPlotAlgorithm::onTracePointEvent(int id, double time,
                                            const perfevents::PerfEventDataSampleAncillary& ancillary,
                                            const unsigned char* data) {
    if (!configured || id != eventId) {
        return;
    }
    if (!filter.passesAll()) {
        int code = kestrel::PostfixErrors::OK;
        const SampleFilter::Outcome outcome = filter.evaluate(ancillary, data, code, logger, this);
        if (outcome != SampleFilter::PASS) {
            if (outcome != SampleFilter::REJECT) {
                const char* message =
                    kestrel::PostfixErrors::getMessage(static_cast<kestrel::PostfixErrors::Code>(code));
                logger->errorf("%p Filter execution error: %s", this, message);
                if (outcome == SampleFilter::FAILURE) {
                    configured = false;
                    offReason = "switched off after " + std::to_string(points) + " points: the filter formula \"" +
                                filter.getFormula() + "\" fails: " + message + "; nothing is written";
                }
            }
            return;
        }
    }
    ++points;
    const long long value = valueField->getInt64(ancillary, data);
    RunDataList& list = unpivotedList != nullptr ? *unpivotedList : _listFor(pivotField->getInt64(ancillary, data));
    if (time < list.lastTime) {
        list.unsorted = true;
    }
    list.lastTime = time;
    list.runs.push_back(RunData{time, value});
}

bool NumberPlotAlgorithm::onClose(kestrel::JsomWriter& writer, double clockOrigin) {
    if (!configured) {
        return false;
    }
    kestrel::JSOM detail = channel["detail"];
    const std::string prefix = PivotNaming::labelPrefix(detail);
    for (auto& entry : pivotNaming.order(runDataLists)) {
        _writeSeries(writer, clockOrigin, entry->first, entry->second, prefix);
    }
    return !runDataLists.empty();
}

namespace {

// Orders by time like RunDataList::isLessThan, with points whose time is not a number placed last, so that the
// sort always sees a strict weak ordering.
bool timeOrder(const NumberPlotAlgorithm::RunData& a, const NumberPlotAlgorithm::RunData& b) {
    if (std::isnan(a.time)) {
        return false;
    }
    return std::isnan(b.time) || NumberPlotAlgorithm::RunDataList::isLessThan(a, b);
}

} // namespace

void NumberPlotAlgorithm::_writeSeries(kestrel::JsomWriter& writer, double clockOrigin, long long key,
                                       RunDataList& list, const std::string& labelPrefix) {
    if (list.unsorted && !list.runs.empty()) {
        // Through a lambda rather than the function's address, so that the comparison is inlined.
        std::sort(list.runs.begin(), list.runs.end(),
                  [](const RunData& a, const RunData& b) { return timeOrder(a, b); });
    }

    writer.startObject();

    writer.appendLabel("label", true);
    if (pivotField == nullptr) {
        writer.appendString(channel["name"].stringValue(kestrel::JSOM::EMPTY_STRING), false);
    } else {
        // Labels keep at most 126 characters.
        writer.appendString(pivotNaming.label(labelPrefix, key, 126), false);

        writer.appendLabel("pivot", true);
        writer.startObject();
        writer.appendLabel(pivotFieldName.c_str(), true);
        pivotNaming.writeKey(writer, key);
        writer.endObject();
    }

    writer.appendLabel("columnDictionary", true);
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString(std::string("map"), false);
    writer.appendLabel("map", true);
    writer.startObject();
    writer.appendLabel(valueFieldName.c_str(), true);
    writer.startObject();
    writer.appendLabel("column", true);
    writer.appendLong(1);
    writer.appendLabel("description", true);
    writer.appendString("Field " + valueFieldName + " from trace event " + eventName, false);
    writer.endObject();
    writer.endObject();
    writer.endObject();

    writer.appendLabel("group", true);
    writer.appendString(channel["detail"]["group"].stringValue(kestrel::JSOM::EMPTY_STRING), false);

    // The members are set in the stored channel, so each series overwrites the pivot value of the one before.
    kestrel::JSOM info = channel["info"];
    if (pivotField != nullptr && pivotNaming.isUnsigned() && key < 0) {
        info[pivotFieldName].setString(std::to_string(static_cast<unsigned long long>(key)));
    } else if (pivotField != nullptr) {
        info[pivotFieldName].setLong(key);
    }
    info["Trace Event"].setString(eventName);
    info["Trace Field"].setString(valueFieldName);
    std::string text;
    info.toCompactString(text, kestrel::JSOM::defaultPrecision);
    writer.appendLabel("info", true);
    writer.appendJsonValue(text.c_str(), static_cast<int>(text.size()));

    kestrel::JSOM hints = channel["hints"];
    if (hints.isObject()) {
        hints.erase("empty");
        text.clear();
        hints.toCompactString(text, kestrel::JSOM::defaultPrecision);
        writer.appendLabel("hints", true);
        writer.appendJsonValue(text.c_str(), static_cast<int>(text.size()));
    }

    writer.appendLabel("time", true);
    writer.appendDouble(clockOrigin, 6);
    writer.appendLabel("type", true);
    writer.appendString(std::string("long"), false);

    writer.appendLabel("data", true);
    writer.startArray();
    // One row per point, written either to the writer or, ahead of it and possibly on its worker thread, to a row
    // text: the points are only read until the array is complete.
    const bool asUnsigned = unsignedValues;
    auto writeRow = [asUnsigned](auto& sink, const RunData& point) {
        sink.startArray();
        sink.appendDouble(point.time, 6);
        if (asUnsigned) {
            sink.appendUnsignedLong(static_cast<unsigned long long>(point.value));
        } else {
            sink.appendLong(point.value);
        }
        sink.endArray();
    };
    writer.appendElements(
        list.runs.size(),
        [&](std::size_t begin, std::size_t end, kestrel::RowText& text) {
            auto point = list.runs.cbegin() + static_cast<std::ptrdiff_t>(begin);
            for (std::size_t i = begin; i < end; ++i, ++point) {
                writeRow(text, *point);
            }
        },
        [&](std::size_t i) { writeRow(writer, list.runs[i]); });
    writer.endArray();

    writer.endObject();

    decltype(list.runs)().swap(list.runs);
}
