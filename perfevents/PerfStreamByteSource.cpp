#include "perfevents/PerfStreamByteSource.h"

namespace perfevents {

std::size_t PerfStreamByteSource::read(unsigned char* buffer, std::size_t count) {
    std::size_t total = 0;
    // A pipe may hand out fewer bytes than asked before its end: only a read that yields nothing ends the stream.
    while (total < count && input.good()) {
        const std::streamsize got =
            input.rdbuf()->sgetn(reinterpret_cast<char*>(buffer) + total, static_cast<std::streamsize>(count - total));
        if (got <= 0) {
            input.setstate(std::ios::eofbit);
            break;
        }
        total += static_cast<std::size_t>(got);
    }
    return total;
}

} // namespace perfevents
