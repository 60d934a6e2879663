#include "perfevents/TraceDatReader.h"

#include "kestrel/ByteBufferViewport.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfEventAttribute.h"
#include "perfevents/PerfEventDataComm.h"
#include "perfevents/PerfEventDataSample.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/TraceDatCpuMerge.h"
#include "perfevents/TraceDatEventLayouts.h"
#include "perfevents/TraceDatFile.h"
#include "perfevents/TraceDatInput.h"

#include <cstring>
#include <ios>

namespace perfevents {

kestrel::Logger* TraceDatReader::logger = nullptr;

namespace {
// The samples carry ip, pid and tid, time, cpu and the raw record, in perf's order.
const unsigned long long SAMPLE_TYPE = PerfFormat::SAMPLE_IP | PerfFormat::SAMPLE_TID | PerfFormat::SAMPLE_TIME |
                                       PerfFormat::SAMPLE_CPU | PerfFormat::SAMPLE_RAW;
const std::size_t RAW_OFFSET = 36; // of the raw data in a sample body of that layout
const std::size_t ATTRIBUTE_SIZE = 112;

template <typename T> void place(std::vector<unsigned char>& out, std::size_t offset, T value) {
    std::memcpy(out.data() + offset, &value, sizeof(T));
}
} // namespace

TraceDatReader::TraceDatReader(std::istream& input) : PerfOutputReader(input) {
    if (logger == nullptr)
        logger = kestrel::Logger::getLogger("TraceDatReader");
    try {
        file.reset(new TraceDatFile(input));
    } catch (const TraceDatDamage& e) {
        const std::string message = std::string("Cannot read the trace.dat recording: ") + e.what() + ".";
        logger->errorf("%s", message.c_str());
        throw std::ios_base::failure(message);
    }
    layouts.reset(new TraceDatEventLayouts(file->getFormats(), file->isBigEndian()));
    for (const TraceDatFile::CpuData& cpu : file->getCpuData())
        dataTotal += cpu.size;

    // One attribute describes every sample: a trace point sample with the fixed fields above.
    std::vector<unsigned char> attribute(ATTRIBUTE_SIZE, 0);
    place<std::uint32_t>(attribute, 0, 2); // PERF_TYPE_TRACEPOINT
    place<std::uint32_t>(attribute, 4, ATTRIBUTE_SIZE);
    place<std::uint64_t>(attribute, 16, 1);
    place<std::uint64_t>(attribute, 24, SAMPLE_TYPE);
    kestrel::ByteBufferViewport view(attribute.data(), ATTRIBUTE_SIZE, ATTRIBUTE_SIZE);
    attributes.push_back(new PerfEventAttribute(view, std::vector<unsigned long long>()));
    sample.reset(new PerfEventDataSample(attributes.front()));
    comm.reset(new PerfEventDataComm(attributes.front()));

    if (!file->getNotConverted().empty()) {
        std::string list;
        for (const std::string& what : file->getNotConverted())
            list += (list.empty() ? "" : ", ") + what;
        logger->infof("Not converted: %s.", list.c_str());
    }
}

TraceDatReader::~TraceDatReader() {}

const std::map<unsigned long long, std::string>& TraceDatReader::getTraceEventTypes() const {
    return layouts->getNames();
}

const std::string& TraceDatReader::getTraceEventName(unsigned long long id) const {
    const auto found = layouts->getNames().find(id);
    return found != layouts->getNames().end() ? found->second : emptyName;
}

std::vector<unsigned char> TraceDatReader::getTracingData() const {
    return file->getTracingData();
}

void TraceDatReader::_deliverComms(PerfEventDataListener& listener) {
    for (const auto& line : file->getCommandLines()) {
        body.assign(8 + line.second.size() + 1, 0);
        place<std::uint32_t>(body, 0, line.first);
        place<std::uint32_t>(body, 4, line.first);
        std::memcpy(body.data() + 8, line.second.data(), line.second.size());
        kestrel::ByteBufferViewport view(body.data(), static_cast<unsigned>(body.size()),
                                         static_cast<unsigned>(body.size()));
        if (comm->parse(view, 0))
            listener.onEventData(*comm);
    }
}

void TraceDatReader::parseEvents(PerfEventDataListener& listener) {
    eventCount = missedEvents = 0;
    problems = PerfReadProblems();
    unsigned long long tooShort = 0;
    dataConsumed.store(0, std::memory_order_relaxed);
    _deliverComms(listener);

    std::vector<std::unique_ptr<TraceDatCpuStream>> streams;
    for (const TraceDatFile::CpuData& cpu : file->getCpuData())
        streams.emplace_back(new TraceDatCpuStream(input, *file, cpu));
    TraceDatCpuMerge merge(std::move(streams));
    const bool bigEndian = file->isBigEndian();
    unsigned long long consumedBefore = 0;
    while (TraceDatCpuStream* cpu = merge.next()) {
        const std::uint32_t size = cpu->getSize();
        if (size < 8 || size > 0xFFFFFFFFu - RAW_OFFSET) {
            ++tooShort; // too short to hold the common fields: nothing can be read of it
            continue;
        }
        body.resize(RAW_OFFSET + size);
        const std::uint32_t pid = static_cast<std::uint32_t>(TraceDatInput::decode(cpu->getData() + 4, 4, bigEndian));
        place<std::uint64_t>(body, 0, 0);
        place<std::uint32_t>(body, 8, pid);
        place<std::uint32_t>(body, 12, pid);
        place<std::uint64_t>(body, 16, cpu->getTime());
        place<std::uint32_t>(body, 24, cpu->getCpu());
        place<std::uint32_t>(body, 28, 0);
        place<std::uint32_t>(body, 32, size);
        std::memcpy(body.data() + RAW_OFFSET, cpu->getData(), size);
        layouts->toHostOrder(body.data() + RAW_OFFSET, size);
        kestrel::ByteBufferViewport view(body.data(), static_cast<unsigned>(body.size()),
                                         static_cast<unsigned>(body.size()));
        if (!sample->parse(view, 0))
            continue;
        ++eventCount;
        if ((eventCount & 1023) == 0) {
            unsigned long long consumed = 0;
            for (const auto& stream : merge.getStreams())
                consumed += stream->getConsumed();
            if (consumed != consumedBefore)
                dataConsumed.store(consumedBefore = consumed, std::memory_order_relaxed);
        }
        listener.onEventData(*sample);
    }

    std::vector<std::string> missing;
    unsigned long long uncounted = 0, damaged = 0, consumed = 0;
    for (const auto& stream : merge.getStreams()) {
        missedEvents += stream->getMissedEvents();
        uncounted += stream->getMissedUncounted();
        damaged += stream->getDamagedPages();
        consumed += stream->getConsumed();
        if (!stream->getProblem().empty())
            missing.push_back(stream->getProblem());
    }
    dataConsumed.store(consumed, std::memory_order_relaxed);
    if (tooShort > 0) {
        problems.undecodableSamples[-1] = tooShort;
        logger->warnf("%llu events were skipped: they are too short to hold the common fields.", tooShort);
    }
    _report(missing, uncounted, damaged);
    listener.onClose();
}

void TraceDatReader::_report(const std::vector<std::string>& missing, unsigned long long uncounted,
                             unsigned long long damaged) {
    if (missedEvents > 0 || uncounted > 0) {
        const std::string pages = std::to_string(uncounted) + (uncounted == 1 ? " page" : " pages");
        std::string text = std::to_string(missedEvents) + " events";
        if (uncounted > 0)
            text = missedEvents > 0 ? text + " and more on " + pages : "events on " + pages + ", not counted";
        logger->warnf("The ring buffer lost %s: those events are missing from the recording.", text.c_str());
    }
    std::string damage;
    if (damaged > 0) {
        damage =
            std::to_string(damaged) + " ring buffer pages are damaged: the events after the damage on each were lost";
        logger->warnf("%s.", damage.c_str());
    }
    if (!missing.empty()) {
        std::string text = missing.front();
        for (std::size_t i = 1; i < missing.size(); ++i)
            text += "; " + missing[i];
        logger->warnf("Recording cut short: missing %s. Every whole event that is there was read.", text.c_str());
        damage += (damage.empty() ? "missing " : "; missing ") + text;
    }
    problems.damage = damage;
}

} // namespace perfevents
