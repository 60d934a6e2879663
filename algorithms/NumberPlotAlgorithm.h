#ifndef ALGORITHMS_NUMBERPLOTALGORITHM_H
#define ALGORITHMS_NUMBERPLOTALGORITHM_H

#include "algorithms/PivotNaming.h"
#include "algorithms/SampleFilter.h"
#include "algorithms/TracePointAlgorithm.h"
#include "kestrel/ArenaAllocator.h"
#include "kestrel/JSOM.h"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace kestrel {
class Logger;
}
namespace perfevents {
class NumericTracePointField;
class TracePointFieldStore;
} // namespace perfevents

// Records the value of one numeric field of one trace point at every sample (that passes its optional filter
// formula) and writes the points as "long" series: one series per distinct value of the pivot field, or a single
// series without a pivot field.
class NumberPlotAlgorithm : public TracePointAlgorithm {
public:
    struct RunData {
        double time;
        long long value;
    };

    // Points stored by value in chunks: growing never copies the points already held.
    struct RunDataList {
        std::deque<RunData, kestrel::ArenaAllocator<RunData>> runs;
        double lastTime = 0.0;
        bool unsorted = false;

        static bool isLessThan(const RunData& a, const RunData& b) { return a.time < b.time; }
    };

    NumberPlotAlgorithm(const kestrel::JSOM& channel, const perfevents::TracePointFieldStore& fields);
    ~NumberPlotAlgorithm() override;

    NumberPlotAlgorithm(const NumberPlotAlgorithm&) = delete;
    NumberPlotAlgorithm& operator=(const NumberPlotAlgorithm&) = delete;

    void onTracePointEvent(int eventId, double time, const perfevents::PerfEventDataSampleAncillary& ancillary,
                           const unsigned char* data) override;
    bool onClose(kestrel::JsomWriter& writer, double clockOrigin) override;
    std::vector<int> getEventIds() const override { return std::vector<int>(1, eventId); }
    std::vector<FieldUse> getFieldUses() const override;
    std::vector<std::string> getProblems() const override;
    bool isLeftOut() const override { return leftOut; }

    bool isConfigured() const { return configured; }

private:
    bool _configure(const perfevents::TracePointFieldStore& fields);
    bool _configureFilter(const perfevents::TracePointFieldStore& fields);
    perfevents::NumericTracePointField* _createField(const perfevents::TracePointFieldStore& fields,
                                                     const char* fieldName);
    RunDataList& _listFor(long long key);
    void _writeSeries(kestrel::JsomWriter& writer, double clockOrigin, long long key, RunDataList& list,
                      const std::string& labelPrefix);

    bool configured = false;
    kestrel::JSOM channel;
    int eventId = -1;
    std::string eventName;
    std::string valueFieldName;
    std::string pivotFieldName;
    perfevents::NumericTracePointField* valueField = nullptr;
    perfevents::NumericTracePointField* pivotField = nullptr;
    RunDataList* unpivotedList = nullptr;
    std::map<long long, RunDataList> runDataLists;
    PivotNaming pivotNaming;
    perfevents::TextDictionary unusedTexts; // a value field that is a text is refused
    bool unsignedValues = false;            // of an unsigned 64-bit field or a pointer
    bool leftOut = false;                   // optional, and the database lacks the trace point
    SampleFilter filter;
    std::vector<std::string> fieldNames; // every field read, for checking them against the recording
    unsigned long long points = 0;

    // The list of the last pivot value seen: consecutive samples often share it, which saves the map lookup.
    RunDataList* lastList = nullptr;
    long long lastKey = 0;

    static kestrel::Logger* logger;
};

#endif
