#include "perfevents/PerfAttributeIdIndex.h"

#include "perfevents/PerfEventData.h"

#include <cstring>

namespace perfevents {

void PerfAttributeIdIndex::build(const boost::ptr_vector<PerfEventAttribute>& attributes) {
    byId.clear();
    for (std::size_t i = 0; i < attributes.size(); ++i)
        for (unsigned long long id : attributes[i].getStreamIds())
            byId.emplace(id, static_cast<int>(i));
    const std::size_t FEW = 32;
    fewIds.clear();
    if (byId.size() <= FEW)
        fewIds.assign(byId.begin(), byId.end());
    lastIndex = NONE;
}

int PerfAttributeIdIndex::find(unsigned int type, const unsigned char* body, unsigned int size) {
    if (size < 8)
        return UNKNOWN;
    unsigned long long id = 0;
    std::memcpy(&id, type == PerfEventData::TYPE_SAMPLE ? body : body + size - 8, 8);
    if (id == lastId && lastIndex != NONE)
        return lastIndex;
    lastId = id;
    lastIndex = UNKNOWN;
    if (!fewIds.empty() || byId.empty()) {
        for (const auto& entry : fewIds)
            if (entry.first == id) {
                lastIndex = entry.second;
                break;
            }
        return lastIndex;
    }
    auto found = byId.find(id);
    if (found != byId.end())
        lastIndex = found->second;
    return lastIndex;
}

} // namespace perfevents
