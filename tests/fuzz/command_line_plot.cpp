// Plots written on the command line: any text as a --plot text against a database of the scheduler trace points.
// A mistake must be a message, never a crash, a read outside the text or a hang; an accepted plot must make a
// channel whose filter formula compiles.
#include "app/CommandLinePlot.h"
#include "kestrel/JSOM.h"
#include "kestrel/PostfixCalculator.h"
#include "perfevents/TracePointFieldStore.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {
const char* const DATABASE = R"({"events": {"sched:sched_switch": {"id": 372, "fields": {
    "prev_comm": {"type": "char[16]", "offset": 8, "size": 16},
    "prev_pid": {"type": "pid_t", "offset": 24, "size": 4, "cast": "int32_t"},
    "prev_state": {"type": "long", "offset": 32, "size": 8, "cast": "int64_t"},
    "next_pid": {"type": "pid_t", "offset": 56, "size": 4, "cast": "int32_t"},
    "end": {"type": "int", "offset": 60, "size": 4, "cast": "int32_t"}}}},
  "common": {"fields": {"common_type": {"type": "unsigned short", "offset": 0, "size": 2, "cast": "uint16_t"},
    "common_cpu": {"type": "__ancillary_cpu"}}}})";
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static perfevents::TracePointFieldStore* fields = [] {
        auto* store = new perfevents::TracePointFieldStore();
        kestrel::JSOM database;
        database.fromString(DATABASE);
        store->setEventDatabase(database);
        return store;
    }();
    kestrel::JSOM channel;
    channel.fromString("{}");
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (!CommandLinePlot::toChannel(text, 1, *fields, channel).empty()) {
        return 0;
    }
    kestrel::JSOM detail = channel["detail"];
    kestrel::JSOM filtered(detail["algorithm"].stringValue("") == "stateplot" ? detail["eventConfigs"][0] : detail);
    std::istringstream formula(filtered["filterFormula"].stringValue(""));
    std::vector<std::string> tokens;
    for (std::string token; formula >> token;) {
        tokens.push_back(token);
    }
    kestrel::PostfixCalculator<double, 32> calculator;
    const int code = tokens.empty() ? 0 : calculator.assign(tokens);
    // Deep but accepted expressions may need more than the calculator's stack; anything else must compile.
    if (code != 0 && code != 6) {
        std::fprintf(stderr, "accepted plot makes a formula that does not compile (%d): %s\n", code, text.c_str());
        std::abort();
    }
    return 0;
}
