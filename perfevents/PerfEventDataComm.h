#ifndef PERFEVENTS_PERFEVENTDATACOMM_H
#define PERFEVENTS_PERFEVENTDATACOMM_H

#include "perfevents/PerfEventData.h"

#include <string>

namespace perfevents {

/// True for a character that command names drop: everything but printable ASCII (32 to 126).
bool isIgnore(char c);

/// PERF_RECORD_COMM: the command name of a thread.
class PerfEventDataComm : public PerfEventData {
public:
    explicit PerfEventDataComm(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataComm() override;
    Type getType() const override { return TYPE_COMM; }

    unsigned int getPid() const { return pid; }
    unsigned int getTid() const { return tid; }
    /// The name, cut at its first NUL, with unprintable characters removed.
    const std::string& getComm() const { return comm; }

private:
    friend bool isIgnore(char c);

    unsigned int pid;
    unsigned int tid;
    std::string comm;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
