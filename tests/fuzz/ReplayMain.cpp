// Replays fuzz inputs without libFuzzer: every file named on the command line, or found directly in a directory
// named there, is handed once to LLVMFuzzerTestOneInput. A fault shows as a crash or a sanitizer report.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void listInputs(const std::string& path, std::vector<std::string>& files) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISDIR(status.st_mode)) {
        files.push_back(path);
        return;
    }
    if (DIR* dir = opendir(path.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string file = path + "/" + entry->d_name;
            if (entry->d_name[0] != '.' && stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
                files.push_back(file);
            }
        }
        closedir(dir);
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        listInputs(argv[i], files);
    }
    if (files.empty()) {
        std::fprintf(stderr, "no inputs found\n");
        return 1;
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        std::ifstream in(file, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::vector<uint8_t> data(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::printf("%zu inputs replayed\n", files.size());
    return 0;
}
