#ifndef APP_FORKEDCONVERSION_H
#define APP_FORKEDCONVERSION_H

#include "app/ConversionSettings.h"

#include <sys/types.h>

#include <istream>
#include <memory>
#include <streambuf>
#include <string>

/**
 * A conversion run by a child process, for a program that shows recordings: the child converts as plotwright would
 * (its messages and problem summary on standard error) and writes the document to a pipe, which the parent reads as
 * a stream while the child goes on. The child has the converter's process-wide state to itself, so several
 * recordings convert side by side, each into a document of its own. Start every one before the parent starts a
 * thread: a child of a threaded process may find a lock held.
 */
class ForkedConversion {
public:
    /// Starts the child; throws std::runtime_error when the pipe or the process cannot be made.
    ForkedConversion(ConversionSettings settings, double startTime);
    /// Closes the pipe and waits for the child, unless wait() did already.
    ~ForkedConversion();
    ForkedConversion(const ForkedConversion&) = delete;
    ForkedConversion& operator=(const ForkedConversion&) = delete;

    /// The document as the child writes it.
    std::istream& document() { return stream; }
    /// Closes the pipe and waits for the child; returns its exit status, 1 when a signal ended it.
    int wait();

    /// Whether the file starts as a recording the converter reads, perf.data or trace.dat (by its content, not its
    /// name).
    static bool isRecording(const std::string& path);

private:
    // Reads the pipe a buffer at a time.
    class PipeBuffer : public std::streambuf {
    public:
        explicit PipeBuffer(int fd) : fd(fd) {}
        void close();

    protected:
        int_type underflow() override;

    private:
        int fd;
        char buffer[1 << 16];
    };

    pid_t child = -1;
    std::unique_ptr<PipeBuffer> pipe;
    std::istream stream;
    int status = -1;
};

#endif
