#ifndef PERFEVENTS_PERFREADPROBLEMS_H
#define PERFEVENTS_PERFREADPROBLEMS_H

#include <map>
#include <string>

namespace perfevents {

/// What the walk over a recording could not convert, for its user.
struct PerfReadProblems {
    /// Samples that could not be decoded (their call chain, read values or raw data run past the end of their
    /// record), by the index of the attribute they belong to; -1 where that cannot be told.
    std::map<int, unsigned long long> undecodableSamples;
    /// Samples whose id belongs to no attribute of the recording.
    unsigned long long unknownAttributeSamples = 0;
    /// What a cut or damaged recording lost, in words (records after damage, incomplete last records, records
    /// that could not be decompressed); empty when nothing was lost.
    std::string damage;
};

} // namespace perfevents

#endif
