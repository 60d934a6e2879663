// plotwright-view: shows what plotwright writes, as one self-contained HTML page or as a trace for trace viewers.

#include "kestrel/OptionProblem.h"
#include "viewer/OutputFile.h"
#include "viewer/PageWriter.h"
#include "viewer/PlotDataReader.h"
#include "viewer/TraceWriter.h"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

const char* const PROGRAM = "plotwright-view";

void printUsage() {
    std::cout << "Usage: " << PROGRAM
              << " [-o FILE] [-f html|trace] INPUT...\n"
                 "Reads generic plot data written by plotwright (a file may hold several documents one after\n"
                 "another, as appended output does; \"-\" reads standard input) and writes:\n"
                 "  -f html    one self-contained HTML page (the default): open it in a browser, offline\n"
                 "  -f trace   a Trace Event Format JSON file for Perfetto UI or chrome://tracing\n"
                 "Options:\n"
                 "  -o FILE    write to FILE instead of standard output (no file is left behind on error)\n"
                 "  -h         show this help\n"
                 "Exit status: 0 on success and after -h; 1 on any error, reported in one line on standard error.\n";
}

int fail(const std::string& message) {
    std::cerr << PROGRAM << ": " << message << std::endl;
    return 1;
}

} // namespace

int main(int argc, char* argv[]) {
    std::string outputPath;
    std::string format = "html";
    opterr = 0;
    int option;
    while ((option = getopt(argc, argv, ":ho:f:")) != -1) {
        switch (option) {
        case 'h':
            printUsage();
            return 0;
        case 'o':
            outputPath = optarg;
            break;
        case 'f':
            format = optarg;
            break;
        default:
            return fail(kestrel::optionProblem(option, optopt));
        }
    }
    if (format != "html" && format != "trace") {
        return fail("unknown format \"" + format + "\": use html or trace");
    }
    if (optind >= argc) {
        return fail("no input given: name the plot data files that plotwright wrote (see -h)");
    }
    try {
        std::vector<viewer::PlotDocument> documents;
        std::vector<std::string> sources;
        for (int i = optind; i < argc; ++i) {
            std::vector<viewer::PlotDocument> read = viewer::PlotDataReader::readFile(argv[i]);
            for (viewer::PlotDocument& document : read) {
                documents.push_back(std::move(document));
            }
            sources.push_back(argv[i]);
        }
        viewer::OutputFile output(outputPath);
        if (format == "html") {
            viewer::PageWriter::write(output.stream(), documents, sources);
        } else {
            viewer::TraceWriter::write(output.stream(), documents);
        }
        output.commit();
    } catch (const std::exception& e) {
        return fail(e.what());
    }
    return 0;
}
