#include "perfevents/TraceDatZstd.h"

#include <algorithm>
#include <memory>
#include <zstd.h>

namespace perfevents {

bool TraceDatZstd::decompress(const unsigned char* data, std::size_t dataSize, std::size_t size, std::string& out,
                              std::string& error) {
    std::unique_ptr<ZSTD_DCtx, std::size_t (*)(ZSTD_DCtx*)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
    if (!context) {
        error = "no memory for the decompression";
        return false;
    }
    out.clear();
    ZSTD_inBuffer input{data, dataSize, 0};
    std::size_t produced = 0;
    for (;;) {
        // Room for the next stretch of output, up to the stated size and one byte beyond it to catch more.
        const std::size_t room = std::min<std::size_t>(size + 1, std::max<std::size_t>(2 * produced, 1 << 16));
        out.resize(room);
        ZSTD_outBuffer output{&out[0], out.size(), produced};
        const std::size_t result = ZSTD_decompressStream(context.get(), &output, &input);
        produced = output.pos;
        if (ZSTD_isError(result)) {
            error = ZSTD_getErrorName(result);
            break;
        }
        if (produced > size) {
            error = "it holds more than the stated " + std::to_string(size) + " bytes";
            break;
        }
        if (result == 0 && input.pos == input.size) { // the frame is complete and the input used up
            if (produced == size) {
                out.resize(produced);
                return true;
            }
            error = "it holds " + std::to_string(produced) + " bytes, not the stated " + std::to_string(size);
            break;
        }
        if (output.pos < output.size && input.pos == input.size) {
            error = "it ends early";
            break;
        }
    }
    out.clear();
    return false;
}

} // namespace perfevents
