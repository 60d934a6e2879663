#ifndef PERFEVENTS_PERFEVENTDATASAMPLE_H
#define PERFEVENTS_PERFEVENTDATASAMPLE_H

#include "kestrel/ByteBufferViewport.h"
#include "perfevents/PerfEventData.h"
#include "perfevents/PerfEventDataSampleAncillary.h"
#include "perfevents/PerfEventDataSampleGetters.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <vector>

namespace perfevents {

/// Decoder of PERF_RECORD_SAMPLE records. The layout of a sample follows the sample type of the attribute the
/// decoder is built for; it is turned once into a list of getters that are run over every sample body.
///
/// The raw and read views point into the reader's record buffer and stay valid only until the next record is
/// read. A sample whose call chain or raw data runs past the end of its body is not decodable:
/// parseEventData returns false and the sample is counted (getUndecodableCount).
class PerfEventDataSample : public PerfEventData, public PerfEventDataSampleAncillary {
public:
    explicit PerfEventDataSample(const PerfEventAttribute& attribute);

    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataSample() override;
    Type getType() const override { return TYPE_SAMPLE; }

    unsigned int getPid() const override { return pid; }
    unsigned int getTid() const override { return tid; }
    unsigned long long getCpu() const override { return cpu; }
    unsigned long long getResource() const override { return resource; }
    unsigned int getRawSize() const override { return raw.size(); }

    unsigned long long getIp() const { return ip; }
    /// Time stamp in nanoseconds.
    unsigned long long getTime() const { return time; }
    unsigned long long getAddr() const { return addr; }
    unsigned long long getId() const { return id; }
    unsigned long long getStreamId() const { return streamId; }
    unsigned long long getPeriod() const { return period; }
    const kestrel::ByteBufferViewport& getReadValues() const { return readValues; }
    const std::vector<unsigned long long>& getCallchain() const { return callchain; }
    /// The trace point's raw data, without its size word.
    const kestrel::ByteBufferViewport& getRaw() const { return raw; }
    /// First byte of the raw data (null when the sample has none yet); getRawSize() bytes are readable.
    const unsigned char* getRawData() const { return raw.data(); }

    /// Number of samples that were long enough but whose variable-length parts ran past the body's end.
    unsigned long long getUndecodableCount() const { return undecodableCount; }
    const boost::ptr_vector<ValueGetter>& getGetters() const { return getters; }

protected:
    void setupGetters();
    void buildGetters();

private:
    friend class SampleFieldsGetter;
    friend class GetterWithStreamId;
    friend class GetterWithPeriod;

    unsigned long long ip;
    unsigned int pid;
    unsigned int tid;
    unsigned long long time;
    unsigned long long addr;
    unsigned long long id;
    unsigned long long streamId;
    unsigned int cpu;
    unsigned int resource;
    unsigned long long period;
    kestrel::ByteBufferViewport readValues;
    std::vector<unsigned long long> callchain;
    kestrel::ByteBufferViewport raw;
    boost::ptr_vector<ValueGetter> getters;
    unsigned long long undecodableCount;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
