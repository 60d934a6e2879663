#include "app/PerfInputRunner.h"

#include "algorithms/TracePointAlgorithm.h"
#include "algorithms/TracePointAlgorithmStore.h"
#include "app/ProblemSummary.h"
#include "app/ProcessDictionary.h"
#include "app/ProgressLine.h"
#include "app/SeriesDataSet.h"
#include "eventdb/RecordingFormats.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Logger.h"
#include "kestrel/Singleton.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/AncillaryUint32TracePointField.h"
#include "perfevents/AncillaryUint64TracePointField.h"
#include "perfevents/NumericTracePointField.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataFork.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfOutputReaderFactory.h"
#include "perfevents/TracePointFieldStore.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <ios>
#include <iostream>
#include <set>
#include <string>

kestrel::Logger* PerfInputRunner::logger = nullptr;

namespace {

// The number of raw data bytes a field needs: its offset plus the width its reader reads, 0 for a field that is
// taken from the sample's ancillary values.
unsigned long long rawExtent(const perfevents::NumericTracePointField& field) {
    if (dynamic_cast<const perfevents::AncillaryUint32TracePointField*>(&field) != nullptr ||
        dynamic_cast<const perfevents::AncillaryUint64TracePointField*>(&field) != nullptr) {
        return 0;
    }
    const char* type = field.getTypeName();
    unsigned long long width = 8;
    if (strcmp(type, perfevents::TracePointField::CASTTYPE_INT8) == 0 ||
        strcmp(type, perfevents::TracePointField::CASTTYPE_UINT8) == 0) {
        width = 1;
    } else if (strcmp(type, perfevents::TracePointField::CASTTYPE_INT16) == 0 ||
               strcmp(type, perfevents::TracePointField::CASTTYPE_UINT16) == 0) {
        width = 2;
    } else if (strcmp(type, perfevents::TracePointField::CASTTYPE_INT32) == 0 ||
               strcmp(type, perfevents::TracePointField::CASTTYPE_UINT32) == 0) {
        width = 4;
    }
    return field.getOffset() + width;
}

// "[0.5 s, end)" or "[0.5 s, 1.5 s)", in clock seconds.
std::string seconds(double value) {
    char text[64];
    snprintf(text, sizeof(text), "%.6f s", value);
    return text;
}

} // namespace

PerfInputRunner::PerfInputRunner(kestrel::JSOM& channels, std::istream* input,
                                 const perfevents::TracePointFieldStore& fields, kestrel::TimeConverter* timeConverter,
                                 kestrel::JsomWriter* writer, ProblemSummary* problems, const std::string& inputName)
    : timeConverter(timeConverter), writer(writer), problems(problems), inputName(inputName) {
    _run(channels, nullptr, input, fields);
}

PerfInputRunner::PerfInputRunner(kestrel::JSOM& channels, perfevents::PerfOutputReader& reader,
                                 const perfevents::TracePointFieldStore& fields, kestrel::TimeConverter* timeConverter,
                                 kestrel::JsomWriter* writer, ProblemSummary* problems, const std::string& inputName)
    : timeConverter(timeConverter), writer(writer), problems(problems), inputName(inputName) {
    _run(channels, &reader, nullptr, fields);
}

PerfInputRunner::~PerfInputRunner() {
    for (TracePointAlgorithm* algorithm : algorithms) {
        delete algorithm;
    }
    delete commonTypeField;
}

void PerfInputRunner::_problem(const std::string& subject, const std::string& reason) {
    if (problems != nullptr) {
        problems->add(subject, reason);
    }
}

void PerfInputRunner::_channelProblem(const Channel& channel, const std::string& reason) {
    _problem(ProblemSummary::channelSubject(channel.entry, channel.index), reason);
}

std::string PerfInputRunner::_recordingSubject() const {
    return inputName.empty() ? std::string("recording") : "recording \"" + inputName + "\"";
}

