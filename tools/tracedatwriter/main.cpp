// Writes the trace.dat test recordings, and perf.data recordings of the same events:
//   tracedatwriter FOLDER             the test set (FOLDER/<name>.dat, and FOLDER/le64.data with le64's events)
//   tracedatwriter -n EVENTS FOLDER   one large pair, FOLDER/large.dat and FOLDER/large.data, for measurements
// The events are made up but deterministic; trace-cmd report gives the listing each test compares with.
#include "tools/perfdatawriter/PerfDataWriter.h"
#include "tools/tracedatwriter/TraceDatWriter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace tracedatwriter;

namespace {

const char* const COMMS[] = {"swapper/0", "kworker/1:2", "sh", "ls", "irq/45-gp_timer", "sleep"};
const std::uint32_t PIDS[] = {0, 57, 812, 813, 45, 1022};

// A deterministic generator, the same on every machine.
struct Random {
    std::uint64_t state;
    std::uint32_t next(std::uint32_t bound) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<std::uint32_t>(state >> 33) % bound;
    }
};

// Events on `cpus` CPUs whose times interleave; now and then a gap longer than a time delta holds.
std::vector<Event> makeEvents(const std::vector<EventShape>& shapes, unsigned cpus, unsigned count,
                              std::uint64_t seed) {
    Random random{seed};
    std::vector<Event> events;
    std::uint64_t time = 5000000000ULL + seed * 1000;
    for (unsigned i = 0; i < count; ++i) {
        time += random.next(20) == 0 ? 150000000ULL + random.next(100000000) : 1 + random.next(40000);
        const unsigned who = random.next(6);
        const unsigned other = random.next(6);
        const EventShape& shape = shapes[random.next(static_cast<std::uint32_t>(shapes.size()))];
        Event event{time, random.next(cpus), &shape, PIDS[who], {}};
        if (shape.name == "sched_switch")
            event.values = {COMMS[who],
                            PIDS[who],
                            120,
                            static_cast<int>(random.next(3)) - 1,
                            COMMS[other],
                            PIDS[other],
                            100 + static_cast<int>(random.next(40))};
        else if (shape.name == "sched_wakeup")
            event.values = {COMMS[other], PIDS[other], 120, static_cast<int>(random.next(cpus))};
        else if (shape.name == "irq_handler_entry")
            event.values = {static_cast<int>(random.next(64)), 1};
        else if (shape.name == "softirq_entry")
            event.values = {random.next(10)};
        else if (shape.name == "cpu_frequency")
            event.values = {200000 + 100000 * random.next(10), event.cpu};
        else
            event.values = {0x80000000ULL + random.next(1 << 20), random.next(4),
                            static_cast<std::uint64_t>(random.next(1000)) << 32 | random.next(1000),
                            static_cast<int>(random.next(3)) - 1, random.next(256)};
        events.push_back(event);
    }
    return events;
}

TraceDatWriter makeWriter(bool bigEndian, unsigned longSize, unsigned pageSize, const std::vector<EventShape>& shapes,
                          const std::vector<Event>& events) {
    TraceDatWriter writer(bigEndian, longSize, pageSize);
    for (const EventShape& shape : shapes)
        writer.addEvent(shape);
    for (unsigned i = 0; i < 6; ++i)
        writer.addCommandLine(PIDS[i], COMMS[i]);
    for (const Event& event : events)
        writer.add(event);
    return writer;
}

// The same events as perf record writes them: one attribute per trace point, samples with IP, TID, TIME, CPU
// and RAW (little-endian; the perf.data reader reads host order), and a COMM record per saved command line.
perfdatawriter::PerfDataWriter makePerfData(const std::vector<EventShape>& shapes, const std::vector<Event>& events) {
    perfdatawriter::PerfDataWriter perf;
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        perfdatawriter::Attribute attribute;
        attribute.config = shapes[i].id;
        attribute.sampleType = 0x1 | 0x2 | 0x4 | 0x40 | 0x80 | 0x400;
        attribute.ids = {1000 + i};
        perf.addAttribute(attribute);
        perf.addEventType(shapes[i].id, shapes[i].name);
    }
    for (unsigned i = 0; i < 6; ++i)
        perf.addComm(PIDS[i], PIDS[i], COMMS[i]);
    for (const Event& event : events) {
        perfdatawriter::Sample sample;
        sample.pid = sample.tid = event.pid;
        sample.time = event.time;
        sample.cpu = event.cpu;
        sample.id = 1000 + static_cast<std::uint64_t>(event.shape - shapes.data());
        const Bytes record = encodeRecord(event, false);
        sample.raw.assign(record.begin(), record.end());
        perf.addSample(sample, static_cast<std::size_t>(event.shape - shapes.data()));
    }
    return perf;
}

bool write(const TraceDatWriter& writer, const std::string& path, unsigned version = 6) {
    if (!writer.writeTo(path, version)) {
        std::fprintf(stderr, "tracedatwriter: cannot write %s\n", path.c_str());
        return false;
    }
    return true;
}

