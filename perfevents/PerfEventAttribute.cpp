#include "perfevents/PerfEventAttribute.h"

#include "kestrel/ByteCursor.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfFormat.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <stdexcept>

namespace perfevents {

kestrel::Logger* PerfEventAttribute::logger = nullptr;

namespace {
bool bit(unsigned long long flags, unsigned int number) {
    return ((flags >> number) & 1ULL) != 0;
}

// Lower-case hexadecimal, zero-filled to at least `width` digits; the stream goes back to decimal afterwards.
struct Hex {
    unsigned long long value;
    int width;
};

std::ostream& operator<<(std::ostream& out, const Hex& hex) {
    char fill = out.fill('0');
    out << std::hex << std::nouppercase << std::setw(hex.width) << hex.value << std::dec;
    out.fill(fill);
    return out;
}
} // namespace

PerfEventAttribute::PerfEventAttribute()
    : type(6), size(0), config(0), samplePeriod(0), frequency(false), sampleType(0), readFormat(0), disabled(false),
      inherit(false), inheritStat(false), pinned(false), exclusive(false), excludeUser(false), excludeKernel(false),
      excludeHypervisor(false), excludeIdle(false), mmap(false), mmapData(false), comm(false), enableOnExec(false),
      task(false), wakeup(0), watermark(false), preciseIp(0), sampleIdAll(false), excludeHost(false),
      excludeGuest(false), breakpointType(0), config1(0), config2(0), excludeCallchainKernel(false),
      excludeCallchainUser(false), branchSampleType(0), sampleRegsUser(0), sampleStackUser(0) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventAttribute");
}

PerfEventAttribute::PerfEventAttribute(const kestrel::ByteBufferViewport& data,
                                       const std::vector<unsigned long long>& ids)
    : PerfEventAttribute() {
    if (!initialize(data, ids))
        throw std::invalid_argument("Data is not of sufficient size to hold a full perf_event_attr.");
}

bool PerfEventAttribute::initialize(const kestrel::ByteBufferViewport& data,
                                    const std::vector<unsigned long long>& ids) {
    typedef PerfFormat F;
    const unsigned int n = data.size();
    if (n < F::ATTR_SIZE_VER0) {
        logger->tracef("Perf event attribute data not large enough. Size is %u, expected at least %u", n,
                       F::ATTR_SIZE_VER0);
        return false;
    }
    streamIds = ids;
    rawBytes.initialize(data.data(), n, n);
    // The fields one after another, as perf_event_attr lays them out; each version adds fields at the end.
    kestrel::ByteCursor fields(rawBytes.data(), n);
    unsigned long long fullConfig = 0, flags = 0;
    fields.read(type);
    fields.read(size);
    fields.read(fullConfig);
    config = static_cast<unsigned int>(fullConfig);
    fields.read(samplePeriod);
    fields.read(sampleType);
    fields.read(readFormat);
    fields.read(flags);
    disabled = bit(flags, 0);
    inherit = bit(flags, 1);
    pinned = bit(flags, 2);
    exclusive = bit(flags, 3);
    excludeUser = bit(flags, 4);
    excludeKernel = bit(flags, 5);
    excludeHypervisor = bit(flags, 6);
    excludeIdle = bit(flags, 7);
    mmap = bit(flags, 8);
    comm = bit(flags, 9);
    frequency = bit(flags, 10);
    inheritStat = bit(flags, 11);
    enableOnExec = bit(flags, 12);
    task = bit(flags, 13);
    watermark = bit(flags, 14);
    preciseIp = static_cast<unsigned int>((flags >> 15) & 3ULL);
    mmapData = bit(flags, 17);
    sampleIdAll = bit(flags, 18);
    fields.read(wakeup);
    fields.read(breakpointType);
    fields.read(config1);
    if (n < F::ATTR_SIZE_VER1)
        return true;
    excludeHost = bit(flags, 19);
    excludeGuest = bit(flags, 20);
    fields.read(config2);
    if (n < F::ATTR_SIZE_VER2)
        return true;
    fields.read(branchSampleType);
    if (n < F::ATTR_SIZE_VER3)
        return true;
    excludeCallchainKernel = bit(flags, 21);
    excludeCallchainUser = bit(flags, 22);
    fields.read(sampleRegsUser);
    fields.read(sampleStackUser);
    return true;
}

