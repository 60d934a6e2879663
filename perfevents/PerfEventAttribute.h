#ifndef PERFEVENTS_PERFEVENTATTRIBUTE_H
#define PERFEVENTS_PERFEVENTATTRIBUTE_H

#include "kestrel/ByteBuffer.h"

#include <ostream>
#include <vector>

namespace kestrel {
class Logger;
}

namespace perfevents {

/// One decoded perf_event_attr of a recording, with the ids of the event streams recorded under it.
class PerfEventAttribute {
public:
    // sample_type bits, in the order their fields appear in a sample (except IDENTIFIER, which comes first)
    static const unsigned long long SAMPLE_IP = 0x1ULL;
    static const unsigned long long SAMPLE_TID = 0x2ULL;
    static const unsigned long long SAMPLE_TIME = 0x4ULL;
    static const unsigned long long SAMPLE_ADDR = 0x8ULL;
    static const unsigned long long SAMPLE_READ = 0x10ULL;
    static const unsigned long long SAMPLE_CALLCHAIN = 0x20ULL;
    static const unsigned long long SAMPLE_ID = 0x40ULL;
    static const unsigned long long SAMPLE_CPU = 0x80ULL;
    static const unsigned long long SAMPLE_PERIOD = 0x100ULL;
    static const unsigned long long SAMPLE_STREAM_ID = 0x200ULL;
    static const unsigned long long SAMPLE_RAW = 0x400ULL;
    static const unsigned long long SAMPLE_BRANCH_STACK = 0x800ULL;
    static const unsigned long long SAMPLE_REGS_USER = 0x1000ULL;
    static const unsigned long long SAMPLE_STACK_USER = 0x2000ULL;
    static const unsigned long long SAMPLE_WEIGHT = 0x4000ULL;
    static const unsigned long long SAMPLE_DATA_SRC = 0x8000ULL;
    static const unsigned long long SAMPLE_IDENTIFIER = 0x10000ULL;

    // read_format bits
    static const unsigned long long FORMAT_TOTAL_TIME_ENABLED = 0x1ULL;
    static const unsigned long long FORMAT_TOTAL_TIME_RUNNING = 0x2ULL;
    static const unsigned long long FORMAT_ID = 0x4ULL;
    static const unsigned long long FORMAT_GROUP = 0x8ULL;
    static const unsigned long long FORMAT_LOST = 0x10ULL;

    // sizes of the published perf_event_attr versions 0 to 3
    static const unsigned int ATTR_SIZE_VER0 = 64;
    static const unsigned int ATTR_SIZE_VER1 = 72;
    static const unsigned int ATTR_SIZE_VER2 = 80;
    static const unsigned int ATTR_SIZE_VER3 = 96;

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
