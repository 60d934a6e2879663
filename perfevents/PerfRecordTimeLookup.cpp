#include "perfevents/PerfRecordTimeLookup.h"

#include "perfevents/PerfEventData.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/PerfRecordEventDataStore.h"

#include <cstring>

namespace perfevents {

namespace {
typedef PerfFormat A;

int bytesOf(unsigned long long bits) {
    int count = 0;
    for (; bits != 0; bits &= bits - 1)
        count += 8;
    return count;
}
} // namespace

PerfRecordTimeLookup::PerfRecordTimeLookup(const boost::ptr_vector<PerfEventAttribute>& attributes)
    : attributes(attributes), single(true) {
    rebuild();
}

void PerfRecordTimeLookup::rebuild() {
    // The same choice as the store's: records are told apart by id only when the layouts differ and every
    // attribute puts the id first in samples and last in trailers.
    bool sameLayout = true, identified = !attributes.empty();
    layouts.clear();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const PerfEventAttribute& attribute = attributes[i];
        if (i + 1 < attributes.size() && !PerfRecordEventDataStore::areAtributesSimilar(attribute, attributes[i + 1]))
            sameLayout = false;
        const unsigned long long sampleType = attribute.getSampleType();
        if ((sampleType & A::SAMPLE_IDENTIFIER) == 0)
            identified = false;
        Layout layout{-1, -1};
        if ((sampleType & A::SAMPLE_TIME) != 0) {
            layout.sampleOffset = bytesOf(sampleType & (A::SAMPLE_IDENTIFIER | A::SAMPLE_IP | A::SAMPLE_TID));
            if (attribute.isSampleIdAll())
                layout.trailerAfter =
                    bytesOf(sampleType & (A::SAMPLE_ID | A::SAMPLE_STREAM_ID | A::SAMPLE_CPU | A::SAMPLE_IDENTIFIER));
        }
        layouts.push_back(layout);
    }
    single = sameLayout || !identified;
    ids.build(attributes);
}

bool PerfRecordTimeLookup::getRecordTime(unsigned int type, const unsigned char* body, unsigned int size,
                                         unsigned long long& time) {
    if (layouts.empty())
        return false;
    const int index = single ? 0 : ids.find(type, body, size);
    if (index == PerfAttributeIdIndex::UNKNOWN)
        return false;
    const Layout& layout = layouts[static_cast<std::size_t>(index)];
    unsigned long long offset = 0;
    if (type == PerfEventData::TYPE_SAMPLE) {
        if (layout.sampleOffset < 0)
            return false;
        offset = static_cast<unsigned long long>(layout.sampleOffset);
    } else {
        if (layout.trailerAfter < 0 || size < static_cast<unsigned int>(layout.trailerAfter) + 8)
            return false;
        offset = size - static_cast<unsigned int>(layout.trailerAfter) - 8;
    }
    if (offset + 8 > size)
        return false;
    std::memcpy(&time, body + offset, 8);
    return true;
}

} // namespace perfevents
