#ifndef PERFEVENTS_PERFRECORDTIMELOOKUP_H
#define PERFEVENTS_PERFRECORDTIMELOOKUP_H

#include "perfevents/PerfAttributeIdIndex.h"
#include "perfevents/PerfEventAttribute.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <vector>

namespace perfevents {

/// Finds the time stamp of a kernel record, as the record store does (a sample's own time, or that of another
/// record's sample_id trailer, by the layout of the record's attribute), without decoding anything. It keeps the
/// offsets of each attribute ready and its own cache of the last id, so the thread that orders the records can
/// use it while another thread decodes them through the store.
class alignas(64) PerfRecordTimeLookup {
public:
    /// The list may grow later (attributes of a pipe); call rebuild() then.
    explicit PerfRecordTimeLookup(const boost::ptr_vector<PerfEventAttribute>& attributes);

    /// Takes in the attribute list as it is now.
    void rebuild();
    /// False when the record carries no time, or its id belongs to no attribute.
    bool getRecordTime(unsigned int type, const unsigned char* body, unsigned int size, unsigned long long& time);

private:
    struct Layout {
        int sampleOffset; // of the time in a sample; -1: samples have none
        int trailerAfter; // bytes after the time in a sample_id trailer; -1: other records carry none
    };

    const boost::ptr_vector<PerfEventAttribute>& attributes;
    std::vector<Layout> layouts;
    PerfAttributeIdIndex ids;
    bool single; // every record is read by the first attribute's layout
};

} // namespace perfevents

#endif
