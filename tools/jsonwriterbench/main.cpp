// Measures the throughput of kestrel::JsomWriter on the program's typical output: an array of rows, each an
// array of a time (precision 6) and a 32-bit state.
//
// Usage: jsonwriterbench [rows [output file]]
// Without an output file the text goes to a sink that only counts it, so the figure is the writer's own speed.

#include "kestrel/JsomWriter.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <streambuf>

namespace {

/// A stream buffer that discards its output and counts the bytes.
class CountingSink : public std::streambuf {
public:
    CountingSink() { setp(buffer, buffer + sizeof(buffer)); }
    unsigned long long count() const { return total + static_cast<unsigned long long>(pptr() - pbase()); }

protected:
    int_type overflow(int_type c) override {
        total += static_cast<unsigned long long>(pptr() - pbase());
        setp(buffer, buffer + sizeof(buffer));
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        (void)s;
        sync();
        total += static_cast<unsigned long long>(n);
        return n;
    }
    int sync() override {
        total += static_cast<unsigned long long>(pptr() - pbase());
        setp(buffer, buffer + sizeof(buffer));
        return 0;
    }

private:
    char buffer[1 << 16];
    unsigned long long total = 0;
};

} // namespace

int main(int argc, char** argv) {
    long rows = argc > 1 ? strtol(argv[1], nullptr, 10) : 10000000;
    if (rows <= 0) {
        fprintf(stderr, "usage: %s [rows [output file]]\n", argv[0]);
        return 1;
    }
    CountingSink sink;
    std::ostream sinkStream(&sink);
    std::ofstream file;
    std::ostream* out = &sinkStream;
    if (argc > 2) {
        file.open(argv[2], std::ios::out | std::ios::trunc | std::ios::binary);
        if (!file) {
            fprintf(stderr, "cannot open %s\n", argv[2]);
            return 1;
        }
        out = &file;
    }

    auto start = std::chrono::steady_clock::now();
    {
        kestrel::JsomWriter writer(out);
        writer.startArray();
        double time = 1700000000.0;
        uint32_t state = 0x12345678u;
        for (long i = 0; i < rows; ++i) {
            // Times a few microseconds apart, states spread over the whole 32-bit range.
            time += 0.000001 * static_cast<double>(1 + (i % 997));
            state = state * 1664525u + 1013904223u;
            writer.startArray();
            writer.appendDouble(time, 6);
            writer.appendUnsignedInt(state);
            writer.endArray();
        }
        writer.endArray();
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    unsigned long long bytes = argc > 2 ? static_cast<unsigned long long>(file.tellp()) : sink.count();
    printf("%ld rows, %llu bytes in %.3f s: %.1f MB/s\n", rows, bytes, seconds, bytes / seconds / 1e6);
    return 0;
}
