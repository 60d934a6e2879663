#ifndef APP_PERFINPUTRUNNER_H
#define APP_PERFINPUTRUNNER_H

#include "perfevents/PerfEventDataListener.h"

#include <istream>
#include <memory>
#include <vector>

class ProgressLine;
class TracePointAlgorithm;

namespace kestrel {
class JSOM;
class JsomWriter;
class Logger;
class TimeConverter;
} // namespace kestrel
namespace perfevents {
class PerfRecordFileReader;
class NumericTracePointField;
class PerfEventData;
class TracePointFieldStore;
} // namespace perfevents

// Runs one conversion: its construction opens the output array, builds one algorithm per trace point channel,
// walks the perf.data input with itself as the listener and, at the end of the input, lets the algorithms and
// the run-wide sections write themselves before closing the array.
class PerfInputRunner : public perfevents::PerfEventDataListener {
public:
    PerfInputRunner(kestrel::JSOM& channels, std::istream* input, const perfevents::TracePointFieldStore& fields,
                    kestrel::TimeConverter* timeConverter, kestrel::JsomWriter* writer);
    ~PerfInputRunner() override;

    PerfInputRunner(const PerfInputRunner&) = delete;
    PerfInputRunner& operator=(const PerfInputRunner&) = delete;

    void onEventData(const perfevents::PerfEventData& record) override;
    void onClose() override;

    // Samples that were dropped because their raw data could not hold the trace point id.
    unsigned long long getSkippedSamples() const { return skippedSamples; }
    size_t getAlgorithmCount() const { return algorithms.size(); }

private:
    void _run(kestrel::JSOM& channels, std::istream* input, const perfevents::TracePointFieldStore& fields);
    void _onComm(const perfevents::PerfEventData& record);
    void _onSample(const perfevents::PerfEventData& record);
    void _showProgress();

    kestrel::TimeConverter* timeConverter;
    kestrel::JsomWriter* writer;
    perfevents::NumericTracePointField* commonTypeField = nullptr;
    std::vector<TracePointAlgorithm*> algorithms;

    // Bytes of raw data needed to read the trace point id.
    unsigned long long commonTypeExtent = 0;
    unsigned long long skippedSamples = 0;
    bool closed = false;

    // Progress on a terminal, from the share of the data section the reader has consumed; null when stderr is no
    // terminal.
    std::unique_ptr<ProgressLine> progress;
    const perfevents::PerfRecordFileReader* progressReader = nullptr;
    unsigned int progressTick = 0;

    static kestrel::Logger* logger;
};

#endif
