#ifndef PERFEVENTS_PERFEVENTDATAEXIT_H
#define PERFEVENTS_PERFEVENTDATAEXIT_H

#include "perfevents/PerfEventDataTaskRecord.h"

namespace perfevents {

/// PERF_RECORD_EXIT: a task ended.
class PerfEventDataExit : public PerfEventDataTaskRecord {
public:
    explicit PerfEventDataExit(const PerfEventAttribute& attribute);
    ~PerfEventDataExit() override;
    Type getType() const override { return TYPE_EXIT; }

private:
    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
