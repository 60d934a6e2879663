#ifndef PERFEVENTS_PERFEVENTDATATASKRECORD_H
#define PERFEVENTS_PERFEVENTDATATASKRECORD_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// The body shared by the records of a task starting or ending: pid, ppid, tid, ptid and time.
class PerfEventDataTaskRecord : public PerfEventData {
public:
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataTaskRecord() override;

    unsigned int getPid() const { return pid; }
    unsigned int getPpid() const { return ppid; }
    unsigned int getTid() const { return tid; }
    unsigned int getPtid() const { return ptid; }
    unsigned long long getTime() const { return time; }

protected:
    explicit PerfEventDataTaskRecord(const PerfEventAttribute& attribute);

private:
    unsigned int pid;
    unsigned int ppid;
    unsigned int tid;
    unsigned int ptid;
    unsigned long long time;
};

} // namespace perfevents

#endif
