#include "viewer/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace viewer {

OutputFile::OutputFile(const std::string& path) : path(path) {
    if (path.empty()) {
        return;
    }
    std::vector<char> name(path.begin(), path.end());
    const char suffix[] = ".tmp-XXXXXX";
    name.insert(name.end(), suffix, suffix + sizeof suffix); // with the final NUL
    int fd = mkstemp(name.data());
    if (fd < 0) {
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(errno));
    }
    // mkstemp makes the file private; the output gets the mode a newly created file would get.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    close(fd);
    temporaryPath = name.data();
    file.open(temporaryPath, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file.is_open()) {
        int error = errno;
        std::remove(temporaryPath.c_str());
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(error));
    }
}

OutputFile::~OutputFile() {
    if (!committed && !temporaryPath.empty()) {
        file.close();
        std::remove(temporaryPath.c_str());
    }
}

void OutputFile::commit() {
    if (path.empty()) {
        std::cout.flush();
        if (!std::cout) {
            throw std::runtime_error("cannot write to standard output");
        }
        committed = true;
        return;
    }
    errno = 0;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path + ": " + (errno ? std::strerror(errno) : "write error"));
    }
    if (std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
    committed = true;
}

} // namespace viewer