int writeTestSet(const std::string& folder) {
    bool ok = true;
    {
        // Little-endian, 8-byte longs, three CPUs: missed events with and without a count, absolute stamps,
        // discarded events, length words and padded page ends.
        const std::vector<EventShape> shapes = standardEvents(8);
        const std::vector<Event> events = makeEvents(shapes, 3, 400, 1);
        TraceDatWriter writer = makeWriter(false, 8, 4096, shapes, events);
        PageLayout cpu0, cpu1, cpu2;
        cpu0.eventsPerPage = 25;
        cpu0.missed = {{1, 7}, {3, 1}};
        cpu1.absoluteEvery = 5;
        cpu1.discardEvery = 7;
        cpu1.eventsPerPage = 30;
        cpu2.lengthWord = true;
        cpu2.padPageEnd = true;
        cpu2.eventsPerPage = 20;
        cpu2.missed = {{2, -1}};
        writer.setLayout(0, cpu0);
        writer.setLayout(1, cpu1);
        writer.setLayout(2, cpu2);
        ok = write(writer, folder + "/le64.dat") && ok;
        ok = makePerfData(shapes, events).writeTo(folder + "/le64.data") && ok;
    }
    {
        // Big-endian, 4-byte longs, two CPUs, a CPU without data.
        const std::vector<EventShape> shapes = standardEvents(4);
        const std::vector<Event> events = makeEvents(shapes, 2, 300, 2);
        TraceDatWriter writer = makeWriter(true, 4, 4096, shapes, events);
        writer.setCpuCount(3);
        PageLayout cpu0, cpu1;
        cpu0.eventsPerPage = 40;
        cpu0.absoluteEvery = 9;
        cpu0.missed = {{2, 3}};
        cpu1.lengthWord = true;
        cpu1.discardEvery = 5;
        cpu1.padPageEnd = true;
        writer.setLayout(0, cpu0);
        writer.setLayout(1, cpu1);
        ok = write(writer, folder + "/be32.dat") && ok;
        ok = write(writer, folder + "/be32.v7.dat", 7) && ok;
    }
    {
        // Little-endian, 4-byte longs, 16 KiB pages, a time offset.
        const std::vector<EventShape> shapes = standardEvents(4);
        TraceDatWriter writer = makeWriter(false, 4, 16384, shapes, makeEvents(shapes, 2, 500, 3));
        writer.addTimeOffset(-4000000000LL);
        ok = write(writer, folder + "/le32-16k.dat") && ok;
    }
    {
        // Big-endian, 8-byte longs, 8 KiB pages, four CPUs, stamps of a TSC converted to nanoseconds.
        const std::vector<EventShape> shapes = standardEvents(8);
        TraceDatWriter writer = makeWriter(true, 8, 8192, shapes, makeEvents(shapes, 4, 300, 4));
        writer.addTscToNanoseconds(1398101, 22, 1000);
        PageLayout layout;
        layout.eventsPerPage = 16;
        layout.absoluteEvery = 4;
        writer.setLayout(3, layout);
        ok = write(writer, folder + "/be64.dat") && ok;
        ok = write(writer, folder + "/be64.v7.dat", 7) && ok;
    }
    for (const bool interpolate : {true, false}) {
        // A guest's recording: its times shift towards the host's, per CPU, with the offsets interpolated
        // between samples or taken from the sample before.
        const std::vector<EventShape> shapes = standardEvents(8);
        TraceDatWriter writer = makeWriter(false, 8, 4096, shapes, makeEvents(shapes, 2, 200, 6));
        writer.addTimeShift(0x1234, interpolate ? 1 : 0,
                            {{{5000000000ULL, 1000000, 1},
                              {5500000000ULL, 2000000, 1},
                              {6000000000ULL, 3000000, 1},
                              {7000000000ULL, 4000000, 1}},
                             {{5000000000ULL, -2000000, 2}}});
        ok = write(writer, folder + (interpolate ? "/guest.dat" : "/guest-step.dat")) && ok;
    }
    return ok ? 0 : 1;
}

int writeLarge(unsigned count, const std::string& folder) {
    const std::vector<EventShape> shapes = standardEvents(8);
    std::vector<EventShape> sched(shapes.begin(), shapes.begin() + 2);
    const std::vector<Event> events = makeEvents(sched, 2, count, 5);
    const bool ok = write(makeWriter(false, 8, 4096, sched, events), folder + "/large.dat") &&
                    makePerfData(sched, events).writeTo(folder + "/large.data");
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "-n") == 0)
        return writeLarge(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)), argv[3]);
    if (argc == 2)
        return writeTestSet(argv[1]);
    std::fprintf(stderr, "usage: tracedatwriter FOLDER | tracedatwriter -n EVENTS FOLDER\n");
    return 1;
}
