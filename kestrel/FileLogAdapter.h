#ifndef KESTREL_FILELOGADAPTER_H
#define KESTREL_FILELOGADAPTER_H

#include "kestrel/Lock.h"
#include "kestrel/LogAdapter.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace kestrel {

class JSOM;

// Writes the log to a file that is rotated at the first line of every run and whenever it has reached
// maxSize bytes. fileCount files are kept: the current one (baseName) and the older baseName.1 (newest)
// to baseName.<fileCount - 1> (oldest). Missing directories of baseName are created.
class FileLogAdapter : public LogAdapter {
public:
    // The most files kept; a larger "fileCount" is taken as this.
    static constexpr uint32_t MAX_FILE_COUNT = 4096;

    // Reads "maxSize" (default 0: never rotate by size), "fileCount" (default 1) and "baseName" (default
    // "log"). No file is opened before the first line.
    explicit FileLogAdapter(const JSOM& config);
    ~FileLogAdapter() override;

    FileLogAdapter(const FileLogAdapter&) = delete;
    FileLogAdapter& operator=(const FileLogAdapter&) = delete;

    void log(const LogLevel& level, std::string& loggerName, const char* message, bool buffered) override;
    void log(const LogLevel& level, std::string& loggerName, const std::string& message, bool buffered) override;
    void flush() override;

    int32_t getMaxSize() const { return maxSize; }
    uint32_t getFileCount() const { return fileCount; }
    const std::string& getBaseName() const { return baseName; }

private:
    // Rotates the older files and opens an empty current file; returns whether a file is open afterwards.
    bool _openFile();
    void _closeFile();
    // The name of the older file with that number: baseName.number.
    std::string _olderName(uint32_t number) const;

    int32_t maxSize;
    uint32_t fileCount;
    std::string baseName;
    FILE* file = nullptr;
    Lock lock;
};

} // namespace kestrel

#endif
