#ifndef PERFEVENTS_PERFEVENTDATAREAD_H
#define PERFEVENTS_PERFEVENTDATAREAD_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// PERF_RECORD_READ: counter values of a task.
class PerfEventDataRead : public PerfEventData {
public:
    explicit PerfEventDataRead(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataRead() override;
    Type getType() const override { return TYPE_READ; }

    unsigned int getPid() const { return pid; }
    unsigned int getTid() const { return tid; }
    unsigned long long getValue() const { return value; }
    /// The body from offset 8 to its end (read-format block and any sample id block), not copied.
    const kestrel::ByteBufferViewport& getValues() const { return values; }

private:
    unsigned int pid;
    unsigned int tid;
    unsigned long long value;
    kestrel::ByteBufferViewport values;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