void PerfInputRunner::_run(kestrel::JSOM& channels, perfevents::PerfOutputReader* reader, std::istream* input,
                           const perfevents::TracePointFieldStore& fields) {
    if (logger == nullptr) {
        logger = kestrel::Logger::getLogger("PerfInputRunner");
    }
    writer->startArray();
    commonTypeField = fields.createNumericField("common", "common_type");
    if (commonTypeField == nullptr) {
        logger->infof("%p Could not find common_type field in event database, aborting", this);
        _problem("event database", "it has no \"common\" field \"common_type\", so no sample can be told apart: "
                                   "nothing is converted");
        writer->endArray();
        return;
    }
    commonTypeExtent = rawExtent(*commonTypeField);
    if (!_createAlgorithms(channels, fields)) {
        writer->endArray();
        return;
    }
    kestrel::Singleton<SeriesDataSet>::Instance().add(&kestrel::Singleton<ProcessDictionary>::Instance());

    if (reader != nullptr) {
        _walk(*reader, fields);
        return;
    }
    try {
        // A perf.data file or a trace-cmd recording (trace.dat), told by its first byte.
        const std::unique_ptr<perfevents::PerfOutputReader> own = perfevents::PerfOutputReaderFactory::create(*input);
        _walk(*own, fields);
    } catch (const std::ios_base::failure& e) {
        // The reader has logged the problem itself; the driver closes the document.
        logger->debugf("%p An I/O exception occurred: %s", this, e.what());
        _problem(_recordingSubject(), std::string("cannot be read: ") + e.what());
    } catch (const std::exception& e) {
        // A file the reader cannot make sense of (for example an attribute too short to decode) ends the run
        // like an I/O error.
        logger->errorf("%p Cannot read the input: %s", this, e.what());
        _problem(_recordingSubject(), std::string("cannot be read: ") + e.what());
    }
    progress.reset();
    progressReader = nullptr;
}

