// Format text parser of the event database generator: any bytes as the format text of one trace point. Malformed
// text must be refused with std::runtime_error; what is accepted must make an event database
// that reads back.
#include "BuildDatabase.h"
#include "eventdb/TraceFormatParser.h"

#include <cstdint>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    if (!eventdb::TraceFormatParser::isFormatText(text, size)) {
        return 0;
    }
    try {
        fuzz::buildDatabase({eventdb::TraceFormatParser::parse(text, size)});
    } catch (const std::runtime_error&) {
        // malformed text
    }
    return 0;
}
