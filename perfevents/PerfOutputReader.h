#ifndef PERFEVENTS_PERFOUTPUTREADER_H
#define PERFEVENTS_PERFOUTPUTREADER_H

#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataListener.h"

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

protected:
    std::istream& input;
};

} // namespace perfevents

#endif
