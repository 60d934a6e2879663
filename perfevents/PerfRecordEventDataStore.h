#ifndef PERFEVENTS_PERFRECORDEVENTDATASTORE_H
#define PERFEVENTS_PERFRECORDEVENTDATASTORE_H

#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataStore.h"

#include <boost/ptr_container/ptr_vector.hpp>

namespace perfevents {

class PerfEventDataSample;

/// Owns one reused decoder per record type (index = type), all built for the first attribute.
class PerfRecordEventDataStore : public PerfEventDataStore {
public:
    /// Throws std::invalid_argument when the list is empty.
    explicit PerfRecordEventDataStore(const boost::ptr_vector<PerfEventAttribute>& attributes);

    PerfEventData* getEventData(PerfEventData::Type type, const kestrel::ByteBufferViewport& body,
                                PerfEventData::MiscFlags misc) override;
    ~PerfRecordEventDataStore() override;

    /// Same size, sample type, sample id all flag and read format.
    static bool areAtributesSimilar(const PerfEventAttribute& first, const PerfEventAttribute& second);

    const PerfEventDataSample& getSampleDecoder() const;

protected:
    void buildPerfEventDataParsers();

private:
    const boost::ptr_vector<PerfEventAttribute>& attributes;
    boost::ptr_vector<PerfEventData> decoders;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
