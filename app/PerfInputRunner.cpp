#include "app/PerfInputRunner.h"

#include "algorithms/TracePointAlgorithm.h"
#include "algorithms/TracePointAlgorithmStore.h"
#include "app/ProcessDictionary.h"
#include "app/ProgressLine.h"
#include "app/SeriesDataSet.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Logger.h"
#include "kestrel/Singleton.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/AncillaryUint32TracePointField.h"
#include "perfevents/AncillaryUint64TracePointField.h"
#include "perfevents/NumericTracePointField.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/TracePointFieldStore.h"

#include <cstring>
#include <exception>
#include <ios>
#include <iostream>
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

} // namespace

PerfInputRunner::PerfInputRunner(kestrel::JSOM& channels, std::istream* input,
                                 const perfevents::TracePointFieldStore& fields, kestrel::TimeConverter* timeConverter,
                                 kestrel::JsomWriter* writer)
    : timeConverter(timeConverter), writer(writer) {
    if (logger == nullptr) {
        logger = kestrel::Logger::getLogger("PerfInputRunner");
    }
    writer->startArray();
    _run(channels, input, fields);
    if (skippedSamples != 0) {
        logger->warnf("%p %llu samples were skipped because their raw data was missing or too short to hold the "
                      "trace point id",
                      this, skippedSamples);
    }
}

PerfInputRunner::~PerfInputRunner() {
    for (TracePointAlgorithm* algorithm : algorithms) {
        delete algorithm;
    }
    delete commonTypeField;
}

void PerfInputRunner::_run(kestrel::JSOM& channels, std::istream* input,
                           const perfevents::TracePointFieldStore& fields) {
    commonTypeField = fields.createNumericField("common", "common_type");
    if (commonTypeField == nullptr) {
        logger->infof("%p Could not find common_type field in event database, aborting", this);
        writer->endArray();
        return;
    }
    commonTypeExtent = rawExtent(*commonTypeField);

    const int count = channels.size();
    for (int i = 0; i < count; ++i) {
        kestrel::JSOM channel = channels[i];
        if (!channel.isObject()) {
            continue;
        }
        kestrel::JSOM detail = channel["detail"];
        if (!detail.isObject() || detail["type"].stringValue(kestrel::JSOM::EMPTY_STRING) != "varnel2") {
            continue;
        }
        TracePointAlgorithm* algorithm = TracePointAlgorithmStore::createAlgorithm(channel, fields);
        if (algorithm != nullptr) {
            algorithms.push_back(algorithm);
        } else {
            logger->warnf("%p Could not load algorithm from channel [%s] %s, skipping...", this,
                          channel["id"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str(),
                          channel["name"].stringValue(kestrel::JSOM::EMPTY_STRING).c_str());
        }
    }
    if (algorithms.empty()) {
        logger->infof("%p No algorithms found, aborting", this);
        writer->endArray();
        return;
    }
    logger->debugf("%p Loaded %d algorithms", this, static_cast<int>(algorithms.size()));

    kestrel::Singleton<SeriesDataSet>::Instance().add(&kestrel::Singleton<ProcessDictionary>::Instance());

    try {
        perfevents::PerfRecordFileReader reader(*input, true);
        if (ProgressLine::wanted()) {
            progress.reset(new ProgressLine(std::cerr));
            progressReader = &reader;
        }
        reader.parseEvents(*this);
        progressReader = nullptr;
    } catch (const std::ios_base::failure& e) {
        // The reader has logged the problem itself; the driver closes the document.
        logger->debugf("%p An I/O exception occurred: %s", this, e.what());
    } catch (const std::exception& e) {
        // A file the reader cannot make sense of (for example an attribute too short to decode) ends the run
        // like an I/O error.
        logger->errorf("%p Cannot read the input: %s", this, e.what());
    }
    progress.reset();
    progressReader = nullptr;
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
        ++skippedSamples;
        return;
    }

    const double dataTime = static_cast<double>(sample.getTime()) / 1000000000.0;
    const int id = commonTypeField->getInt32(sample, data);
    double clockTime = 0.0;
    if (!timeConverter->nextTimestamp(dataTime, clockTime)) {
        return;
    }
    for (TracePointAlgorithm* algorithm : algorithms) {
        algorithm->onTracePointEvent(id, clockTime, sample, data);
    }
}

void PerfInputRunner::_showProgress() {
    if (progressReader != nullptr) {
        progress->update(progressReader->getDataConsumed(), progressReader->getDataTotal());
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
