#ifndef PERFEVENTS_TRACEDATREADER_H
#define PERFEVENTS_TRACEDATREADER_H

#include "perfevents/PerfOutputReader.h"

#include <atomic>
#include <istream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrel {
class Logger;
}

namespace perfevents {

class PerfEventDataComm;
class PerfEventDataSample;
class TraceDatEventLayouts;
class TraceDatFile;

/// Reads a trace-cmd recording (trace.dat, versions 6 and 7) behind the same interface as the perf.data reader:
/// the saved command lines are delivered as comm records, then every event of the top instance's flyrecord data,
/// of all CPUs in time order, as a sample (time, CPU, the event's common_pid as process and thread, and its record
/// as raw data, in this machine's byte order). Lost events, damaged pages and a cut file are reported once at the
/// end. The stream must be seekable: standard input will not do.
class TraceDatReader : public PerfOutputReader {
public:
    /// Reads everything but the events; throws std::ios_base::failure (after logging) when the file cannot be read.
    explicit TraceDatReader(std::istream& input);
    ~TraceDatReader() override;

    void parseEvents(PerfEventDataListener& listener) override;
    const boost::ptr_vector<PerfEventAttribute>& getAttributes() const override { return attributes; }
    const std::map<unsigned long long, std::string>& getTraceEventTypes() const override;
    const std::string& getTraceEventName(unsigned long long id) const override;

    const TraceDatFile& getFile() const { return *file; }
    /// The event formats in the layout of perf's tracing data section, for the event database.
    std::vector<unsigned char> getTracingData() const;

    /// Bytes of event data read so far and in all; cheap enough to be asked after every record.
    unsigned long long getDataConsumed() const override { return dataConsumed.load(std::memory_order_relaxed); }
    unsigned long long getDataTotal() const override { return dataTotal; }
    /// Damaged pages, a cut file and events too short to hold the common fields, once parseEvents has returned.
    PerfReadProblems getReadProblems() const override { return problems; }
    /// Counts of the last walk.
    unsigned long long getEventCount() const { return eventCount; }
    unsigned long long getMissedEvents() const { return missedEvents; }

private:
    void _deliverComms(PerfEventDataListener& listener);
    void _report(const std::vector<std::string>& missing, unsigned long long uncounted, unsigned long long damaged);

    std::unique_ptr<TraceDatFile> file;
    std::unique_ptr<TraceDatEventLayouts> layouts;
    boost::ptr_vector<PerfEventAttribute> attributes;
    std::unique_ptr<PerfEventDataSample> sample;
    std::unique_ptr<PerfEventDataComm> comm;
    std::vector<unsigned char> body;
    const std::string emptyName;
    unsigned long long dataTotal = 0;
    std::atomic<unsigned long long> dataConsumed{0};
    unsigned long long eventCount = 0;
    unsigned long long missedEvents = 0;
    PerfReadProblems problems;

    static kestrel::Logger* logger;
};

} // namespace perfevents

#endif
