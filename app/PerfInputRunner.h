#ifndef APP_PERFINPUTRUNNER_H
#define APP_PERFINPUTRUNNER_H

#include "kestrel/JSOM.h"
#include "perfevents/PerfEventDataListener.h"

#include <istream>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class ProblemSummary;
class ProgressLine;
class TracePointAlgorithm;

namespace kestrel {
class JsomWriter;
class Logger;
class TimeConverter;
} // namespace kestrel
namespace perfevents {
class NumericTracePointField;
class PerfEventData;
class PerfEventDataSample;
class PerfOutputReader;
class TracePointFieldStore;
} // namespace perfevents

// Runs one conversion: its construction opens the output array, builds one algorithm per trace point channel,
// walks the recording with itself as the listener and, at the end of the input, lets the algorithms and the
// run-wide sections write themselves before closing the array.
//
// Problems the user must hear of (channels skipped or switched off, an event database that contradicts the
// recording, samples that could not be converted, an empty collection window) go to a ProblemSummary besides the
// log, when one is given.
class PerfInputRunner : public perfevents::PerfEventDataListener {
public:
    // Reads the recording on the stream.
    PerfInputRunner(kestrel::JSOM& channels, std::istream* input, const perfevents::TracePointFieldStore& fields,
                    kestrel::TimeConverter* timeConverter, kestrel::JsomWriter* writer,
                    ProblemSummary* problems = nullptr, const std::string& inputName = std::string());
    // Walks a recording whose set-up has been read already.
    PerfInputRunner(kestrel::JSOM& channels, perfevents::PerfOutputReader& reader,
                    const perfevents::TracePointFieldStore& fields, kestrel::TimeConverter* timeConverter,
                    kestrel::JsomWriter* writer, ProblemSummary* problems = nullptr,
                    const std::string& inputName = std::string());
    ~PerfInputRunner() override;

    PerfInputRunner(const PerfInputRunner&) = delete;
    PerfInputRunner& operator=(const PerfInputRunner&) = delete;

    void onEventData(const perfevents::PerfEventData& record) override;
    void onClose() override;

    // Samples that were dropped because their raw data could not hold the trace point id.
    unsigned long long getSkippedSamples() const { return skippedSamples; }
    size_t getAlgorithmCount() const { return algorithms.size(); }

private:
    // An algorithm with the channel it was made from.
    struct Channel {
        kestrel::JSOM entry;
        int index;
    };

    void _run(kestrel::JSOM& channels, perfevents::PerfOutputReader* reader, std::istream* input,
              const perfevents::TracePointFieldStore& fields);
    bool _createAlgorithms(kestrel::JSOM& channels, const perfevents::TracePointFieldStore& fields);
    void _walk(perfevents::PerfOutputReader& reader, const perfevents::TracePointFieldStore& fields);
    void _checkDatabase(const perfevents::PerfOutputReader& reader, const perfevents::TracePointFieldStore& fields);
    void _removeAlgorithm(std::size_t index);
    void _onComm(const perfevents::PerfEventData& record);
    void _onSample(const perfevents::PerfEventData& record);
    void _skipSample(const perfevents::PerfEventDataSample& sample);
    void _showProgress();
    void _reportSkippedSamples(const perfevents::PerfOutputReader& reader);
    void _reportProblems(const perfevents::PerfOutputReader* reader);
    void _problem(const std::string& subject, const std::string& reason);
    void _channelProblem(const Channel& channel, const std::string& reason);
    // The channels whose algorithms take samples of the trace point.
    std::vector<const Channel*> _channelsOf(int eventId) const;
    std::string _recordingSubject() const;

    kestrel::TimeConverter* timeConverter;
    kestrel::JsomWriter* writer;
    perfevents::NumericTracePointField* commonTypeField = nullptr;
    std::vector<TracePointAlgorithm*> algorithms;
    std::vector<Channel> algorithmChannels; // the channel of each algorithm
    ProblemSummary* problems;
    std::string inputName;

    // Bytes of raw data needed to read the trace point id.
    unsigned long long commonTypeExtent = 0;
    unsigned long long skippedSamples = 0;
    // Skipped samples by the index of their attribute (-1: unknown), for saying which event they belong to.
    std::unordered_map<int, unsigned long long> skippedByAttribute;
    std::unordered_map<unsigned long long, int> attributeOfId;
    const perfevents::PerfOutputReader* currentReader = nullptr;
    // The data times of the first and the last sample, wherever they lie, and the samples inside the window.
    double firstDataTime = 0.0;
    double lastDataTime = 0.0;
    unsigned long long timedSamples = 0;
    unsigned long long acceptedSamples = 0;
    bool closed = false;

    // Progress on a terminal, from the share of the data section the reader has consumed; null when stderr is no
    // terminal.
    std::unique_ptr<ProgressLine> progress;
    const perfevents::PerfOutputReader* progressReader = nullptr;
    unsigned int progressTick = 0;

    static kestrel::Logger* logger;
};

#endif
