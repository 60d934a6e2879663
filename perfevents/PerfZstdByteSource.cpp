#include "perfevents/PerfZstdByteSource.h"

#include <zstd.h>

namespace perfevents {

PerfZstdByteSource::PerfZstdByteSource()
    : context(ZSTD_createDCtx()), input(nullptr), inputSize(0), inputPosition(0), failed(context == nullptr) {
    if (failed)
        error = "cannot create a decompression context";
}

PerfZstdByteSource::~PerfZstdByteSource() {
    ZSTD_freeDCtx(context);
}

void PerfZstdByteSource::setInput(const unsigned char* data, std::size_t size) {
    input = data;
    inputSize = size;
    inputPosition = 0;
}

std::size_t PerfZstdByteSource::read(unsigned char* buffer, std::size_t count) {
    if (failed || count == 0)
        return 0;
    ZSTD_outBuffer out = {buffer, count, 0};
    while (out.pos < out.size) {
        ZSTD_inBuffer in = {input, inputSize, inputPosition};
        const std::size_t before = out.pos;
        const std::size_t consumedBefore = inputPosition;
        const std::size_t result = ZSTD_decompressStream(context, &out, &in);
        inputPosition = in.pos;
        if (ZSTD_isError(result)) {
            failed = true;
            error = ZSTD_getErrorName(result);
            break;
        }
        // Input used up and nothing more held back by the context: wait for the next piece.
        if (out.pos == before && (inputPosition == inputSize || inputPosition == consumedBefore))
            break;
    }
    return out.pos;
}

} // namespace perfevents
