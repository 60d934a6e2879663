#include "kestrel/FileLogAdapter.h"

#include "kestrel/FileUtils.h"
#include "kestrel/JSOM.h"
#include "kestrel/Logger.h"

#include <climits>
#include <unistd.h>

namespace kestrel {

FileLogAdapter::FileLogAdapter(const JSOM& configuration) {
    JSOM config(configuration); // navigation needs a handle of its own
    // Sizes beyond 32 bits are clamped; a negative size means no rotation by
    // size, like 0.
    long long size = config["maxSize"].longValue(0);
    maxSize = size <= 0 ? 0 : (size > INT32_MAX ? INT32_MAX : static_cast<int32_t>(size));
    // A negative or zero count keeps only the current file. Every new file renames all older ones, so the count
    // is clamped to MAX_FILE_COUNT rather than letting one line start billions of renames.
    long long count = config["fileCount"].longValue(1);
    fileCount = count <= 0 ? 1 : (count > MAX_FILE_COUNT ? MAX_FILE_COUNT : static_cast<uint32_t>(count));
    baseName = config["baseName"].stringValuePtr("log");
}

FileLogAdapter::~FileLogAdapter() {
    _closeFile();
}

void FileLogAdapter::log(const LogLevel& level, std::string& loggerName, const char* message, bool buffered) {
    Lock::Guard guard(lock);
    // Rotate before the line that finds the file full, so a file exceeds maxSize
    // by one line at most.
    if (file == nullptr || (maxSize != 0 && ftell(file) >= maxSize)) {
        if (!_openFile()) {
            return;
        }
    }
    Logger::writeLine(file, loggerName, level, message != nullptr ? message : "");
    if (!buffered) {
        fflush(file);
    }
}

void FileLogAdapter::log(const LogLevel& level, std::string& loggerName, const std::string& message, bool buffered) {
    log(level, loggerName, message.c_str(), buffered);
}

void FileLogAdapter::flush() {
    Lock::Guard guard(lock);
    if (file != nullptr) {
        fflush(file);
    }
}

bool FileLogAdapter::_openFile() {
    _closeFile();
    if (fileCount > 1) {
        // Shift the older files up by one: the oldest is deleted, the current file
        // becomes number 1. Missing files are no error. The names are built whole,
        // never cut to a fixed length, so a long base name cannot make them point
        // at some other file.
        unlink(_olderName(fileCount - 1).c_str());
        for (uint32_t n = fileCount - 2; n >= 1; --n) {
            rename(_olderName(n).c_str(), _olderName(n + 1).c_str());
        }
        rename(baseName.c_str(), _olderName(1).c_str());
    }
    file = fopen(baseName.c_str(), "w");
    if (file != nullptr) {
        return true;
    }
    FileUtils::mkpath(baseName, false);
    file = fopen(baseName.c_str(), "w");
    if (file != nullptr) {
        return true;
    }
    fprintf(stderr, "FileLogAdapter: Cannot create log file %s\n", baseName.c_str());
    return false;
}

std::string FileLogAdapter::_olderName(uint32_t number) const {
    return baseName + "." + std::to_string(number);
}

void FileLogAdapter::_closeFile() {
    if (file != nullptr) {
        fclose(file);
        file = nullptr;
    }
}

} // namespace kestrel
