#ifndef TESTS_FUZZ_BUILDDATABASE_H
#define TESTS_FUZZ_BUILDDATABASE_H

#include "eventdb/EventDatabaseBuilder.h"
#include "kestrel/JSOM.h"
#include "perfevents/TracePointFieldStore.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fuzz {

// Builds the event database from parsed formats as the generator does, and loads what it writes into a field
// store as the converter does: the database text must read back as a JSON object.
inline void buildDatabase(std::vector<eventdb::TraceEventFormat> formats) {
    eventdb::EventDatabaseBuilder builder;
    try {
        for (eventdb::TraceEventFormat& format : formats) {
            if (format.system.empty()) {
                format.system = "fuzz";
            }
            builder.addEvent(format, "input");
        }
    } catch (const std::runtime_error&) {
        return; // conflicting descriptions
    }
    std::ostringstream out;
    builder.write(out, false);
    kestrel::JSOM database;
    if (database.fromString(out.str()).isError() || !database.isObject()) {
        std::fprintf(stderr, "the event database does not read back:\n%s\n", out.str().c_str());
        std::abort();
    }
    perfevents::TracePointFieldStore fields;
    fields.setEventDatabase(database);
}

} // namespace fuzz

#endif
