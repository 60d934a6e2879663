// plotwright-view: shows what plotwright writes, as one self-contained HTML page or as a trace for trace viewers.

#include "kestrel/OptionProblem.h"
#include "viewer/OutputFile.h"
#include "viewer/PageWriter.h"
#include "viewer/PlotDataReader.h"
#include "viewer/SinkThread.h"
#include "viewer/TraceWriter.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

const char* const PROGRAM = "plotwright-view";

void printUsage() {
    std::cout << "Usage: " << PROGRAM
              << " [-o FILE] [-f html|trace] [-a] [-m MB] INPUT...\n"
                 "Reads generic plot data written by plotwright (a file may hold several documents one after\n"
                 "another, as appended output does; \"-\" reads standard input) and writes:\n"
                 "  -f html    an HTML page (the default): open it in a browser, offline\n"
                 "  -f trace   a Trace Event Format JSON file for Perfetto UI or chrome://tracing\n"
                 "Options:\n"
                 "  -o FILE    write to FILE instead of standard output (no file is left behind on error)\n"
                 "  -a         the page shows several documents aligned at their own first sample (a control\n"
                 "             on the page switches back to one absolute time axis)\n"
                 "  -m MB      the page holds at most MB megabytes of data itself (default 256); the rest goes\n"
                 "             to script files in the folder FILE_files beside it (only with -o)\n"
                 "  -h         show this help\n"
                 "Exit status: 0 on success and after -h; 1 on any error, reported in one line on standard error.\n";
}

int fail(const std::string& message) {
    std::cerr << PROGRAM << ": " << message << std::endl;
    return 1;
}

} // namespace

int main(int argc, char* argv[]) {
    std::ios::sync_with_stdio(false);
    std::string outputPath;
    std::string format = "html";
    viewer::PageWriter::Options options;
    opterr = 0;
    int option;
    while ((option = getopt(argc, argv, ":ho:f:am:")) != -1) {
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
        case 'a':
            options.alignDocuments = true;
            break;
        case 'm': {
            char* end = nullptr;
            errno = 0;
            double megabytes = std::strtod(optarg, &end);
            if (end == optarg || *end != '\0' || errno != 0 || !(megabytes >= 0) || megabytes > 1e6) {
                return fail(std::string("-m wants a number of megabytes from 0 to 1000000, not \"") + optarg + "\"");
            }
            options.inlineLimit = static_cast<std::size_t>(megabytes * 1048576.0);
            break;
        }
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
        viewer::OutputFile output(outputPath, format == "html");
        if (format == "html") {
            // Reading on this thread, the page written on another.
            viewer::PageWriter page(output, options);
            viewer::SinkThread writer(page);
            for (int i = optind; i < argc; ++i) {
                viewer::PlotDataReader::readFile(argv[i], writer);
            }
            writer.finish();
            page.finish();
        } else {
            viewer::TraceWriter trace(output.stream());
            for (int i = optind; i < argc; ++i) {
                viewer::PlotDataReader::readFile(argv[i], trace);
            }
            trace.finish();
        }
        output.commit();
    } catch (const std::exception& e) {
        return fail(e.what());
    }
    return 0;
}
