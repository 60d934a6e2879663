#ifndef PERFEVENTS_PERFRECORDEVENTDATASTORE_H
#define PERFEVENTS_PERFRECORDEVENTDATASTORE_H

#include "perfevents/PerfAttributeIdIndex.h"
#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataStore.h"

#include <boost/ptr_container/ptr_vector.hpp>

namespace perfevents {

class PerfEventDataSample;

/// The owner of the attributes' decoders: one reused decoder per record type and attribute. It finds the
/// attribute of each record by the record's id, so that every sample is decoded with its own attribute's layout:
/// with PERF_SAMPLE_IDENTIFIER the id is the first u64 of a sample and the last u64 of the sample_id trailer of
/// any other record. When all attributes share one layout, the first attribute's decoders serve every record.
class PerfRecordEventDataStore : public PerfEventDataStore {
public:
    static const int UNKNOWN_ATTRIBUTE = PerfAttributeIdIndex::UNKNOWN;

    /// Throws std::invalid_argument when the list is empty. The list may grow later (attributes of a pipe);
    /// call attributesChanged() then.
    explicit PerfRecordEventDataStore(const boost::ptr_vector<PerfEventAttribute>& attributes);

    PerfEventData* getEventData(PerfEventData::Type type, const kestrel::ByteBufferViewport& body,
                                PerfEventData::MiscFlags misc) override;
    ~PerfRecordEventDataStore() override;

    /// Same size, sample type, sample id all flag and read format.
    static bool areAtributesSimilar(const PerfEventAttribute& first, const PerfEventAttribute& second);

    /// Rebuilds the decoders for the attribute list as it is now.
    void attributesChanged();

    /// Index of the attribute of a record body, or UNKNOWN_ATTRIBUTE when its id belongs to none.
    int findAttribute(unsigned int type, const unsigned char* body, unsigned int size) const;

    /// Samples skipped because their id belongs to no attribute.
    unsigned long long getUnknownAttributeCount() const { return unknownAttributeCount; }
    /// Samples whose call chain, read values or raw data ran past the end of their record.
    unsigned long long getUndecodableSampleCount() const;
    /// The same by set of decoders: one per attribute when their records are told apart, else one for all.
    std::vector<unsigned long long> getUndecodableSampleCounts() const;

protected:
    void buildPerfEventDataParsers();

private:
    static const unsigned int TYPES = PerfEventData::TYPE_SAMPLE + 1;

    const boost::ptr_vector<PerfEventAttribute>& attributes;
    boost::ptr_vector<PerfEventData> decoders; // index: attribute * TYPES + type
    mutable PerfAttributeIdIndex ids;          // its cache of the last id changes on lookups
    bool sameLayout;
    bool identified; // every attribute puts the id first in samples and last in trailers
    bool warned;
    unsigned long long unknownAttributeCount;
    unsigned long long undecodableBefore; // of decoders dropped by a rebuild

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
