#ifndef VIEWER_OUTPUTFILE_H
#define VIEWER_OUTPUTFILE_H

#include <fstream>
#include <iostream>
#include <string>

namespace viewer {

/**
 * The program's output: standard output, or a file that appears only once it is complete.
 *
 * A named file is written as a temporary file beside it and renamed to its name by commit(); an output that is
 * not committed (an error on the way, an exception) is removed, so a failed run leaves no file behind.
 */
class OutputFile {
public:
    /// An empty path means standard output. Throws std::runtime_error when the file cannot be created.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream() { return path.empty() ? std::cout : file; }
    /// Finishes the output. Throws std::runtime_error when it could not be written completely.
    void commit();

private:
    std::string path;
    std::string temporaryPath;
    std::ofstream file;
    bool committed = false;
};

} // namespace viewer

#endif
