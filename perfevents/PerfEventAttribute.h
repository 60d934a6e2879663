#ifndef PERFEVENTS_PERFEVENTATTRIBUTE_H
#define PERFEVENTS_PERFEVENTATTRIBUTE_H

#include "kestrel/ByteBuffer.h"

#include <ostream>
#include <vector>

namespace kestrel {
class Logger;
}

namespace perfevents {

/// One decoded perf_event_attr of a recording, with the ids of the event streams recorded under it. Its bits and
/// sizes are those of PerfFormat.
class PerfEventAttribute {
public:
    PerfEventAttribute();
    /// Throws std::invalid_argument when the data holds fewer than 64 bytes.
    PerfEventAttribute(const kestrel::ByteBufferViewport& data, const std::vector<unsigned long long>& ids);

    /// Decodes the attribute; returns false, changing nothing, when the data holds fewer than 64 bytes.
    bool initialize(const kestrel::ByteBufferViewport& data, const std::vector<unsigned long long>& ids);
    bool isAssociatedWithId(unsigned long long id) const;

    const std::vector<unsigned long long>& getStreamIds() const { return streamIds; }
    void setStreamIds(const std::vector<unsigned long long>& ids) { streamIds = ids; }
    const kestrel::ByteBuffer& getRawBytes() const { return rawBytes; }

    unsigned int getType() const { return type; }
    unsigned int getSize() const { return size; }
    unsigned int getConfig() const { return config; }
    unsigned long long getSamplePeriod() const { return samplePeriod; }
    bool isFrequency() const { return frequency; }
    unsigned long long getSampleType() const { return sampleType; }
    unsigned long long getReadFormat() const { return readFormat; }
    bool isDisabled() const { return disabled; }
    bool isInherit() const { return inherit; }
    bool isInheritStat() const { return inheritStat; }
    bool isPinned() const { return pinned; }
    bool isExclusive() const { return exclusive; }
    bool isExcludeUser() const { return excludeUser; }
    bool isExcludeKernel() const { return excludeKernel; }
    bool isExcludeHypervisor() const { return excludeHypervisor; }
    bool isExcludeIdle() const { return excludeIdle; }
    bool isMmap() const { return mmap; }
    bool isMmapData() const { return mmapData; }
    bool isComm() const { return comm; }
    bool isEnableOnExec() const { return enableOnExec; }
    bool isTask() const { return task; }
    unsigned int getWakeup() const { return wakeup; }
    bool isWatermark() const { return watermark; }
    unsigned int getPreciseIp() const { return preciseIp; }
    bool isSampleIdAll() const { return sampleIdAll; }
    bool isExcludeHost() const { return excludeHost; }
    bool isExcludeGuest() const { return excludeGuest; }
    unsigned int getBreakpointType() const { return breakpointType; }
    unsigned long long getConfig1() const { return config1; }
    unsigned long long getConfig2() const { return config2; }
    bool isExcludeCallchainKernel() const { return excludeCallchainKernel; }
    bool isExcludeCallchainUser() const { return excludeCallchainUser; }
    unsigned long long getBranchSampleType() const { return branchSampleType; }
    unsigned long long getSampleRegsUser() const { return sampleRegsUser; }
    unsigned int getSampleStackUser() const { return sampleStackUser; }

private:
    std::vector<unsigned long long> streamIds;
    kestrel::ByteBuffer rawBytes;
    unsigned int type;
    unsigned int size;
    unsigned int config;
    unsigned long long samplePeriod;
    bool frequency;
    unsigned long long sampleType;
    unsigned long long readFormat;
    bool disabled;
    bool inherit;
    bool inheritStat;
    bool pinned;
    bool exclusive;
    bool excludeUser;
    bool excludeKernel;
    bool excludeHypervisor;
    bool excludeIdle;
    bool mmap;
    bool mmapData;
    bool comm;
    bool enableOnExec;
    bool task;
    unsigned int wakeup;
    bool watermark;
    unsigned int preciseIp;
    bool sampleIdAll;
    bool excludeHost;
    bool excludeGuest;
    unsigned int breakpointType;
    unsigned long long config1;
    unsigned long long config2;
    bool excludeCallchainKernel;
    bool excludeCallchainUser;
    unsigned long long branchSampleType;
    unsigned long long sampleRegsUser;
    unsigned int sampleStackUser;

    static kestrel::Logger* logger;
};

std::ostream& operator<<(std::ostream& out, const PerfEventAttribute& attribute);

} // namespace perfevents

#endif
