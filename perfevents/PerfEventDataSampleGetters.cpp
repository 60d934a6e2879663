#include "perfevents/PerfEventDataSampleGetters.h"

#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfFormat.h"

namespace perfevents {

void SampleFieldsGetter::readIpToTime(const unsigned char* position) {
    std::memcpy(&sample.ip, position, 8);
    std::memcpy(&sample.pid, position + 8, 4);
    std::memcpy(&sample.tid, position + 12, 4);
    std::memcpy(&sample.time, position + 16, 8);
}

void SampleFieldsGetter::readCpuResource(const unsigned char* position) {
    std::memcpy(&sample.cpu, position, 4);
    std::memcpy(&sample.resource, position + 4, 4);
}

unsigned int GetterWithStreamId::operator()(const unsigned char* position, unsigned int available) {
    if (available < 40)
        return NOT_DECODABLE;
    readIpToTime(position);
    std::memcpy(&sample.id, position + 24, 8);
    readCpuResource(position + 32);
    return 40;
}

unsigned int GetterNoStreamId::operator()(const unsigned char* position, unsigned int available) {
    if (available < 32)
        return NOT_DECODABLE;
    readIpToTime(position);
    readCpuResource(position + 24);
    return 32;
}

unsigned int GetterWithPeriod::operator()(const unsigned char* position, unsigned int available) {
    if (available < 40)
        return NOT_DECODABLE;
    readIpToTime(position);
    readCpuResource(position + 24);
    std::memcpy(&sample.period, position + 32, 8);
    return 40;
}

GetterReadFormat::GetterReadFormat(kestrel::ByteBufferViewport* destination, unsigned long long readFormat)
    : destination(destination), baseSize(8), entrySize(0), group(false) {
    if (readFormat & PerfFormat::FORMAT_TOTAL_TIME_ENABLED)
        baseSize += 8;
    if (readFormat & PerfFormat::FORMAT_TOTAL_TIME_RUNNING)
        baseSize += 8;
    // Each value carries its id and its lost count after it, as far as the read format selects them.
    const unsigned int extras =
        ((readFormat & PerfFormat::FORMAT_ID) ? 8 : 0) + ((readFormat & PerfFormat::FORMAT_LOST) ? 8 : 0);
    if (readFormat & PerfFormat::FORMAT_GROUP) {
        group = true;
        entrySize = 8 + extras;
    } else {
        baseSize += extras;
    }
}

unsigned int GetterReadFormat::operator()(const unsigned char* position, unsigned int available) {
    if (available < baseSize)
        return NOT_DECODABLE;
    unsigned long long length = baseSize;
    if (group) {
        unsigned long long count = 0;
        std::memcpy(&count, position, 8);
        length += static_cast<unsigned long long>(static_cast<unsigned int>(count)) * entrySize;
        if (length > available)
            return NOT_DECODABLE;
    }
    const unsigned int viewed = static_cast<unsigned int>(length);
    destination->initialize(const_cast<unsigned char*>(position), viewed, viewed);
    return viewed;
}

unsigned int GetterCallchain::operator()(const unsigned char* position, unsigned int available) {
    if (available < 8)
        return NOT_DECODABLE;
    unsigned long long count = 0;
    std::memcpy(&count, position, 8);
    const unsigned long long entries = static_cast<unsigned int>(count);
    if (entries > (available - 8) / 8)
        return NOT_DECODABLE;
    destination->resize(entries);
    if (entries > 0)
        std::memcpy(destination->data(), position + 8, entries * 8);
    return static_cast<unsigned int>(8 + entries * 8);
}

unsigned int GetterSampleRaw::operator()(const unsigned char* position, unsigned int available) {
    if (available < 4)
        return NOT_DECODABLE;
    unsigned int length = 0;
    std::memcpy(&length, position, 4);
    if (length > available - 4)
        return NOT_DECODABLE;
    destination->initialize(const_cast<unsigned char*>(position) + 4, length, length);
    return 4 + length;
}

} // namespace perfevents
