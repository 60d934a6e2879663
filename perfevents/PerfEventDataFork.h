#ifndef PERFEVENTS_PERFEVENTDATAFORK_H
#define PERFEVENTS_PERFEVENTDATAFORK_H

#include "perfevents/PerfEventDataTaskRecord.h"

namespace perfevents {

/// PERF_RECORD_FORK: a task was created.
class PerfEventDataFork : public PerfEventDataTaskRecord {
public:
    explicit PerfEventDataFork(const PerfEventAttribute& attribute);
    ~PerfEventDataFork() override;
    Type getType() const override { return TYPE_FORK; }

private:
    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
