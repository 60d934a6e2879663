// plotwright: converts a perf.data recording into generic plot data.

#include "app/PerfInputRunner.h"
#include "app/ProblemSummary.h"
#include "kestrel/FileLogAdapterFactory.h"
#include "kestrel/JSOM.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/LogAdapterStore.h"
#include "kestrel/Logger.h"
#include "kestrel/Time.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/TracePointFieldStore.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const char* const OPTIONS = "hc:s:o:d:i:aA:B:C:l:";
const char* const OPTIONS_WITH_ARGUMENT = "csodiABCl";

// Options that have no short form.
enum LongOnly { OPTION_STRICT = 256 };

// The long options: each short option has one, and some exist only in the long form.
const struct option LONG_OPTIONS[] = {{"help", no_argument, nullptr, 'h'},
                                      {"config", required_argument, nullptr, 'c'},
                                      {"start", required_argument, nullptr, 's'},
                                      {"duration", required_argument, nullptr, 'd'},
                                      {"input", required_argument, nullptr, 'i'},
                                      {"channels", required_argument, nullptr, 'l'},
                                      {"output", required_argument, nullptr, 'o'},
                                      {"append", no_argument, nullptr, 'a'},
                                      {"skew", required_argument, nullptr, 'A'},
                                      {"offset", required_argument, nullptr, 'B'},
                                      {"base", required_argument, nullptr, 'C'},
                                      {"strict", no_argument, nullptr, OPTION_STRICT},
                                      {nullptr, 0, nullptr, 0}};

// Exit status of a conversion with problems when --strict asks for it.
const int STATUS_PROBLEMS = 2;

void printHelp() {
    // The compiler's date reads "Mmm dd yyyy" with the day padded by a space, as the help line shows it; both
    // are taken when this file is compiled, so they name the build of the program itself.
    printf("plotwright - converts raw Perf data to generic plot data. Built %s %s\n", __DATE__, __TIME__);
    printf(" USAGE plotwright [options]\n");
    printf("       -h          show this help\n");
    printf("       -c file     the configuration file (default plotwright.conf)\n");
    printf("       -s time     Clock start time in seconds\n");
    printf("       -d duration Clock duration in seconds\n");
    printf("       -i file     Input perf data file\n");
    printf("       -l file     Input channel info file (plotwright-channels.json)\n");
    printf("       -o file     Output file (stdout)\n");
    printf("       -a          Append output file\n");
    printf("       -A number   Time conversion from data to clock multiplier or skew (1.0)\n");
    printf("       -B number   Time conversion from data to clock offset (0.0)\n");
    printf("       -C number   Time conversion from data to clock base (0.0)\n");
    printf(" TIME\n\n");
    printf("   clockStartTime(-s) = the clock time to start collection.\n\n");
    printf("   dataStartTime = the time to start collection, adjusted for input time stamps.\n");
    printf("                 = (clockStartTime(-s) - offset(-B)) / skew(-A) + base(-C)\n");
    printf(" LONG OPTIONS\n");
    printf("       --help              the same as -h\n");
    printf("       --config file       the same as -c\n");
    printf("       --start time        the same as -s\n");
    printf("       --duration duration the same as -d\n");
    printf("       --input file        the same as -i\n");
    printf("       --channels file     the same as -l\n");
    printf("       --output file       the same as -o\n");
    printf("       --append            the same as -a\n");
    printf("       --skew number       the same as -A\n");
    printf("       --offset number     the same as -B\n");
    printf("       --base number       the same as -C\n");
    printf("       --strict            exit with status 2 when the conversion had problems (listed on stderr)\n");
}