bool PerfInputRunner::_createAlgorithms(kestrel::JSOM& channels, const perfevents::TracePointFieldStore& fields) {
    const int count = channels.isArray() ? channels.size() : 0;
    for (int i = 0; i < count; ++i) {
        kestrel::JSOM channel = channels[i];
        const Channel named{channel, i};
        if (!channel.isObject()) {
            _channelProblem(named, "not a JSON object; the channel is skipped");
            continue;
        }
        kestrel::JSOM detail = channel["detail"];
        if (!detail.isObject()) {
            _channelProblem(named, "no \"detail\" object; the channel is skipped");
            continue;
        }
        const std::string& type = detail["type"].stringValue(kestrel::JSOM::EMPTY_STRING);
        if (type != "varnel2") {
            _channelProblem(named, "\"detail\" \"type\" is " + (type.empty() ? "missing" : "\"" + type + "\"") +
                                       ", not \"varnel2\"; the channel is skipped");
            continue;
        }
        TracePointAlgorithm* algorithm = TracePointAlgorithmStore::createAlgorithm(channel, fields);
        if (algorithm == nullptr) {
            const std::string& name = detail["algorithm"].stringValue(kestrel::JSOM::EMPTY_STRING);
            logger->warnf("%p Could not load algorithm from channel [%s] %s, skipping...", this,
                          channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str(),
                          channel["name"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str());
            logger->warnf("%p Unknown algorithm \"%s\": the known ones are %s", this, name.c_str(),
                          TracePointAlgorithmStore::getAlgorithmNames().c_str());
            _channelProblem(
                named,
                (name.empty() ? std::string("no \"detail\" \"algorithm\"") : "unknown algorithm \"" + name + "\"") +
                    " (known: " + TracePointAlgorithmStore::getAlgorithmNames() + "); the channel is skipped");
            continue;
        }
        algorithms.push_back(algorithm);
        algorithmChannels.push_back(named);
    }
    if (algorithms.empty()) {
        logger->infof("%p No algorithms found, aborting", this);
        if (count > 0) { // a list that is no array has been reported by whoever read it
            _problem("channels", "no plot channel to convert: the output holds no series");
        }
        return false;
    }
    logger->debugf("%p Loaded %d algorithms", this, static_cast<int>(algorithms.size()));
    return true;
}

void PerfInputRunner::_walk(perfevents::PerfOutputReader& reader, const perfevents::TracePointFieldStore& fields) {
    _checkDatabase(reader, fields);
    if (ProgressLine::wanted()) {
        progress.reset(new ProgressLine(std::cerr));
        progressReader = &reader;
    }
    currentReader = &reader;
    // The problems are reported also when the walk ends early: whatever was read by then was delivered.
    struct Report {
        PerfInputRunner& runner;
        perfevents::PerfOutputReader& reader;
        ~Report() {
            runner._reportSkippedSamples(reader);
            runner._reportProblems(&reader);
            runner.currentReader = nullptr;
        }
    } report{*this, reader};
    reader.parseEvents(*this);
    progressReader = nullptr;
}

void PerfInputRunner::_checkDatabase(const perfevents::PerfOutputReader& reader,
                                     const perfevents::TracePointFieldStore& fields) {
    eventdb::RecordingFormats formats;
    if (!formats.read(reader)) {
        logger->debugf("%p The event database is not checked against the recording: %s", this,
                       formats.getProblem().c_str());
        return;
    }
    // Every trace point and field a channel reads, as the database describes it, against the recording's formats.
    for (std::size_t i = algorithms.size(); i-- > 0;) {
        std::string contradiction;
        std::set<std::string> events;
        for (const TracePointAlgorithm::FieldUse& use : algorithms[i]->getFieldUses()) {
            if (contradiction.empty() && events.insert(use.event).second) {
                contradiction = formats.contradictsEvent(fields, use.event);
            }
            if (contradiction.empty()) {
                contradiction = formats.contradictsField(fields, use.event, use.field);
            }
        }
        if (contradiction.empty()) {
            continue;
        }
        const Channel& channel = algorithmChannels[i];
        logger->errorf("%p The event database contradicts the recording: %s; channel [%s] %s is skipped", this,
                       contradiction.c_str(), channel.entry["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str(),
                       channel.entry["name"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str());
        _channelProblem(channel,
                        "the event database contradicts the recording: " + contradiction + "; the channel is skipped");
        _removeAlgorithm(i);
    }
}

void PerfInputRunner::_removeAlgorithm(std::size_t index) {
    delete algorithms[index];
    algorithms.erase(algorithms.begin() + static_cast<std::ptrdiff_t>(index));
    algorithmChannels.erase(algorithmChannels.begin() + static_cast<std::ptrdiff_t>(index));
}

void PerfInputRunner::onEventData(const perfevents::PerfEventData& record) {
    if (progress != nullptr && (++progressTick & 0xFFF) == 0) {
        _showProgress();
    }
    switch (record.getType()) {
    case perfevents::PerfEventData::TYPE_COMM:
        _onComm(record);
        break;
    case perfevents::PerfEventData::TYPE_SAMPLE:
        _onSample(record);
        break;
    case perfevents::PerfEventData::TYPE_FORK: {
        const auto& fork = static_cast<const perfevents::PerfEventDataFork&>(record);
        kestrel::Singleton<ProcessDictionary>::Instance().forkThread(static_cast<int32_t>(fork.getPid()),
                                                                     static_cast<int32_t>(fork.getTid()),
                                                                     static_cast<int32_t>(fork.getPtid()));
        break;
    }
    default:
        break;
    }
}

void PerfInputRunner::_onComm(const perfevents::PerfEventData& record) {
    const auto& comm = static_cast<const perfevents::PerfEventDataComm&>(record);
    std::string name = comm.getComm();
    const size_t deleted = name.find(" (deleted)");
    if (deleted != std::string::npos) {
        name.erase(deleted);
    }
    const int32_t pid = static_cast<int32_t>(comm.getPid());
    const int32_t tid = static_cast<int32_t>(comm.getTid());
    ProcessDictionary& dictionary = kestrel::Singleton<ProcessDictionary>::Instance();
    if (!dictionary.setThreadName(tid, name)) {
        dictionary.addThread(pid, tid, name);
    }
}

void PerfInputRunner::_onSample(const perfevents::PerfEventData& record) {
    const auto& sample = static_cast<const perfevents::PerfEventDataSample&>(record);
    const unsigned char* data = sample.getRawData();
    if (data == nullptr || sample.getRawSize() < commonTypeExtent) {
        _skipSample(sample);
        return;
    }

    const double dataTime = static_cast<double>(sample.getTime()) / 1000000000.0;
    if (timedSamples++ == 0) {
        firstDataTime = dataTime;
    }
    if (dataTime < firstDataTime) {
        firstDataTime = dataTime;
    }
    if (dataTime > lastDataTime) {
        lastDataTime = dataTime;
    }
    const int id = commonTypeField->getInt32(sample, data);
    double clockTime = 0.0;
    if (!timeConverter->nextTimestamp(dataTime, clockTime)) {
        return;
    }
    ++acceptedSamples;
    for (TracePointAlgorithm* algorithm : algorithms) {
        algorithm->onTracePointEvent(id, clockTime, sample, data);
    }
}

void PerfInputRunner::_skipSample(const perfevents::PerfEventDataSample& sample) {
    ++skippedSamples;
    // The attribute the sample belongs to, by its id, so that the report can name its event.
    int attribute = -1;
    const auto& attributes = currentReader->getAttributes();
    if (attributes.size() == 1) {
        attribute = 0;
    } else {
        if (attributeOfId.empty()) {
            for (std::size_t i = 0; i < attributes.size(); ++i) {
                for (unsigned long long streamId : attributes[i].getStreamIds()) {
                    attributeOfId.emplace(streamId, static_cast<int>(i));
                }
            }
        }
        auto found = attributeOfId.find(sample.getId());
        if (found != attributeOfId.end()) {
            attribute = found->second;
        }
    }
    ++skippedByAttribute[attribute];
}

void PerfInputRunner::_showProgress() {
    if (progressReader != nullptr) {
        progress->update(progressReader->getDataConsumed(), progressReader->getDataTotal());
    }
}

std::vector<const PerfInputRunner::Channel*> PerfInputRunner::_channelsOf(int eventId) const {
    std::vector<const Channel*> users;
    for (std::size_t i = 0; i < algorithms.size(); ++i) {
        for (int id : algorithms[i]->getEventIds()) {
            if (id == eventId) {
                users.push_back(&algorithmChannels[i]);
                break;
            }
        }
    }
    return users;
}

void PerfInputRunner::_reportSkippedSamples(const perfevents::PerfOutputReader& reader) {
    // Samples without trace point data: those of counters are expected; those of a trace point a channel plots are
    // a problem of that channel.
    const auto& attributes = reader.getAttributes();
    for (const auto& skipped : skippedByAttribute) {
        std::string event = "an unknown event";
        bool tracePoint = false;
        int tracePointId = -1;
        if (skipped.first >= 0 && static_cast<std::size_t>(skipped.first) < attributes.size()) {
            const perfevents::PerfEventAttribute& attribute = attributes[static_cast<std::size_t>(skipped.first)];
            tracePoint = attribute.getType() == perfevents::PerfFormat::ATTR_TYPE_TRACEPOINT;
            tracePointId = static_cast<int>(attribute.getConfig());
            const std::string& name = reader.getTraceEventName(attribute.getConfig());
            event = tracePoint && !name.empty()
                        ? name
                        : perfevents::PerfFormat::eventName(attribute.getType(), attribute.getConfig());
        }
        logger->warnf("%p %llu samples of %s were skipped: %s", this, skipped.second, event.c_str(),
                      tracePoint ? "their raw data is missing or too short to hold the trace point id"
                                 : "they carry no trace point data (their raw data is missing or too short to hold "
                                   "a trace point id)");
        if (tracePoint) {
            for (const Channel* channel : _channelsOf(tracePointId)) {
                _channelProblem(*channel, std::to_string(skipped.second) + " samples of " + event +
                                              " could not be used: their raw data is missing or too short");
            }
        }
    }
}

void PerfInputRunner::_reportProblems(const perfevents::PerfOutputReader* reader) {
    if (reader != nullptr) {
        const perfevents::PerfReadProblems read = reader->getReadProblems();
        const auto& attributes = reader->getAttributes();
        for (const auto& undecodable : read.undecodableSamples) {
            const std::string what =
                std::to_string(undecodable.second) +
                " samples could not be decoded: their call chain or raw data runs past the end of the record";
            if (undecodable.first < 0 || static_cast<std::size_t>(undecodable.first) >= attributes.size()) {
                _problem(_recordingSubject(), what);
                continue;
            }
            const perfevents::PerfEventAttribute& attribute = attributes[static_cast<std::size_t>(undecodable.first)];
            if (attribute.getType() != perfevents::PerfFormat::ATTR_TYPE_TRACEPOINT) {
                continue;
            }
            for (const Channel* channel : _channelsOf(static_cast<int>(attribute.getConfig()))) {
                _channelProblem(*channel, what + " (" + reader->getTraceEventName(attribute.getConfig()) + ")");
            }
        }
        if (read.unknownAttributeSamples > 0) {
            _problem(_recordingSubject(), std::to_string(read.unknownAttributeSamples) +
                                              " samples were skipped: their id belongs to no attribute of the "
                                              "recording");
        }
        if (!read.damage.empty()) {
            _problem(_recordingSubject(), "cut short or damaged: " + read.damage);
        }
    }
    for (std::size_t i = 0; i < algorithms.size(); ++i) {
        for (const std::string& reason : algorithms[i]->getProblems()) {
            _channelProblem(algorithmChannels[i], reason);
        }
    }
    // A window that holds no sample of a recording that has some: most likely a start time on another clock.
    if (acceptedSamples == 0 && timedSamples > 0) {
        const double first = timeConverter->toClockTime(firstDataTime);
        const double last = timeConverter->toClockTime(lastDataTime);
        std::string window = "[" + seconds(timeConverter->getClockStartTime()) + ", ";
        window += timeConverter->getClockEndTime() != 0.0 ? seconds(timeConverter->getClockEndTime()) + ")" : "end)";
        _problem("collection window", "no sample lies in " + window + " (-s, -d): the recording's samples run from " +
                                          seconds(first) + " to " + seconds(last) + " on the same clock");
    }
}

void PerfInputRunner::onClose() {
    // The line goes before the output, which may go to the same terminal.
    progress.reset();
    if (algorithms.empty() || closed) {
        return;
    }
    closed = true;
    const double clockOrigin = timeConverter->getClockOrigin();
    for (TracePointAlgorithm* algorithm : algorithms) {
        algorithm->onClose(*writer, clockOrigin);
    }
    kestrel::Singleton<SeriesDataSet>::Instance().print(*writer, clockOrigin);
    writer->endArray();
}
