// Tracing data section parser of the event database generator: any bytes as the section. Damage must be refused
// with std::runtime_error, after reading nothing outside the bytes given;
// the formats found must make an event database that reads back.
#include "BuildDatabase.h"
#include "eventdb/TracingDataParser.h"

#include <cstdint>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        eventdb::TracingDataParser parser(data, size);
        fuzz::buildDatabase(parser.parse());
    } catch (const std::runtime_error&) {
        // damaged section
    }
    return 0;
}
