#ifndef PERFEVENTS_PERFEVENTDATA_H
#define PERFEVENTS_PERFEVENTDATA_H

#include "kestrel/ByteBufferViewport.h"
#include "perfevents/PerfFormat.h"

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
        TYPE_MMAP = PerfFormat::RECORD_MMAP,
        TYPE_LOST = PerfFormat::RECORD_LOST,
        TYPE_COMM = PerfFormat::RECORD_COMM,
        TYPE_EXIT = PerfFormat::RECORD_EXIT,
        TYPE_THROTTLE = PerfFormat::RECORD_THROTTLE,
        TYPE_UNTHROTTLE = PerfFormat::RECORD_UNTHROTTLE,
        TYPE_FORK = PerfFormat::RECORD_FORK,
        TYPE_READ = PerfFormat::RECORD_READ,
        TYPE_SAMPLE = PerfFormat::RECORD_SAMPLE
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
