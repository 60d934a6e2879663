#ifndef ALGORITHMS_TRACEPOINTALGORITHM_H
#define ALGORITHMS_TRACEPOINTALGORITHM_H

#include <string>
#include <vector>

namespace kestrel {
class JsomWriter;
class Logger;
} // namespace kestrel
namespace perfevents {
class PerfEventDataSampleAncillary;
}

// A plot algorithm: receives every accepted trace point sample of the run and, at the end, writes its own
// series into the output document.
class TracePointAlgorithm {
public:
    // A trace point field the algorithm reads.
    struct FieldUse {
        std::string event;
        std::string field;
    };

    virtual ~TracePointAlgorithm();

    // One sample: eventId is its trace point id (common_type), time its clock time relative to the clock
    // origin in seconds, data the start of its raw trace point record (ancillary.getRawSize() bytes long).
    // Samples of other trace points are ignored.
    virtual void onTracePointEvent(int eventId, double time, const perfevents::PerfEventDataSampleAncillary& ancillary,
                                   const unsigned char* data) = 0;

    // Writes the algorithm's series into the writer's current array, each with clockOrigin as its "time";
    // returns whether at least one series was written.
    virtual bool onClose(kestrel::JsomWriter& writer, double clockOrigin) = 0;

    // The trace point ids the algorithm takes samples of.
    virtual std::vector<int> getEventIds() const { return std::vector<int>(); }
    // The trace point fields it reads (so that the event database can be checked against the recording).
    virtual std::vector<FieldUse> getFieldUses() const { return std::vector<FieldUse>(); }
    // What went wrong, in words for the user, one reason each: why the algorithm is switched off, samples it could
    // not use, configurations that can never count. Empty when nothing did.
    virtual std::vector<std::string> getProblems() const { return std::vector<std::string>(); }
    // Whether the channel is "optional" and was left out because the event database lacks its trace points: not a
    // problem, the channel simply does not apply to the recording.
    virtual bool isLeftOut() const { return false; }

protected:
    // A channel that cannot be configured: logs the message (printf format) at ERROR, keeps the reason for the
    // user, and returns false.
    bool configurationError(kestrel::Logger* logger, const std::string& reason, const char* format, ...);

    // Why the algorithm is off, for the user; empty while it works.
    std::string offReason;
};

#endif
