#ifndef PERFEVENTS_PERFEVENTDATALISTENER_H
#define PERFEVENTS_PERFEVENTDATALISTENER_H

namespace perfevents {

class PerfEventData;

/// Receives the decoded records of a recording, in file order.
class PerfEventDataListener {
public:
    /// The record belongs to the reader and is overwritten by the next record of its type: copy what you keep.
    virtual void onEventData(const PerfEventData& record) = 0;
    /// Called once when the walk over the records ends, also after a read error.
    virtual void onClose() = 0;
    virtual ~PerfEventDataListener() {}
};

} // namespace perfevents

#endif
