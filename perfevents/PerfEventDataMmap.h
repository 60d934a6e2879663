#ifndef PERFEVENTS_PERFEVENTDATAMMAP_H
#define PERFEVENTS_PERFEVENTDATAMMAP_H

#include "perfevents/PerfEventData.h"

#include <string>

namespace perfevents {

/// PERF_RECORD_MMAP: an executable mapping.
class PerfEventDataMmap : public PerfEventData {
public:
    explicit PerfEventDataMmap(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataMmap() override;
    Type getType() const override { return TYPE_MMAP; }

    unsigned int getPid() const { return pid; }
    unsigned int getTid() const { return tid; }
    unsigned long long getAddr() const { return addr; }
    unsigned long long getLen() const { return len; }
    unsigned long long getPgoff() const { return pgoff; }
    const std::string& getFilename() const { return filename; }

private:
    unsigned int pid;
    unsigned int tid;
    unsigned long long addr;
    unsigned long long len;
    unsigned long long pgoff;
    std::string filename;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
