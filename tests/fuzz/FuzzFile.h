#ifndef TESTS_FUZZ_FUZZFILE_H
#define TESTS_FUZZ_FUZZFILE_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace fuzz {

// The perf.data reader reads from a file stream: each input is written to one scratch file per process (in
// /dev/shm where it exists, to spare the disk) and opened from there.
inline bool openAsFile(const uint8_t* data, size_t size, std::ifstream& input) {
    static const std::string path = [] {
        const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(dir) + "/plotwright-fuzz-" + std::to_string(getpid()) + ".data";
    }();
    static const bool removeAtExit = std::atexit([] { unlink(path.c_str()); }) == 0;
    (void)removeAtExit;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(data, 1, size, file) == size;
    if (std::fclose(file) != 0 || !written) {
        return false;
    }
    input.open(path, std::ios::in | std::ios::binary);
    return input.is_open();
}

} // namespace fuzz

#endif
