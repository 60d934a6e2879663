#include "app/ForkedConversion.h"

#include "app/Conversion.h"
#include "kestrel/Logger.h"
#include "perfevents/PerfFormat.h"
#include "perfevents/TraceDatFile.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>

ForkedConversion::ForkedConversion(ConversionSettings settings, double startTime) : stream(nullptr) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
    // What the parent has buffered would be written twice.
    std::cout.flush();
    std::cerr.flush();
    child = fork();
    if (child < 0) {
        const int error = errno;
        ::close(ends[0]);
        ::close(ends[1]);
        throw std::runtime_error(std::string("cannot start a process to convert: ") + std::strerror(error));
    }
    if (child == 0) {
        // The document goes to the pipe as to standard output, the log and messages to standard error.
        ::close(ends[0]);
        if (dup2(ends[1], STDOUT_FILENO) < 0) {
            _exit(Conversion::STATUS_FAILURE);
        }
        ::close(ends[1]);
        settings.outputFile = "-";
        settings.append = false;
        int result = Conversion::STATUS_FAILURE;
        {
            Conversion conversion(settings, startTime);
            result = conversion.run();
        }
        // _exit runs no destructors: what the log and the streams hold is written out here.
        kestrel::Logger::flushAll();
        std::cout.flush();
        std::cerr.flush();
        _exit(std::cout.good() ? result : Conversion::STATUS_FAILURE);
    }
    ::close(ends[1]);
    pipe.reset(new PipeBuffer(ends[0]));
    stream.rdbuf(pipe.get());
}

ForkedConversion::~ForkedConversion() {
    wait();
}

int ForkedConversion::wait() {
    if (child < 0) {
        return status;
    }
    // A child still writing finds the pipe closed and ends.
    pipe->close();
    int raw = 0;
    while (waitpid(child, &raw, 0) < 0 && errno == EINTR) {
    }
    child = -1;
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : Conversion::STATUS_FAILURE;
    return status;
}

bool ForkedConversion::isRecording(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    unsigned char head[16] = {};
    file.read(reinterpret_cast<char*>(head), sizeof head);
    const std::size_t length = static_cast<std::size_t>(file.gcount());
    if (perfevents::TraceDatFile::isTraceDat(head, length)) {
        return true;
    }
    if (length < perfevents::PerfFormat::MAGIC_SIZE) {
        return false;
    }
    for (const char* magic : {perfevents::PerfFormat::MAGIC, perfevents::PerfFormat::MAGIC_SWAPPED,
                              perfevents::PerfFormat::MAGIC_V1, perfevents::PerfFormat::MAGIC_V1_SWAPPED}) {
        if (std::memcmp(head, magic, perfevents::PerfFormat::MAGIC_SIZE) == 0) {
            return true;
        }
    }
    return false;
}

void ForkedConversion::PipeBuffer::close() {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

ForkedConversion::PipeBuffer::int_type ForkedConversion::PipeBuffer::underflow() {
    if (gptr() < egptr()) {
        return traits_type::to_int_type(*gptr());
    }
    ssize_t got = -1;
    while (fd >= 0 && (got = ::read(fd, buffer, sizeof buffer)) < 0 && errno == EINTR) {
    }
    if (got <= 0) {
        return traits_type::eof();
    }
    setg(buffer, buffer, buffer + got);
    return traits_type::to_int_type(*gptr());
}