bool PerfEventAttribute::isAssociatedWithId(unsigned long long id) const {
    return std::find(streamIds.begin(), streamIds.end(), id) != streamIds.end();
}

std::ostream& operator<<(std::ostream& out, const PerfEventAttribute& a) {
    const char* indent = "    ";
    out << "\nPerf Event Attribute:\n";
    out << indent << "Related stream IDs: ";
    for (unsigned long long id : a.getStreamIds())
        out << id << ", ";
    out << "\n";
    out << indent << "Type: " << a.getType() << "\n";
    out << indent << "Size: " << a.getSize() << " (0x" << Hex{a.getSize(), 4} << ")\n";
    out << indent << "Config: " << a.getConfig() << " (0x" << Hex{a.getConfig(), 8} << ")\n";
    out << indent << "Sampling " << (a.isFrequency() ? "frequency: " : "period: ") << a.getSamplePeriod() << "\n";
    out << indent << "Sample type: 0x" << Hex{a.getSampleType(), 8} << "\n";
    out << indent << "Always get sample data: " << (a.isSampleIdAll() ? 1 : 0) << "\n";
    out << indent << "Read format: 0x" << Hex{a.getReadFormat(), 8} << "\n";
    out << indent << "----\n";
    const struct {
        const char* label;
        bool value;
    } flags[] = {{"Include fork/exit: ", a.isTask()},
                 {"Include mmap events: ", a.isMmap()},
                 {"Include mmap data: ", a.isMmapData()},
                 {"Record comm events: ", a.isComm()},
                 {"Disabled on creation: ", a.isDisabled()},
                 {"Enable on exec: ", a.isEnableOnExec()},
                 {"Count child tasks: ", a.isInherit()},
                 {"Count child context switches: ", a.isInheritStat()},
                 {"Is pinned to CPU: ", a.isPinned()},
                 {"Is CPU exclusive: ", a.isExclusive()},
                 {"Exclude user space events: ", a.isExcludeUser()},
                 {"Exclude kernel space events: ", a.isExcludeKernel()},
                 {"Exclude hypervisor events: ", a.isExcludeHypervisor()},
                 {"Exclude CPU idle events: ", a.isExcludeIdle()},
                 {"Exclude VM host events: ", a.isExcludeHost()},
                 {"Exclude VM guest events: ", a.isExcludeGuest()},
                 {"Exclude kernel callchains: ", a.isExcludeCallchainKernel()},
                 {"Exclude user callchains: ", a.isExcludeCallchainUser()}};
    for (const auto& flag : flags)
        out << indent << flag.label << (flag.value ? 1 : 0) << "\n";
    out << indent << (a.isWatermark() ? "Watermark: " : "Wakeup rate: ") << a.getWakeup() << "\n";
    out << indent << "IP precision: " << a.getPreciseIp() << "\n";
    out << indent << "Hardware breakpoint type: 0x" << Hex{a.getBreakpointType(), 8} << "\n";
    out << indent << "Get breakpoint address/config1: 0x" << Hex{a.getConfig1(), 8} << "\n";
    out << indent << "Get breakpoint length/config2: 0x" << Hex{a.getConfig2(), 8} << "\n";
    out << indent << "Branch sample type: " << a.getBranchSampleType() << "\n";
    out << indent << "User registers: 0x" << Hex{a.getSampleRegsUser(), 8} << "\n";
    out << indent << "User stack size: " << a.getSampleStackUser() << "\n";
    return out;
}

} // namespace perfevents
