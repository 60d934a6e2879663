#ifndef TESTS_APP_PLOTCOMPARISON_H
#define TESTS_APP_PLOTCOMPARISON_H

// Running the programs and comparing the points of their output with an independent decoding of the recording.

#include "kestrel/JSOM.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace plottest {

using Point = std::tuple<int64_t, int64_t>; // absolute time in ns, value
// (trace point, field) -> thread id -> points
using Plots = std::map<std::pair<std::string, std::string>, std::map<int64_t, std::vector<Point>>>;

// In a cross build the programs run through the build's emulator (PLOTWRIGHT_EMULATOR, empty otherwise).
const std::string PROGRAM_PREFIX = std::string(PLOTWRIGHT_EMULATOR) + " ";

inline std::string run(const std::string& command) {
    return std::system(command.c_str()) == 0 ? "" : "failed: " + command;
}

inline std::string programPath(const char* name) {
    const std::string binary = PLOTWRIGHT_BINARY;
    return binary.substr(0, binary.rfind('/') + 1) + name;
}

// Compares two plots of one channel: each thread's points in time order. Returns nothing when they agree, else the
// counts and the first difference of the first threads that differ.
inline std::string comparePlots(const std::map<int64_t, std::vector<Point>>& expected,
                                const std::map<int64_t, std::vector<Point>>& actual) {
    std::size_t want = 0, got = 0, threads = 0;
    std::ostringstream text;
    std::set<int64_t> tids;
    for (const auto& thread : expected)
        tids.insert(thread.first);
    for (const auto& thread : actual)
        tids.insert(thread.first);
    for (int64_t tid : tids) {
        std::vector<Point> perf, converted;
        if (expected.count(tid))
            perf = expected.at(tid);
        if (actual.count(tid))
            converted = actual.at(tid);
        want += perf.size();
        got += converted.size();
        std::sort(perf.begin(), perf.end());
        std::sort(converted.begin(), converted.end());
        if (perf == converted || ++threads > 2)
            continue;
        const auto differ = std::mismatch(perf.begin(), perf.end(), converted.begin(), converted.end());
        text << "\n  tid " << tid << ": " << perf.size() << " samples, " << converted.size() << " converted";
        if (differ.first != perf.end())
            text << "; perf has " << std::get<0>(*differ.first) << " ns value " << std::get<1>(*differ.first);
        if (differ.second != converted.end())
            text << "; converted " << std::get<0>(*differ.second) << " ns value " << std::get<1>(*differ.second);
    }
    if (threads == 0)
        return "";
    return std::to_string(want) + " samples, " + std::to_string(got) + " converted, " + std::to_string(threads) +
           " threads differ" + text.str();
}

// The points of every pivoted number series of a document, by (trace point, field) and pivot value, at absolute
// times in ns (the document's times are in seconds with six decimals, after -A 1000 -C base: milliseconds since the
// whole second base).
inline Plots documentPlots(const kestrel::JSOM& output, const char* pivot, int64_t base) {
    Plots plots;
    for (int i = 0; i < output.size(); ++i) {
        kestrel::JSOM series = output[i];
        if (!series["pivot"].isObject())
            continue;
        const int64_t origin = std::llround(series["time"].doubleValue(-1) * 1e6);
        auto& points = plots[{series["info"]["Trace Event"].stringValue(""),
                              series["info"]["Trace Field"].stringValue("")}][series["pivot"][pivot].longValue(-1)];
        kestrel::JSOM data = series["data"];
        for (int p = 0; p < data.size(); ++p)
            points.emplace_back(base * 1000000000 + origin + std::llround(data[p][0].doubleValue(0) * 1e6),
                                data[p][1].longValue(-1));
    }
    return plots;
}

} // namespace plottest

#endif
