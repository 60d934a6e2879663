#ifndef PERFEVENTS_PERFRECORDFRAMER_H
#define PERFEVENTS_PERFRECORDFRAMER_H

#include "perfevents/PerfByteSource.h"
#include "perfevents/PerfRecordBlockPool.h"

#include <vector>

namespace perfevents {

/// One whole record as framed: its header fields and all its bytes, header included. The bytes belong to the
/// framer and stay valid until its next call of next() or readPayload().
struct PerfRecordView {
    unsigned int type = 0;
    unsigned short misc = 0;
    unsigned int size = 0;
    const unsigned char* bytes = nullptr;
    /// The pool block that holds the bytes, when the framer reads into pool blocks.
    unsigned int block = PerfRecordBlockPool::NO_BLOCK;

    const unsigned char* body() const { return bytes + 8; }
    unsigned int bodySize() const { return size - 8; }
};

/// Turns the bytes of a source into whole records. It reads the source in large blocks into one buffer and
/// hands out views of the records in it, so that a record costs no read of its own. Payloads that follow a
/// record outside its size (the trace data of an AUXTRACE record, the tracing data after the 16-byte
/// HEADER_TRACING_DATA record of a pipe) are skipped unless taken with readPayload(), so that they are never read
/// as records; a HEADER_TRACING_DATA record whose size covers its data (as Android's recorder writes it) has no
/// payload. A limit stops the framer at the end of a data section.
///
/// Given a block pool, the framer reads into pool blocks and starts a new block (taking along the start of a
/// record cut at the end of the old one) where it would otherwise move bytes within its buffer. The bytes of a
/// record then stay where they are for as long as its block is pinned by someone else: the order queue keeps them
/// there instead of copying.
class alignas(64) PerfRecordFramer {
public:
    static const std::size_t DEFAULT_BLOCK_SIZE = 1u << 20;

    /// limit: the bytes to frame at most; 0 frames until the source ends.
    PerfRecordFramer(PerfByteSource& source, unsigned long long limit = 0, std::size_t blockSize = DEFAULT_BLOCK_SIZE);
    /// Reads into blocks of the pool (whose blocks hold at least two records of the largest size).
    PerfRecordFramer(PerfByteSource& source, PerfRecordBlockPool& pool, unsigned long long limit = 0);
    ~PerfRecordFramer();
    PerfRecordFramer(const PerfRecordFramer&) = delete;
    PerfRecordFramer& operator=(const PerfRecordFramer&) = delete;

    /// The next whole record; false when the bytes at hand do not hold one (see isGarbled and getPartialBytes).
    /// A source that later has more (a decompressor given its next piece) may be asked again.
    bool next(PerfRecordView& record);

    /// Reads the payload that follows the record last returned into out (at most maxSize bytes; a larger
    /// payload is skipped). False when the record has none, it is too large, or the source ends inside it.
    bool readPayload(std::vector<unsigned char>& out, unsigned long long maxSize);

    /// A record header stated a size below 8 bytes: framing cannot go on.
    bool isGarbled() const { return garbled; }
    /// Bytes read from the source that do not (yet) make a whole record, and payload bytes still to skip.
    unsigned long long getPartialBytes() const { return (end - position) + payloadLeft; }
    /// Payload bytes after the last record that the source ended before.
    unsigned long long getPayloadLeft() const { return payloadLeft; }
    /// The size that the header of the incomplete record at hand states (0 when not even its header is there).
    unsigned int getPartialRecordSize() const;
    /// Bytes of whole records and payloads handed out or skipped so far.
    unsigned long long getConsumed() const { return consumed; }
    unsigned long long getLimit() const { return limit; }

private:
    bool _fill(std::size_t needed);
    /// Consumes the payload after the last record, appending it to out unless out is null.
    bool _takePayload(std::vector<unsigned char>* out);
    void _notePayload(const PerfRecordView& record);

    PerfByteSource& source;
    unsigned long long limit;
    unsigned long long fromSource; // bytes taken from the source so far
    unsigned long long consumed;
    unsigned long long payloadLeft; // payload bytes after the last record, not yet skipped
    void _moveRest();

    std::vector<unsigned char> owned; // the buffer, without a pool
    PerfRecordBlockPool* pool;
    unsigned int block; // the pool block read into
    unsigned char* buffer;
    std::size_t capacity;
    std::size_t position;
    std::size_t end;
    bool garbled;
};

} // namespace perfevents

#endif
