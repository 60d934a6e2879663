#include "viewer/OutputFile.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace viewer {

namespace {

// A file name the page's data folder holds: "c" followed by digits and ".js".
bool isDataFile(const std::string& name) {
    if (name.size() < 5 || name[0] != 'c' || name.compare(name.size() - 3, 3, ".js") != 0) {
        return false;
    }
    return name.find_first_not_of("0123456789", 1) == name.size() - 3;
}

} // namespace

OutputFile::OutputFile(const std::string& path, bool withDataFolder) : path(path), withDataFolder(withDataFolder) {
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
    if (!committed && !temporaryFolder.empty()) {
        _removeDataFolder(temporaryFolder);
    }
}

std::string OutputFile::_finalFolder() const {
    std::string::size_type slash = path.rfind('/');
    std::string::size_type dot = path.rfind('.');
    std::string stem = dot != std::string::npos && (slash == std::string::npos || dot > slash + 1) ? path.substr(0, dot)
                                                                                                     : path;
    return stem + "_files";
}

std::string OutputFile::dataFolderName() const {
    std::string folder = _finalFolder();
    std::string::size_type slash = folder.rfind('/');
    return slash == std::string::npos ? folder : folder.substr(slash + 1);
}

const std::string& OutputFile::dataFolder() {
    if (temporaryFolder.empty()) {
        if (!canHaveDataFolder()) {
            throw std::logic_error("this output has no data folder");
        }
        std::vector<char> name(temporaryPath.begin(), temporaryPath.end());
        const char suffix[] = "_files-XXXXXX";
        name.insert(name.end(), suffix, suffix + sizeof suffix);
        if (!mkdtemp(name.data())) {
            throw std::runtime_error("cannot create the data folder of " + path + ": " + std::strerror(errno));
        }
        mode_t mask = umask(0);
        umask(mask);
        chmod(name.data(), 0777 & ~mask);
        temporaryFolder = name.data();
    }
    return temporaryFolder;
}

bool OutputFile::_removeDataFolder(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) {
        return errno == ENOENT;
    }
    std::vector<std::string> names;
    bool ours = true;
    while (struct dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        ours = ours && isDataFile(name);
        names.push_back(name);
    }
    closedir(dir);
    if (!ours) {
        return false;
    }
    for (const std::string& name : names) {
        unlink((folder + "/" + name).c_str());
    }
    return rmdir(folder.c_str()) == 0;
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
    // The page and its folder of data belong together: an older folder goes, the new one takes its name.
    std::string folder = _finalFolder();
    struct stat status;
    if (withDataFolder && lstat(folder.c_str(), &status) == 0 && !_removeDataFolder(folder)) {
        throw std::runtime_error("cannot replace " + folder + ": it holds other files than a page's data");
    }
    if (!temporaryFolder.empty() && std::rename(temporaryFolder.c_str(), folder.c_str()) != 0) {
        throw std::runtime_error("cannot write " + folder + ": " + std::strerror(errno));
    }
    if (std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
    temporaryFolder.clear();
    committed = true;
}

} // namespace viewer
