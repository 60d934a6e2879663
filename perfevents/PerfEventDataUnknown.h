#ifndef PERFEVENTS_PERFEVENTDATAUNKNOWN_H
#define PERFEVENTS_PERFEVENTDATAUNKNOWN_H

#include "perfevents/PerfEventData.h"

namespace perfevents {

/// A record delivered undecoded: a view of the bytes given (in raw mode the whole record with its header).
class PerfEventDataUnknown : public PerfEventData {
public:
    explicit PerfEventDataUnknown(const PerfEventAttribute& attribute);
    bool parseEventData(const kestrel::ByteBufferViewport& body) override;
    ~PerfEventDataUnknown() override;
    Type getType() const override { return TYPE_UNKNOWN; }

    const kestrel::ByteBufferViewport& getRecord() const { return record; }

private:
    kestrel::ByteBufferViewport record;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
