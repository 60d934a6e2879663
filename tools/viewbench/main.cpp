// Writer-made plot data for the viewer's benchmark (tools/viewbench/run.sh): a document shaped like a busy
// scheduler recording's conversion, of any size. Per CPU the running task (a state series named through the
// thread dictionary, 0 the idle task and end state) and per thread the CPU it was woken on (a number series),
// plus the thread dictionaries. The same arguments always give the same bytes.
// Usage: viewbench make POINTS FILE [CPUS]

#include "kestrel/JsomWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

const int THREADS = 400;
const int FIRST_TID = 1000;

void writeDocument(const std::string& path, long long points, int cpus) {
    std::ofstream file(path, std::ios::binary);
    kestrel::JsomWriter writer(&file);
    writer.startArray();
    unsigned long long seed = 0x9E3779B97F4A7C15ULL;
    auto next = [&seed]() {
        seed ^= seed << 13;
        seed ^= seed >> 7;
        seed ^= seed << 17;
        return seed;
    };
    // Half the points are context switches (state series per CPU), half are wakeups (number series per thread),
    // most of them of two busy threads, as in a pipe benchmark.
    long long perCpu = points / 2 / cpus;
    std::vector<std::vector<std::pair<long long, int>>> wakeups(THREADS);
    for (int cpu = 0; cpu < cpus; ++cpu) {
        std::string label = "CPU " + std::to_string(cpu);
        writer.startObject();
        writer.appendLabel("label", true);
        writer.appendString(label, false);
        writer.appendLabel("pivot", true);
        writer.startObject();
        writer.appendLabel("common_cpu", true);
        writer.appendLong(cpu);
        writer.endObject();
        const char* columns = "{\"type\":\"map\",\"map\":{\"next_pid\":{\"column\":1,\"dataDictionary\":"
                              "{\"scope\":\"plotwright\",\"dictionary\":\"common_pid\"}}}}";
        writer.appendLabel("columnDictionary", true);
        writer.appendJsonValue(columns, static_cast<int>(std::strlen(columns)));
        writer.appendLabel("group", true);
        writer.appendString("Task running on each CPU", false);
        writer.appendLabel("endState", true);
        writer.appendLong(0);
        writer.appendLabel("info", true);
        std::string info = "{\"common_cpu\":" + std::to_string(cpu) + ",\"State\":\"next_pid\"}";
        writer.appendJsonValue(info.c_str(), static_cast<int>(info.size()));
        writer.appendLabel("time", true);
        writer.appendDouble(1990.646388, 6);
        writer.appendLabel("type", true);
        writer.appendString("state", false);
        writer.appendLabel("data", true);
        writer.startArray();
        long long micros = 0;
        for (long long i = 0; i < perCpu; ++i) {
            unsigned long long r = next();
            micros += 1 + static_cast<long long>(r % 9);
            int thread = (r >> 8) % 16 == 0 ? static_cast<int>((r >> 12) % THREADS) : static_cast<int>(cpu % 2);
            int task = (r >> 20) % 5 == 0 ? 0 : FIRST_TID + thread;
            writer.startArray();
            writer.appendDouble(static_cast<double>(micros) * 1e-6, 6);
            writer.appendLong(task);
            writer.endArray();
            if (task != 0) {
                wakeups[static_cast<size_t>(thread)].emplace_back(micros, cpu);
            }
        }
        writer.endArray();
        writer.endObject();
    }
    for (int thread = 0; thread < THREADS; ++thread) {
        if (wakeups[static_cast<size_t>(thread)].empty()) {
            continue;
        }
        writer.startObject();
        writer.appendLabel("label", true);
        writer.appendString("worker-" + std::to_string(thread % 50), false);
        writer.appendLabel("pivot", true);
        writer.startObject();
        writer.appendLabel("pid", true);
        writer.appendLong(FIRST_TID + thread);
        writer.endObject();
        writer.appendLabel("group", true);
        writer.appendString("CPU chosen for woken threads", false);
        writer.appendLabel("info", true);
        const char* field = "{\"Trace Field\":\"target_cpu\"}";
        writer.appendJsonValue(field, static_cast<int>(std::strlen(field)));
        writer.appendLabel("time", true);
        writer.appendDouble(1990.646388, 6);
        writer.appendLabel("type", true);
        writer.appendString("long", false);
        writer.appendLabel("data", true);
        writer.startArray();
        std::vector<std::pair<long long, int>>& points = wakeups[static_cast<size_t>(thread)];
        std::sort(points.begin(), points.end());
        for (const std::pair<long long, int>& point : points) {
            writer.startArray();
            writer.appendDouble(static_cast<double>(point.first) * 1e-6, 6);
            writer.appendLong(point.second);
            writer.endArray();
        }
        std::vector<std::pair<long long, int>>().swap(points);
        writer.endArray();
        writer.endObject();
    }
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("dictionaries", false);
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writer.appendLabel("common_tid", true);
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("map", false);
    writer.appendLabel("map", true);
    writer.startObject();
    for (int thread = 0; thread < THREADS; ++thread) {
        std::string key = std::to_string(FIRST_TID + thread);
        writer.appendLabel(key.c_str(), true);
        writer.startObject();
        writer.appendLabel("label", true);
        writer.appendString("worker-" + std::to_string(thread % 50), false);
        writer.endObject();
    }
    writer.end();
    file << "\n"
         << "[{\"type\":\"dictionaries\",\"scope\":\"plotwright\",\"dictionaries\":{\"common_pid\":{\"type\":\"map\","
            "\"extends\":{\"dictionary\":\"common_tid\"},\"map\":{}}}}]\n";
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 4 || std::strcmp(argv[1], "make") != 0) {
        std::fprintf(stderr, "usage: viewbench make POINTS FILE [CPUS]\n");
        return 2;
    }
    long long points = std::atoll(argv[2]);
    int cpus = argc > 4 ? std::atoi(argv[4]) : 2;
    writeDocument(argv[3], points, cpus < 1 ? 1 : cpus);
    return 0;
}
