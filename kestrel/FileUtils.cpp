#include "kestrel/FileUtils.h"

#include <cerrno>
#include <sys/stat.h>
#include <sys/types.h>

namespace kestrel {

namespace {

bool makeDirectory(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

} // namespace

bool FileUtils::mkpath(const std::string& path, bool isDirectory) {
    // Nothing to create for an empty path or a drive name.
    if (path.empty() || path.back() == ':') {
        return true;
    }
    if (!isDirectory) {
        size_t separator = path.rfind('/');
        if (separator == std::string::npos) {
            separator = path.rfind('\\');
        }
        if (separator == std::string::npos) {
            return true;
        }
        return mkpath(path.substr(0, separator), true);
    }
    if (makeDirectory(path)) {
        return true;
    }
    if (!mkpath(path, false)) {
        return false;
    }
    return makeDirectory(path);
}

} // namespace kestrel
