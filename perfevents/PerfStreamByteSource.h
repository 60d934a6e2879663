#ifndef PERFEVENTS_PERFSTREAMBYTESOURCE_H
#define PERFEVENTS_PERFSTREAMBYTESOURCE_H

#include "perfevents/PerfByteSource.h"

#include <istream>

namespace perfevents {

/// Reads an input stream (a file or standard input) through its stream buffer, in the large blocks the framer
/// asks for, so that the stream's own small buffer is bypassed.
class PerfStreamByteSource : public PerfByteSource {
public:
    explicit PerfStreamByteSource(std::istream& input) : input(input) {}
    std::size_t read(unsigned char* buffer, std::size_t count) override;

private:
    std::istream& input;
};

} // namespace perfevents

#endif
