#ifndef PERFEVENTS_PERFEVENTDATAEXIT_H
#define PERFEVENTS_PERFEVENTDATAEXIT_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// PERF_RECORD_EXIT: a task ended.
class PerfEventDataExit : public PerfEventData {
public:
    explicit PerfEventDataExit(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataExit() override;
    Type getType() const override { return TYPE_EXIT; }

    unsigned int getPid() const { return pid; }
    unsigned int getPpid() const { return ppid; }
    unsigned int getTid() const { return tid; }
    unsigned int getPtid() const { return ptid; }
    unsigned long long getTime() const { return time; }

private:
    unsigned int pid;
    unsigned int ppid;
    unsigned int tid;
    unsigned int ptid;
    unsigned long long time;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
