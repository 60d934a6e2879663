#ifndef PERFEVENTS_PERFEVENTDATASAMPLEGETTERS_H
#define PERFEVENTS_PERFEVENTDATASAMPLEGETTERS_H

#include "kestrel/ByteBufferViewport.h"

#include <cstring>
#include <vector>

namespace perfevents {

class PerfEventDataSample;

/// Reads one or more fields of a sample body into the sample that owns the getter.
class ValueGetter {
public:
    /// Returned instead of a byte count when the fields do not fit into the bytes available.
    static const unsigned int NOT_DECODABLE = 0xFFFFFFFFu;

    /// Reads from position, where available bytes remain in the body; returns the bytes consumed or
    /// NOT_DECODABLE.
    virtual unsigned int operator()(const unsigned char* position, unsigned int available) = 0;
    virtual ~ValueGetter() {}
    /// The fewest bytes the getter can consume.
    virtual unsigned int getMinimumSize() const = 0;
};

/// One host-order integer into one field.
template <typename T> class TypedValueGetter : public ValueGetter {
public:
    explicit TypedValueGetter(T* destination) : destination(destination) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override {
        if (available < sizeof(T))
            return NOT_DECODABLE;
        std::memcpy(destination, position, sizeof(T));
        return sizeof(T);
    }
    unsigned int getMinimumSize() const override { return sizeof(T); }

private:
    T* destination;
};

/// The getters that read the fixed fields of the sample type straight into the sample.
class SampleFieldsGetter : public ValueGetter {
protected:
    explicit SampleFieldsGetter(PerfEventDataSample& sample) : sample(sample) {}
    /// ip, pid, tid and time, which open every fixed run of fields.
    void readIpToTime(const unsigned char* position);
    /// cpu and resource, which share one 8-byte slot.
    void readCpuResource(const unsigned char* position);

    PerfEventDataSample& sample;
};

/// ip, pid, tid, time, id, cpu, resource in one go.
class GetterWithStreamId : public SampleFieldsGetter {
public:
    explicit GetterWithStreamId(PerfEventDataSample& sample) : SampleFieldsGetter(sample) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return 40; }
};

/// ip, pid, tid, time, cpu, resource in one go.
class GetterNoStreamId : public SampleFieldsGetter {
public:
    explicit GetterNoStreamId(PerfEventDataSample& sample) : SampleFieldsGetter(sample) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return 32; }
};

/// ip, pid, tid, time, cpu, resource, period in one go.
class GetterWithPeriod : public SampleFieldsGetter {
public:
    explicit GetterWithPeriod(PerfEventDataSample& sample) : SampleFieldsGetter(sample) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return 40; }
};

/// Views the read-format block, sized from the attribute's read format.
class GetterReadFormat : public ValueGetter {
public:
    GetterReadFormat(kestrel::ByteBufferViewport* destination, unsigned long long readFormat);
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return baseSize; }
    bool isGroup() const { return group; }
    unsigned int getEntrySize() const { return entrySize; }

private:
    kestrel::ByteBufferViewport* destination;
    unsigned int baseSize;
    unsigned int entrySize;
    bool group;
};

/// A u64 count n, then n u64 addresses.
class GetterCallchain : public ValueGetter {
public:
    explicit GetterCallchain(std::vector<unsigned long long>* destination) : destination(destination) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return 16; }

private:
    std::vector<unsigned long long>* destination;
};

/// A u32 size s, then views the next s bytes as the raw trace point data.
class GetterSampleRaw : public ValueGetter {
public:
    explicit GetterSampleRaw(kestrel::ByteBufferViewport* destination) : destination(destination) {}
    unsigned int operator()(const unsigned char* position, unsigned int available) override;
    unsigned int getMinimumSize() const override { return 4; }

private:
    kestrel::ByteBufferViewport* destination;
};

} // namespace perfevents

#endif
