#ifndef PERFEVENTS_PERFOUTPUTREADER_H
#define PERFEVENTS_PERFOUTPUTREADER_H

#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataListener.h"
#include "perfevents/PerfReadProblems.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <istream>
#include <map>
#include <string>

namespace perfevents {

/// A source of decoded perf records.
class PerfOutputReader {
public:
    explicit PerfOutputReader(std::istream& input) : input(input) {}
    virtual ~PerfOutputReader() {}
    virtual void parseEvents(PerfEventDataListener& listener) = 0;
    virtual const boost::ptr_vector<PerfEventAttribute>& getAttributes() const = 0;
    virtual const std::map<unsigned long long, std::string>& getTraceEventTypes() const = 0;
    virtual const std::string& getTraceEventName(unsigned long long id) const = 0;

    /// How far the walk is: bytes consumed so far, and in all (0 when unknown). Asked from the walking thread.
    virtual unsigned long long getDataConsumed() const { return 0; }
    virtual unsigned long long getDataTotal() const { return 0; }
    /// What the walk could not convert; complete once parseEvents has returned.
    virtual PerfReadProblems getReadProblems() const { return PerfReadProblems(); }

protected:
    std::istream& input;
};

} // namespace perfevents

#endif
