#ifndef PERFEVENTS_PERFOUTPUTREADERFACTORY_H
#define PERFEVENTS_PERFOUTPUTREADERFACTORY_H

#include "perfevents/PerfOutputReader.h"

#include <istream>
#include <memory>

namespace perfevents {

/// Chooses the reader of a recording by its first byte: a trace-cmd recording (trace.dat) begins with 0x17, a
/// perf.data file with its magic. Only that one byte is looked at, so the input may be a pipe (standard input);
/// the trace.dat reader then says that it needs a file.
class PerfOutputReaderFactory {
public:
    /// The reader, set up on the input; throws what the reader's construction throws (std::ios_base::failure
    /// for a recording that cannot be read).
    static std::unique_ptr<PerfOutputReader> create(std::istream& input);
};

} // namespace perfevents

#endif
