#ifndef ALGORITHMS_STATEPLOTALGORITHM_H
#define ALGORITHMS_STATEPLOTALGORITHM_H

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "algorithms/PivotNaming.h"
#include "algorithms/SampleFilter.h"
#include "algorithms/TracePointAlgorithm.h"
#include "kestrel/ArenaAllocator.h"
#include "kestrel/JSOM.h"

namespace kestrel {
class JsomWriter;
class Logger;
} // namespace kestrel

namespace perfevents {
class NumericTracePointField;
class PerfEventDataSampleAncillary;
class TracePointFieldStore;
} // namespace perfevents

/**
 * Turns trace point samples into state plots: series of points, each saying from which time a traced object
 * was in which state, optionally with a subplot key (inner pivot) and a value (magnitude), one series per value
 * of an outer pivot field.
 *
 * One algorithm may draw on several trace points; each event configuration names a trace point, the fields
 * giving the state, magnitude and pivots, and an optional postfix filter formula. Configurations for the same
 * trace point are alternatives, tried in configuration order.
 *
 * Beyond that a configuration may give a constant state ("stateValue") instead of a state field, a pivot field of its
 * own ("pivotField"), let the walk go on after it accepts a sample ("continue"), so that one sample adds points to
 * several series (one thread leaves a CPU, another starts running), and be "optional": left out when the database
 * lacks its trace point. The channel may name state values ("stateNames"), say how pivot values are named
 * ("pivotNames"), and be "optional" itself. Text fields (char arrays, __data_loc texts) serve as states and pivots,
 * each distinct text a value named by a dictionary of the texts; pointers and unsigned 64-bit fields as pivots.
 */
class StatePlotAlgorithm : public TracePointAlgorithm {
public:
    /** One point: from `time` on, the object was in `state`. */
    struct RunData {
        double time;
        int32_t state;
    };
    /** The columns of a point that only some plots have: kept apart, so that the others do not pay for them. */
    struct RunExtra {
        double magnitude;
        int64_t innerPivot;
    };

    /**
     * The points of one outer pivot value, in arrival order, stored by value in chunks: growing never copies the
     * points already held and never reserves more than one chunk ahead. With an inner pivot or a magnitude,
     * extras[i] belongs to runs[i]; otherwise extras stays empty.
     */
    class RunDataList {
    public:
        RunDataList() : lastTime(0.0), unsorted(false) {}
        RunDataList(const RunDataList&) = delete;
        RunDataList& operator=(const RunDataList&) = delete;

        /** Puts the points in time order; points of equal time keep their arrival order. */
        void sort();
        /** Empties the list and releases its storage. */
        void clear();

        std::deque<RunData, kestrel::ArenaAllocator<RunData>> runs;
        std::deque<RunExtra, kestrel::ArenaAllocator<RunExtra>> extras;
        double lastTime;
        bool unsorted;
    };

    /** One event configuration: a trace point, its field readers and its filter. */
    class EventData {
    public:
        EventData(int id, const std::string& eventName);
        ~EventData();
        EventData(const EventData&) = delete;
        EventData& operator=(const EventData&) = delete;

        int eventId;
        std::string eventName;
        /** The state of every point when there is no state field. */
        int32_t stateValue = 0;
        /** After this configuration accepts a sample, the later ones of its trace point are still tried. */
        bool continueWalk = false;
        perfevents::NumericTracePointField* stateField;
        perfevents::NumericTracePointField* magnitudeField;
        perfevents::NumericTracePointField* innerPivotField;
        perfevents::NumericTracePointField* outerPivotField;
        SampleFilter filter;
        /** The names of the fields read, for checking them against the recording. */
        std::vector<std::string> fieldNames;
    };

    /** One output column: its name, description, value dictionary and the trace point fields feeding it. */
    class FieldInfo {
    public:
        /**
         * Names the column: the one field's name, or `defaultName` when no field, several fields, or a name
         * already taken by an earlier column. Returns true when the column ends up with the default name.
         */
        bool setup(const char* defaultName, std::set<std::string> usedNames);

        /** Writes the column's member of a column dictionary's "map". */
        void printColumnDictionaryEntry(kestrel::JsomWriter& writer, int column) const;

        std::string name;
        std::string description;
        std::string dictionary;
        std::set<std::string> fieldNames;
    };

