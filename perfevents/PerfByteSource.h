#ifndef PERFEVENTS_PERFBYTESOURCE_H
#define PERFEVENTS_PERFBYTESOURCE_H

#include <cstddef>

namespace perfevents {

/// Where the record framer takes its bytes from: an input stream, or the output of a decompressor.
class PerfByteSource {
public:
    virtual ~PerfByteSource() {}
    /// Copies up to count bytes to buffer; returns how many. Fewer than asked means the source has nothing more
    /// for now (the end of a stream, or the end of the compressed input given so far).
    virtual std::size_t read(unsigned char* buffer, std::size_t count) = 0;
};

} // namespace perfevents

#endif
