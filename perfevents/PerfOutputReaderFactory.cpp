#include "perfevents/PerfOutputReaderFactory.h"

#include "perfevents/PerfRecordFileReader.h"
#include "perfevents/TraceDatFile.h"
#include "perfevents/TraceDatReader.h"

namespace perfevents {

std::unique_ptr<PerfOutputReader> PerfOutputReaderFactory::create(std::istream& input) {
    if (input.peek() == TraceDatFile::MAGIC[0])
        return std::unique_ptr<PerfOutputReader>(new TraceDatReader(input));
    input.clear();
    return std::unique_ptr<PerfOutputReader>(new PerfRecordFileReader(input, true));
}

} // namespace perfevents
