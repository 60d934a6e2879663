// formatbench: the cost of parsing trace point format texts as they grow.
//
// Usage: formatbench [largest size in kilobytes]
// For each size (doubling up to the largest, default 800 KB) two texts of that size are parsed: a reference text of
// ordinary field lines, and a text whose one field declaration is nothing but array dimensions. The program prints
// the time of each, their ratio, and the bytes allocated per input byte (counted by replacing operator new), an
// operation count that does not depend on the machine. Parsing is linear when both figures stay flat as the size
// grows; a parser that copies the rest of a declaration for every dimension shows them growing with the size.

#include "eventdb/TraceFormatParser.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

#include "tools/common/CountedAllocations.h"

namespace {

const char HEADER[] = "name: probe\nID: 7\nformat:\n";
const char TRAILER[] = "\nprint fmt: \"x\"\n";

std::string ordinaryText(size_t size) {
    std::string text = HEADER;
    for (int i = 0; text.size() < size; ++i) {
        text += "\tfield:int f" + std::to_string(i) + ";\toffset:" + std::to_string(4 * i) + ";\tsize:4;\tsigned:1;\n";
    }
    return text + TRAILER;
}

std::string dimensionText(size_t size) {
    std::string text = std::string(HEADER) + "\tfield:u8 wide";
    while (text.size() < size) {
        text += "[2]";
    }
    return text + ";\toffset:0;\tsize:1;\tsigned:0;\n" + TRAILER;
}

struct Cost {
    double seconds;
    double bytesPerInputByte;
};

Cost measure(const std::string& text) {
    unsigned long long before = counted::bytes.load();
    auto start = std::chrono::steady_clock::now();
    eventdb::TraceEventFormat format = eventdb::TraceFormatParser::parse(text.data(), text.size());
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (format.fields.empty()) {
        throw std::runtime_error("no fields parsed");
    }
    return Cost{seconds, static_cast<double>(counted::bytes.load() - before) / static_cast<double>(text.size())};
}

} // namespace

int main(int argc, char** argv) {
    long largest = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 800;
    if (largest < 25) {
        std::fprintf(stderr, "formatbench: the largest size must be at least 25 KB\n");
        return 1;
    }
    std::printf("%10s %14s %14s %8s %16s %16s\n", "size KB", "reference ms", "dimensions ms", "ratio", "ref bytes/byte",
                "dim bytes/byte");
    try {
        for (long kb = 25; kb <= largest; kb *= 2) {
            size_t size = static_cast<size_t>(kb) * 1024;
            std::string reference = ordinaryText(size);
            std::string dimensions = dimensionText(size);
            Cost r = measure(reference);
            Cost d = measure(dimensions);
            std::printf("%10ld %14.3f %14.3f %8.2f %16.1f %16.1f\n", kb, r.seconds * 1e3, d.seconds * 1e3,
                        d.seconds / r.seconds, r.bytesPerInputByte, d.bytesPerInputByte);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "formatbench: %s\n", e.what());
        return 1;
    }
    return 0;
}
