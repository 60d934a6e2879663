#ifndef PERFEVENTS_PERFZSTDBYTESOURCE_H
#define PERFEVENTS_PERFZSTDBYTESOURCE_H

#include "perfevents/PerfByteSource.h"

#include <string>

struct ZSTD_DCtx_s;

namespace perfevents {

/// The decompressed output of the compressed records of one recording. Their payloads are pieces of one zstd
/// stream: one context decompresses them all, in file order, and a record may begin in the output of one piece
/// and end in the output of the next.
class PerfZstdByteSource : public PerfByteSource {
public:
    PerfZstdByteSource();
    ~PerfZstdByteSource() override;
    PerfZstdByteSource(const PerfZstdByteSource&) = delete;
    PerfZstdByteSource& operator=(const PerfZstdByteSource&) = delete;

    /// The next piece of the stream; it must stay in place until read() has returned less than asked.
    void setInput(const unsigned char* data, std::size_t size);
    std::size_t read(unsigned char* buffer, std::size_t count) override;

    /// Whether the stream was found damaged; nothing more is decompressed after that.
    bool hasFailed() const { return failed; }
    const std::string& getError() const { return error; }

private:
    ZSTD_DCtx_s* context;
    const unsigned char* input;
    std::size_t inputSize;
    std::size_t inputPosition;
    bool failed;
    std::string error;
};

} // namespace perfevents

#endif
