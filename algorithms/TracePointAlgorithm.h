#ifndef ALGORITHMS_TRACEPOINTALGORITHM_H
#define ALGORITHMS_TRACEPOINTALGORITHM_H

namespace kestrel {
class JsomWriter;
}
namespace perfevents {
class PerfEventDataSampleAncillary;
}

// A plot algorithm: receives every accepted trace point sample of the run and, at the end, writes its own
// series into the output document.
class TracePointAlgorithm {
public:
    virtual ~TracePointAlgorithm();

    // One sample: eventId is its trace point id (common_type), time its clock time relative to the clock
    // origin in seconds, data the start of its raw trace point record (ancillary.getRawSize() bytes long).
    // Samples of other trace points are ignored.
    virtual void onTracePointEvent(int eventId, double time, const perfevents::PerfEventDataSampleAncillary& ancillary,
                                   const unsigned char* data) = 0;

    // Writes the algorithm's series into the writer's current array, each with clockOrigin as its "time";
    // returns whether at least one series was written.
    virtual bool onClose(kestrel::JsomWriter& writer, double clockOrigin) = 0;
};

#endif
