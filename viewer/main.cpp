// plotwright-view: shows what plotwright writes, as one self-contained HTML page or as a trace for trace viewers;
// given a recording, it converts it first.

#include "app/Conversion.h"
#include "app/ConversionSettings.h"
#include "app/ForkedConversion.h"
#include "kestrel/OptionProblem.h"
#include "kestrel/Time.h"
#include "viewer/OutputFile.h"
#include "viewer/PageWriter.h"
#include "viewer/PlotDataReader.h"
#include "viewer/SinkThread.h"
#include "viewer/TraceWriter.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const char* const PROGRAM = "plotwright-view";

void printUsage() {
    std::cout << "Usage: " << PROGRAM
              << " [-o FILE] [-f html|trace] [-a] [-m MB] [--recipe NAME] [--plot TEXT] INPUT...\n"
                 "Reads generic plot data written by plotwright (a file may hold several documents one after\n"
                 "another, as appended output does; \"-\" reads standard input), or a perf.data recording, which\n"
                 "it converts as plotwright does (with every recipe that applies, unless told otherwise), and writes:\n"
                 "  -f html    an HTML page (the default): open it in a browser, offline\n"
                 "  -f trace   a Trace Event Format JSON file for Perfetto UI or chrome://tracing\n"
                 "Options:\n"
                 "  -o FILE    write to FILE instead of standard output (no file is left behind on error)\n"
                 "  -a         the page shows several documents aligned at their own first sample (a control\n"
                 "             on the page switches back to one absolute time axis)\n"
                 "  -m MB      the page holds at most MB megabytes of data itself (default 256); the rest goes\n"
                 "             to script files in the folder FILE_files beside it (only with -o)\n"
                 "  -h         show this help\n"
                 "Options for recordings, as plotwright has them:\n"
                 "  --recipe NAME     the channels of a recipe (repeatable); --recipe list lists them\n"
                 "  --plot TEXT       a channel written on the command line (repeatable)\n"
                 "  -l, --channels F  the channel file\n"
                 "  -c, --config F    the configuration file (default plotwright.conf, when there is one)\n"
                 "Exit status: 0 on success and after -h; 1 on any error, reported in one line on standard error.\n";
}

int fail(const std::string& message) {
    std::cerr << PROGRAM << ": " << message << std::endl;
    return 1;
}

const int OPTION_RECIPE = 256;
const int OPTION_PLOT = 257;
const struct option LONG_OPTIONS[] = {{"help", no_argument, nullptr, 'h'},
                                      {"output", required_argument, nullptr, 'o'},
                                      {"format", required_argument, nullptr, 'f'},
                                      {"align", no_argument, nullptr, 'a'},
                                      {"inline-megabytes", required_argument, nullptr, 'm'},
                                      {"channels", required_argument, nullptr, 'l'},
                                      {"config", required_argument, nullptr, 'c'},
                                      {"recipe", required_argument, nullptr, OPTION_RECIPE},
                                      {"plot", required_argument, nullptr, OPTION_PLOT},
                                      {nullptr, 0, nullptr, 0}};

// Reads one input into the sink: plot data as it is, a recording through the conversion that runs for it.
template <typename Sink> void readInput(const std::string& path, ForkedConversion* conversion, Sink& sink) {
    if (conversion == nullptr) {
        viewer::PlotDataReader::readFile(path, sink);
        return;
    }
    const std::string failed = "recording \"" + path + "\": the conversion failed (see above)";
    try {
        viewer::PlotDataReader::read(conversion->document(), path, sink);
    } catch (const std::exception&) {
        // The conversion's own messages say more than what the reader makes of its output.
        if (conversion->wait() != 0) {
            throw std::runtime_error(failed);
        }
        throw;
    }
    if (conversion->wait() != 0) {
        throw std::runtime_error(failed);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const double startTime = getNow();
    std::ios::sync_with_stdio(false);
    std::string outputPath;
    ConversionSettings settings;
    // Without a configuration the conversion's log shows errors only: its problems are summed up anyway.
    settings.defaultLogLevel = "ERROR";
    std::string format = "html";
    viewer::PageWriter::Options options;
    opterr = 0;
    int option;
    while ((option = getopt_long(argc, argv, ":ho:f:am:l:c:", LONG_OPTIONS, nullptr)) != -1) {
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
        case 'l':
            settings.channelFile = optarg;
            break;
        case 'c':
            settings.configFile = optarg;
            settings.configGiven = true;
            break;
        case OPTION_RECIPE:
            settings.recipes.push_back(optarg);
            break;
        case OPTION_PLOT:
            settings.plots.push_back(optarg);
            break;
        default:
            return fail(kestrel::optionProblem(option, optopt));
        }
    }
    if (format != "html" && format != "trace") {
        return fail("unknown format \"" + format + "\": use html or trace");
    }
    if (settings.recipes.size() == 1 && settings.recipes[0] == "list") {
        Conversion::listRecipes();
        return 0;
    }
    if (optind >= argc) {
        return fail("no input given: name the plot data files that plotwright wrote (see -h)");
    }
    try {
        // Each recording converts in a process of its own, all of them started before this one starts a thread.
        std::vector<std::unique_ptr<ForkedConversion>> conversions(argc);
        for (int i = optind; i < argc; ++i) {
            if (ForkedConversion::isRecording(argv[i])) {
                settings.inputFile = argv[i];
                conversions[i].reset(new ForkedConversion(settings, startTime));
            }
        }
        viewer::OutputFile output(outputPath, format == "html");
        if (format == "html") {
            // Reading on this thread, the page written on another.
            viewer::PageWriter page(output, options);
            viewer::SinkThread writer(page);
            for (int i = optind; i < argc; ++i) {
                readInput(argv[i], conversions[i].get(), writer);
            }
            writer.finish();
            page.finish();
        } else {
            viewer::TraceWriter trace(output.stream());
            for (int i = optind; i < argc; ++i) {
                readInput(argv[i], conversions[i].get(), trace);
            }
            trace.finish();
        }
        output.commit();
    } catch (const std::exception& e) {
        return fail(e.what());
    }
    return 0;
}
