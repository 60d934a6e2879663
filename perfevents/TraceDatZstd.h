#ifndef PERFEVENTS_TRACEDATZSTD_H
#define PERFEVENTS_TRACEDATZSTD_H

#include <cstddef>
#include <string>

namespace perfevents {

/// Decompresses one zstd-compressed piece of a trace.dat (a section or a chunk of CPU data) whose uncompressed size
/// the file states. The output grows only as far as the compressed data really fills it, so a damaged size
/// reserves no memory that is not written.
class TraceDatZstd {
public:
    /// Appends nothing on failure; returns false with the reason in `error` when the data is damaged or does not
    /// decompress to exactly `size` bytes.
    static bool decompress(const unsigned char* data, std::size_t dataSize, std::size_t size, std::string& out,
                           std::string& error);
};

} // namespace perfevents

#endif
