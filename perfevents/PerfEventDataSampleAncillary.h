#ifndef PERFEVENTS_PERFEVENTDATASAMPLEANCILLARY_H
#define PERFEVENTS_PERFEVENTDATASAMPLEANCILLARY_H

namespace perfevents {

/// The values of a sample that field readers need besides the raw trace point data.
class PerfEventDataSampleAncillary {
public:
    virtual ~PerfEventDataSampleAncillary() {}
    virtual unsigned int getPid() const = 0;
    virtual unsigned int getTid() const = 0;
    virtual unsigned long long getCpu() const = 0;
    virtual unsigned long long getResource() const = 0;
    /// Number of bytes of raw trace point data of the sample (0 when it has none). A field that does not lie
    /// entirely within this many bytes from the start of the raw data must not be read.
    virtual unsigned int getRawSize() const = 0;
};

} // namespace perfevents

#endif
