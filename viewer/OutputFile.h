#ifndef VIEWER_OUTPUTFILE_H
#define VIEWER_OUTPUTFILE_H

#include <fstream>
#include <iostream>
#include <string>

namespace viewer {

/**
 * The program's output: standard output, or a file that appears only once it is complete, with an optional
 * folder of data files beside it.
 *
 * A named file is written as a temporary file beside it and renamed to its name by commit(); so is its data
 * folder, FILE_files (for a.html: a_files), made when dataFolder() is first asked for. At commit a data folder
 * of that name left by an earlier run is replaced (or removed when this run wrote none); it is only touched when
 * it holds nothing but data files ("c<number>.js"). An output that is not committed (an error on the way, an
 * exception) is removed, so a failed run leaves nothing behind.
 */
class OutputFile {
public:
    /// An empty path means standard output. Only an output made `withDataFolder` has a data folder (and
    /// replaces an older one). Throws std::runtime_error when the file cannot be created.
    explicit OutputFile(const std::string& path, bool withDataFolder = false);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::ostream& stream() { return path.empty() ? std::cout : file; }
    /// Whether the output can have a data folder: not on standard output.
    bool canHaveDataFolder() const { return !path.empty() && withDataFolder; }
    /// The data folder's name as the page refers to it: relative to the page's folder.
    std::string dataFolderName() const;
    /// The path of the (temporary) data folder to write into, made on the first call.
    const std::string& dataFolder();
    /// Finishes the output. Throws std::runtime_error when it could not be written completely.
    void commit();

private:
    std::string _finalFolder() const;
    static bool _removeDataFolder(const std::string& folder);

    std::string path;
    bool withDataFolder;
    std::string temporaryPath;
    std::string temporaryFolder;
    std::ofstream file;
    bool committed = false;
};

} // namespace viewer

#endif