    StatePlotAlgorithm(const kestrel::JSOM& channel, const perfevents::TracePointFieldStore& fields);
    ~StatePlotAlgorithm() override;
    StatePlotAlgorithm(const StatePlotAlgorithm&) = delete;
    StatePlotAlgorithm& operator=(const StatePlotAlgorithm&) = delete;

    void onTracePointEvent(int eventId, double time, const perfevents::PerfEventDataSampleAncillary& ancillary,
                           const unsigned char* data) override;
    bool onClose(kestrel::JsomWriter& writer, double clockOrigin) override;
    std::vector<int> getEventIds() const override { return eventIds; }
    std::vector<FieldUse> getFieldUses() const override;
    std::vector<std::string> getProblems() const override;
    bool isLeftOut() const override { return leftOut; }

    /** Splits `text` at runs of blanks, tabs and line ends into `tokens` (emptied first). */
    void tokenizeString(std::vector<std::string>& tokens, const char* text);

    bool isConfigured() const { return configured; }

private:
    bool _configure(const perfevents::TracePointFieldStore& fields);
    bool _configureEvent(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& events, kestrel::JSOM config,
                         int position);
    bool _configureState(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config, EventData& eventData,
                         const std::string& which, int eventIndex);
    bool _configureOuterPivot(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config,
                              EventData& eventData, const std::string& which);
    void _makeDictionaries();
    void _addPoint(const EventData& entry, double time, const perfevents::PerfEventDataSampleAncillary& ancillary,
                   const unsigned char* data);
    bool _createOptionalField(const perfevents::TracePointFieldStore& fields, kestrel::JSOM& config, const char* key,
                              EventData& eventData, int eventIndex, perfevents::NumericTracePointField*& reader,
                              FieldInfo& info);
    perfevents::NumericTracePointField* _createField(const perfevents::TracePointFieldStore& fields,
                                                     EventData& eventData, const char* fieldName);
    void _noteUnreachableConfigurations();
    void _nameColumns();
    void _writeSeries(kestrel::JsomWriter& writer, double clockOrigin, long long key, RunDataList& list,
                      const std::string& labelPrefix);
    void _writeLabel(kestrel::JsomWriter& writer, long long key, const std::string& labelPrefix);
    void _writeKey(kestrel::JsomWriter& writer, long long key, bool isUnsigned);
    void _writeColumnDictionary(kestrel::JsomWriter& writer);
    void _writeInfo(kestrel::JsomWriter& writer, long long key);

    bool configured;
    kestrel::JSOM channel;
    bool hasMagnitude;
    bool hasInnerPivot;
    bool hasOuterPivot;
    RunDataList* unpivotedList;
    std::map<long long, RunDataList> runDataLists;
    /** The list of the last outer pivot value seen: consecutive samples often share it. */
    RunDataList* lastList = nullptr;
    long long lastKey = 0;
    /** The trace point ids of the configurations, few enough to be searched in a row. */
    std::vector<int> eventIds;
    std::vector<EventData*> eventDatas;
    FieldInfo stateInfo;
    FieldInfo magnitudeInfo;
    FieldInfo innerPivotInfo;
    bool usesDefaultColumns;
    /** How the series of the outer pivot are labelled and their keys written. */
    PivotNaming pivotNaming;
    /** The texts of a text state field and of a text inner pivot field, when they are texts. */
    std::shared_ptr<perfevents::TextDictionary> stateTexts = std::make_shared<perfevents::TextDictionary>();
    std::shared_ptr<perfevents::TextDictionary> innerPivotTexts = std::make_shared<perfevents::TextDictionary>();
    bool textState = false;
    // Some configuration gives a constant state: the column is no field's, but the channel's state.
    bool constantStates = false;
    bool textInnerPivot = false;
    bool unsignedInnerPivot = false;
    /** The channel is optional and the database lacks its trace points: it is left out without a word. */
    bool leftOut = false;

    /** Name of the outer pivot field, kept for the "pivot" and "info" members of every series: the channel's
        "pivotField", or else the first configuration's. */
    std::string pivotFieldName;
    /** The channel's own "pivotField". */
    std::string channelPivotField;

    /** What went wrong, for the user, beyond why the algorithm is off: configurations that never count. */
    std::vector<std::string> notes;
    /** Samples whose state value did not fit in 32 bits and was cut to its low 32 bits. */
    unsigned long long statesCut = 0;
    unsigned long long acceptedSamples = 0;

    static kestrel::Logger* logger;
    static bool dictionarySent;
};

#endif
