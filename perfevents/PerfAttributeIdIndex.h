#ifndef PERFEVENTS_PERFATTRIBUTEIDINDEX_H
#define PERFEVENTS_PERFATTRIBUTEIDINDEX_H

#include "perfevents/PerfEventAttribute.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <unordered_map>
#include <utility>
#include <vector>

namespace perfevents {

/// Finds the attribute of a record by the id it carries: with PERF_SAMPLE_IDENTIFIER the id is the first u64 of a
/// sample and the last u64 of the sample_id trailer of any other record. While there are few ids (a recording has
/// one per event and CPU) they are scanned in a flat list, which beats hashing on the per-record path; the last id
/// looked up is remembered, since records come in runs of one event. The cache makes a lookup a change: each
/// thread that looks ids up needs an index of its own.
class PerfAttributeIdIndex {
public:
    static const int UNKNOWN = -1;

    /// Takes in the ids of the attributes of the list as it is now.
    void build(const boost::ptr_vector<PerfEventAttribute>& attributes);
    /// The index of the attribute of a record body, or UNKNOWN when its id belongs to none.
    int find(unsigned int type, const unsigned char* body, unsigned int size);

private:
    static const int NONE = -2; // nothing looked up since the last build

    std::unordered_map<unsigned long long, int> byId;
    std::vector<std::pair<unsigned long long, int>> fewIds; // the same while there are few; else empty
    unsigned long long lastId = 0;
    int lastIndex = NONE;
};

} // namespace perfevents

#endif