// option is getopt's optopt: the character as a char, which is signed on some targets and unsigned on others.
// given is the argument that caused the error, to tell a long option from a short one.
void reportOptionError(int option, const char* given) {
    // getopt_long leaves optopt 0 for an unknown long option and the option's short letter for a long option
    // without its argument; the argument at hand is the long option only then.
    const std::string name =
        given != nullptr && strncmp(given, "--", 2) == 0 ? std::string(given, strcspn(given, "=")) : std::string();
    bool known = false;
    for (const struct option* entry = LONG_OPTIONS; entry->name != nullptr && !name.empty(); ++entry) {
        known = known || (name == std::string("--") + entry->name && entry->val == option);
    }
    if (!name.empty() && (option == 0 || known)) {
        if (known && strchr(given, '=') == nullptr) {
            fprintf(stderr, "Option %s requires an argument.\n", name.c_str());
        } else if (known) {
            fprintf(stderr, "Option %s takes no argument.\n", name.c_str());
        } else {
            fprintf(stderr, "Unknown option `%s'.\n", name.c_str());
        }
        return;
    }
    const unsigned char c = static_cast<unsigned char>(option);
    if (c != 0 && strchr(OPTIONS_WITH_ARGUMENT, c) != nullptr) {
        fprintf(stderr, "Option -%c requires an argument.\n", c);
    } else if (isprint(c)) {
        fprintf(stderr, "Unknown option `-%c'.\n", c);
    } else {
        fprintf(stderr, "Unknown option character `%x'.\n", static_cast<unsigned int>(c));
    }
}

bool failed(const kestrel::JSOM& result) {
    return result.isError();
}

// The settings of one run; paths left null are taken from the configuration.
struct Settings {
    const char* configFile = "plotwright.conf";
    const char* inputFile = nullptr;
    const char* channelFile = nullptr;
    const char* outputFile = nullptr;
    bool append = false;
    double clockStart = 0.0;
    double duration = 0.0;
    double skew = 1.0;
    double offset = 0.0;
    double base = 0.0;
    bool strict = false;
    // Arguments that are not options: ignored, and reported.
    std::vector<std::string> ignored;
};

// Reads the options; returns -1 to go on, otherwise the exit status.
int readOptions(int argc, char** argv, Settings& settings) {
    opterr = 0;
    int option;
    while ((option = getopt_long(argc, argv, OPTIONS, LONG_OPTIONS, nullptr)) != -1) {
        switch (option) {
        case 'h':
            printHelp();
            return 1;
        case 'c':
            settings.configFile = optarg;
            break;
        case 'i':
            settings.inputFile = optarg;
            break;
        case 'l':
            settings.channelFile = optarg;
            break;
        case 'o':
            settings.outputFile = optarg;
            break;
        case 'a':
            settings.append = true;
            break;
        case 's':
            settings.clockStart = strtod(optarg, nullptr);
            break;
        case 'd':
            settings.duration = strtod(optarg, nullptr);
            break;
        case 'A':
            settings.skew = strtod(optarg, nullptr);
            break;
        case 'B':
            settings.offset = strtod(optarg, nullptr);
            break;
        case 'C':
            settings.base = strtod(optarg, nullptr);
            break;
        case OPTION_STRICT:
            settings.strict = true;
            break;
        default:
            reportOptionError(optopt, optind > 0 && optind <= argc ? argv[optind - 1] : nullptr);
            return 1;
        }
    }
    for (int i = optind; i < argc; ++i) {
        settings.ignored.push_back(argv[i]);
    }
    return -1;
}

// The end of a run: the problems on standard error, and the exit status.
int finish(const Settings& settings, const ProblemSummary& problems) {
    problems.print(stderr);
    return settings.strict && !problems.empty() ? STATUS_PROBLEMS : 0;
}

} // namespace

