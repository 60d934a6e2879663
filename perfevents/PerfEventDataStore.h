#ifndef PERFEVENTS_PERFEVENTDATASTORE_H
#define PERFEVENTS_PERFEVENTDATASTORE_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// Decodes record bodies by record type.
class PerfEventDataStore {
public:
    /// The decoded record, or null when the type is not decoded or the body does not decode.
    virtual PerfEventData* getEventData(PerfEventData::Type type, const kestrel::ByteBufferViewport& body,
                                        PerfEventData::MiscFlags misc) = 0;
    virtual ~PerfEventDataStore() {}
};

} // namespace perfevents

#endif
