#ifndef KESTREL_FILEUTILS_H
#define KESTREL_FILEUTILS_H

#include <string>

namespace kestrel {

// File system helpers of the support library.
class FileUtils {
public:
    // Creates the missing directories of path: of path itself when isDirectory is true, of the part before
    // its last '/' (or, without one, its last backslash) otherwise. Returns whether they exist afterwards.
    static bool mkpath(const std::string& path, bool isDirectory);
};

} // namespace kestrel

#endif
