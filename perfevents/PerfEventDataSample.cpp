#include "perfevents/PerfEventDataSample.h"

#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfFormat.h"

namespace perfevents {

kestrel::Logger* PerfEventDataSample::logger = nullptr;

namespace {
typedef PerfFormat A;
const unsigned long long LAYOUT_WITH_STREAM_ID =
    A::SAMPLE_IP | A::SAMPLE_TID | A::SAMPLE_TIME | A::SAMPLE_ID | A::SAMPLE_CPU | A::SAMPLE_RAW; // 0x4C7
const unsigned long long LAYOUT_NO_STREAM_ID =
    A::SAMPLE_IP | A::SAMPLE_TID | A::SAMPLE_TIME | A::SAMPLE_CPU | A::SAMPLE_RAW; // 0x487
const unsigned long long LAYOUT_WITH_PERIOD = A::SAMPLE_IP | A::SAMPLE_TID | A::SAMPLE_TIME | A::SAMPLE_CALLCHAIN |
                                              A::SAMPLE_CPU | A::SAMPLE_PERIOD | A::SAMPLE_RAW; // 0x5A7
} // namespace

PerfEventDataSample::PerfEventDataSample(const PerfEventAttribute& attribute)
    : PerfEventData(attribute), ip(~0ULL), pid(~0u), tid(~0u), time(0), addr(~0ULL), id(~0ULL), streamId(~0ULL),
      cpu(~0u), resource(~0u), period(~0ULL), undecodableCount(0) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("PerfEventDataSample");
    setupGetters();
}

PerfEventDataSample::~PerfEventDataSample() {}

void PerfEventDataSample::setupGetters() {
    const unsigned long long sampleType = attribute.getSampleType();
    if (sampleType == LAYOUT_WITH_STREAM_ID) {
        logger->debugf("PERF_RECORD_SAMPLE format is common (to perf record) and includes the ID.");
        getters.push_back(new GetterWithStreamId(*this));
        getters.push_back(new GetterSampleRaw(&raw));
    } else if (sampleType == LAYOUT_NO_STREAM_ID) {
        logger->debugf("PERF_RECORD_SAMPLE format is common (to perf record) and but excludes ID.");
        getters.push_back(new GetterNoStreamId(*this));
        getters.push_back(new GetterSampleRaw(&raw));
    } else if (sampleType == LAYOUT_WITH_PERIOD) {
        logger->debugf("PERF_RECORD_SAMPLE format is common (to perf record) and includes ID and CALLCHAIN.");
        getters.push_back(new GetterWithPeriod(*this));
        getters.push_back(new GetterCallchain(&callchain));
        getters.push_back(new GetterSampleRaw(&raw));
    } else {
        logger->infof("PERF_RECORD_SAMPLE format is not a common format.  Will use dynamically created parser.");
        buildGetters();
    }
    for (const ValueGetter& getter : getters)
        requiredMinimumSize += getter.getMinimumSize();
}

void PerfEventDataSample::buildGetters() {
    typedef TypedValueGetter<unsigned int> U32;
    typedef TypedValueGetter<unsigned long long> U64;
    const unsigned long long sampleType = attribute.getSampleType();

    // Current perf puts the stream id first when several events are recorded, so that any record can be
    // matched to its attribute before its layout is known.
    if (sampleType & A::SAMPLE_IDENTIFIER)
        getters.push_back(new U64(&id));
    // The fixed fields of trace point samples as perf records them, read in one go.
    const unsigned long long fixedRun =
        A::SAMPLE_IP | A::SAMPLE_TID | A::SAMPLE_TIME | A::SAMPLE_CPU | A::SAMPLE_PERIOD;
    if ((sampleType & (fixedRun | A::SAMPLE_ADDR | A::SAMPLE_ID | A::SAMPLE_STREAM_ID)) == fixedRun) {
        getters.push_back(new GetterWithPeriod(*this));
    } else {
        if (sampleType & A::SAMPLE_IP)
            getters.push_back(new U64(&ip));
        if (sampleType & A::SAMPLE_TID) {
            getters.push_back(new U32(&pid));
            getters.push_back(new U32(&tid));
        }
        if (sampleType & A::SAMPLE_TIME)
            getters.push_back(new U64(&time));
        if (sampleType & A::SAMPLE_ADDR)
            getters.push_back(new U64(&addr));
        if (sampleType & A::SAMPLE_ID)
            getters.push_back(new U64(&id));
        if (sampleType & A::SAMPLE_STREAM_ID)
            getters.push_back(new U64(&streamId));
        if (sampleType & A::SAMPLE_CPU) {
            getters.push_back(new U32(&cpu));
            getters.push_back(new U32(&resource));
        }
        if (sampleType & A::SAMPLE_PERIOD)
            getters.push_back(new U64(&period));
    }
    if (sampleType & A::SAMPLE_READ)
        getters.push_back(new GetterReadFormat(&readValues, attribute.getReadFormat()));
    if (sampleType & A::SAMPLE_CALLCHAIN)
        getters.push_back(new GetterCallchain(&callchain));
    if (sampleType & A::SAMPLE_RAW)
        getters.push_back(new GetterSampleRaw(&raw));

    // These fields follow the raw data, so leaving them unread disturbs nothing before them.
    const unsigned int config = attribute.getConfig();
    if (sampleType & A::SAMPLE_BRANCH_STACK)
        logger->warnf("Branch stack data specified for trace point %u. It will be ignored.", config);
    if (sampleType & A::SAMPLE_REGS_USER)
        logger->warnf("User register data specified for trace point %u. It will be ignored.", config);
    if (sampleType & A::SAMPLE_STACK_USER)
        logger->warnf("User stack data specified for trace point %u. It will be ignored.", config);
    if (sampleType & A::SAMPLE_WEIGHT)
        logger->warnf("Weight data specified for trace point %u. It will be ignored.", config);
    if (sampleType & A::SAMPLE_DATA_SRC)
        logger->warnf("Data source information specified for trace point %u. It will be ignored.", config);
}

bool PerfEventDataSample::parseEventData(const kestrel::ByteBufferViewport& body) {
    const unsigned char* position = body.data();
    unsigned int available = body.size();
    for (ValueGetter& getter : getters) {
        const unsigned int consumed = getter(position, available);
        if (consumed == ValueGetter::NOT_DECODABLE) {
            ++undecodableCount;
            return false;
        }
        position += consumed;
        available -= consumed;
    }
    return true;
}

} // namespace perfevents
