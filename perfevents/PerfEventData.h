#ifndef PERFEVENTS_PERFEVENTDATA_H
#define PERFEVENTS_PERFEVENTDATA_H

#include "kestrel/ByteBufferViewport.h"

namespace kestrel {
class Logger;
}

namespace perfevents {

class PerfEventAttribute;

/// Base of every decoded record of a perf.data file. Decoders are reused: each decode overwrites the fields.
class PerfEventData {
public:
    /// Record type, numbered as the PERF_RECORD_* values; 0 for a record delivered raw. Any 32-bit value of a
    /// record header fits.
    enum Type : unsigned int {
        TYPE_UNKNOWN = 0,
        TYPE_MMAP = 1,
        TYPE_LOST = 2,
        TYPE_COMM = 3,
        TYPE_EXIT = 4,
        TYPE_THROTTLE = 5,
        TYPE_UNTHROTTLE = 6,
        TYPE_FORK = 7,
        TYPE_READ = 8,
        TYPE_SAMPLE = 9
    };
    /// The misc field of the record header.
    typedef unsigned short MiscFlags;

    explicit PerfEventData(const PerfEventAttribute& attribute);

    /// Decodes a record body (the bytes after the record header).
    virtual bool parseEventData(const kestrel::ByteBufferViewport& body) = 0;
    virtual ~PerfEventData();
    /// The fewest body bytes the decoder accepts.
    virtual unsigned int getRequiredMinimumSize() const;
    virtual Type getType() const = 0;

    /// Rejects a body shorter than the required minimum without touching the record; otherwise stores the misc
    /// flags and decodes.
    bool parse(const kestrel::ByteBufferViewport& body, MiscFlags misc);

    const PerfEventAttribute& getAttribute() const { return attribute; }
    MiscFlags getMiscFlags() const { return miscFlags; }

protected:
    const PerfEventAttribute& attribute;
    unsigned int requiredMinimumSize;
    MiscFlags miscFlags;

private:
    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
