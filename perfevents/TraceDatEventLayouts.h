#ifndef PERFEVENTS_TRACEDATEVENTLAYOUTS_H
#define PERFEVENTS_TRACEDATEVENTLAYOUTS_H

#include "perfevents/TraceDatFile.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace perfevents {

/// What the reader needs of a recording's event formats: each trace point's id and name, and where its numbers
/// lie, so that the records of a recording in the other byte order can be turned into this machine's order
/// field by field before the field readers see them. Only the "name:", "ID:" and "field:" lines are read;
/// formats that lack them are left out.
class TraceDatEventLayouts {
public:
    TraceDatEventLayouts(const std::vector<TraceDatFile::Format>& formats, bool bigEndian);

    /// "system:name" by trace point id.
    const std::map<unsigned long long, std::string>& getNames() const { return names; }
    /// Whether records must be turned around: the file's byte order is not this machine's.
    bool needsSwap() const { return swap; }
    /// Turns the numbers of a record into this machine's byte order (the common fields alone where the trace
    /// point has no format).
    void toHostOrder(unsigned char* record, std::uint32_t size) const;

private:
    struct Number {
        std::uint32_t offset;
        std::uint32_t size;    // of the whole field
        std::uint32_t element; // 2, 4 or 8
    };

    std::map<unsigned long long, std::string> names;
    std::map<unsigned, std::vector<Number>> numbers;
    std::vector<Number> common;
    bool swap;
};

} // namespace perfevents

#endif
