// Whole conversion: any bytes as the recording, converted with the scheduler trace points' event database and a
// number plot and state plot channels (pivots by thread and CPU, thread names, a filter formula, inner pivots and
// magnitudes). The document written must be one JSON array that the project's parser reads back.
#include "FuzzFile.h"
#include "app/PerfInputRunner.h"
#include "app/ProcessDictionary.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/Singleton.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/TracePointFieldStore.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace {

const char* const DATABASE = R"({"events":{
"sched:sched_process_exit":{"id":369,"fields":{"comm":{"type":"char[16]","offset":8,"size":16},
 "pid":{"type":"pid_t","offset":24,"size":4,"cast":"int32_t"},"prio":{"type":"int","offset":28,"size":4,
 "cast":"int32_t"}}},
"sched:sched_switch":{"id":372,"fields":{"prev_pid":{"type":"pid_t","offset":24,"size":4,"cast":"int32_t"},
 "prev_prio":{"type":"int","offset":28,"size":4,"cast":"int32_t"},
 "prev_state":{"type":"long","offset":32,"size":8,"cast":"int64_t"},
 "next_pid":{"type":"pid_t","offset":56,"size":4,"cast":"int32_t"},
 "next_prio":{"type":"int","offset":60,"size":4,"cast":"int32_t"}}},
"sched:sched_wakeup":{"id":374,"fields":{"pid":{"type":"pid_t","offset":24,"size":4,"cast":"int32_t"},
 "target_cpu":{"type":"int","offset":32,"size":4,"cast":"int32_t"}}}},
"common":{"fields":{"common_type":{"type":"unsigned short","offset":0,"size":2,"cast":"uint16_t"},
 "common_pid":{"type":"int","offset":4,"size":4,"cast":"int32_t"},
 "common_tid":{"type":"__ancillary_tid"},"common_cpu":{"type":"__ancillary_cpu"}}}})";

const char* const CHANNELS = R"([
{"id":"prio","name":"Priority","info":{"d":"x"},"hints":{"empty":true},"detail":{"type":"varnel2",
 "algorithm":"numberplot","events":["sched:sched_switch"],"valueField":"next_prio","pivotField":"common_tid",
 "pivotPrefix":"T","group":"g"}},
{"id":"cpu","name":"Wakeup CPU","detail":{"type":"varnel2","algorithm":"numberplot",
 "events":["sched:sched_wakeup"],"valueField":"target_cpu"}},
{"id":"task","name":"Task per CPU","detail":{"type":"varnel2","algorithm":"stateplot",
 "events":["sched:sched_switch"],"pivotField":"common_cpu","pivotPrefix":"CPU",
 "eventConfigs":[{"eventIndex":0,"stateField":"next_pid"}]}},
{"id":"wait","name":"Waiting","detail":{"type":"varnel2","algorithm":"stateplot",
 "events":["sched:sched_switch","sched:sched_wakeup","sched:sched_process_exit"],"pivotField":"common_tid",
 "endState":1,"eventConfigs":[
  {"eventIndex":0,"stateField":"prev_state","innerPivotField":"prev_pid","magnitudeField":"prev_prio",
   "filterFormula":"$0 0 > $0 256 < && 100 $1 $2 - / &&","filterFields":["prev_state","prev_prio","next_prio"]},
  {"eventIndex":1,"stateField":"common_type","innerPivotField":"pid","magnitudeField":"target_cpu"},
  {"eventIndex":2,"stateField":"pid","innerPivotField":"pid","magnitudeField":"prio"}]}}
])";

struct Setup {
    perfevents::TracePointFieldStore fields;
    kestrel::JSOM channels;
    Setup() {
        kestrel::JSOM database;
        database.fromString(DATABASE);
        fields.setEventDatabase(database);
        channels.fromString(CHANNELS);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Setup setup;
    std::ifstream input;
    if (!fuzz::openAsFile(data, size, input)) {
        return 0;
    }
    kestrel::Singleton<ProcessDictionary>::Instance().clear();
    kestrel::TimeConverter timeConverter;
    timeConverter.setup(0.0, 0.0, 1.0, 0.0, 0.0);
    std::ostringstream out;
    {
        kestrel::JsomWriter writer(&out);
        PerfInputRunner runner(setup.channels, &input, setup.fields, &timeConverter, &writer);
    }
    const std::string document = out.str();
    kestrel::JSOM reread;
    if (reread.fromString(document).isError() || !reread.isArray()) {
        std::fprintf(stderr, "the conversion wrote a document that does not read back:\n%s\n", document.c_str());
        std::abort();
    }
    return 0;
}