int main(int argc, char** argv) {
    const double startTime = getNow();

    Settings settings;
    const int status = readOptions(argc, argv, settings);
    if (status >= 0) {
        return status;
    }

    kestrel::LogAdapterStore::addFactory("file", new kestrel::FileLogAdapterFactory("file"));

    kestrel::JSOM config;
    if (failed(config.fromFile(settings.configFile))) {
        fprintf(stderr, "Could not load configuration file %s\n", settings.configFile);
        return 1;
    }
    config.expandValues();

    kestrel::JSOM logConfig = config["log"];
    if (logConfig.isObject()) {
        kestrel::Logger::useConfig(logConfig);
    }
    // The document may go to standard output: the log, unless it has a file of its own, then goes to standard
    // error, so that the document stays a document.
    if (settings.outputFile == nullptr && !config["outputFile"].isString() &&
        kestrel::Logger::getLogAdapter() == nullptr) {
        kestrel::Logger::setStandardStream(stderr);
    }
    kestrel::Logger* logger = kestrel::Logger::getLogger("main");
    ProblemSummary problems;
    for (const std::string& argument : settings.ignored) {
        problems.add("argument \"" + argument + "\"", "not an option: ignored (options begin with - or --)");
    }

    kestrel::JSOM eventDatabase = config["eventDatabase"];
    if (!eventDatabase.isString()) {
        logger->errorf("Could not load event database path from configuration file %s, aborting...",
                       settings.configFile);
        return 1;
    }
    const std::string eventDatabasePath = eventDatabase.stringValue(kestrel::JSOM::EMPTY_STRING);
    perfevents::TracePointFieldStore fields;
    if (fields.loadEventDatabase(eventDatabasePath.c_str()) != 0) {
        logger->errorf("Could not load event database %s, aborting..", eventDatabasePath.c_str());
        return 1;
    }

    if (settings.inputFile == nullptr) {
        settings.inputFile = config["inputPerfFile"].stringValuePtr(nullptr);
    }
    if (settings.channelFile == nullptr) {
        settings.channelFile = config["inputChannelFile"].stringValuePtr("plotwright-channels.json");
    }
    if (settings.outputFile == nullptr) {
        settings.outputFile = config["outputFile"].stringValuePtr(nullptr);
        if (settings.outputFile != nullptr) {
            settings.append = config["appendOutput"].booleanValue(false);
        }
    }

    kestrel::JSOM channels;
    if (failed(channels.fromFile(settings.channelFile))) {
        logger->errorf("Cannot read channel information from %s, aborting..", settings.channelFile);
        return 1;
    }
    if (!channels.isArray()) {
        problems.add(std::string("channel file \"") + settings.channelFile + "\"",
                     "its top level is not an array of channels: nothing is converted");
    }

    if (settings.inputFile == nullptr) {
        logger->errorf("No input file specified, aborting..");
        return 1;
    }
    // "-" reads the recording from standard input (perf record -o - ... | plotwright -i -).
    const bool fromStandardInput = strcmp(settings.inputFile, "-") == 0;
    std::ifstream input;
    if (!fromStandardInput) {
        input.open(settings.inputFile, std::ios::in | std::ios::binary);
    }
    if (!fromStandardInput && !input.is_open()) {
        logger->errorf("Cannot open %s for reading, aborting..", settings.inputFile);
        return 1;
    }

    std::ofstream outputFile;
    std::ostream* output = &std::cout;
    if (settings.outputFile != nullptr) {
        outputFile.open(settings.outputFile,
                        settings.append ? std::ios::out | std::ios::app : std::ios::out | std::ios::trunc);
        if (!outputFile.is_open()) {
            input.close();
            logger->errorf("Cannot open %s for writing, aborting..", settings.outputFile);
            return 1;
        }
        output = &outputFile;
    }

    kestrel::TimeConverter timeConverter;
    timeConverter.setup(settings.clockStart, settings.duration, settings.skew, settings.offset, settings.base);

    kestrel::JsomWriter* writer = new kestrel::JsomWriter(output);
    writer->whitespace = config["whitespace"].booleanValue(false);

    std::istream* source = fromStandardInput ? static_cast<std::istream*>(&std::cin) : &input;
    PerfInputRunner* runner = new PerfInputRunner(channels, source, fields, &timeConverter, writer, &problems,
                                                  fromStandardInput ? "standard input" : settings.inputFile);

    // Destroying the writer closes whatever the runner left open and flushes the output.
    delete writer;
    input.close();
    if (outputFile.is_open()) {
        outputFile.close();
    }

    logger->infof("Conversion completed in %f seconds.", getNow() - startTime);
    delete runner;
    kestrel::Logger::flushAll();
    return finish(settings, problems);
}
