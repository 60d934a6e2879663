#include "app/CommandLine.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <string>
#include <unistd.h>

namespace {

const char* const OPTIONS = "hc:s:o:d:i:aA:B:C:l:";
const char* const OPTIONS_WITH_ARGUMENT = "csodiABCl";

// Options that have no short form.
enum LongOnly { OPTION_STRICT = 256, OPTION_PLOT, OPTION_PRINT_CHANNELS, OPTION_RECIPE };

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
                                      {"plot", required_argument, nullptr, OPTION_PLOT},
                                      {"print-channels", no_argument, nullptr, OPTION_PRINT_CHANNELS},
                                      {"recipe", required_argument, nullptr, OPTION_RECIPE},
                                      {nullptr, 0, nullptr, 0}};

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
    printf("       --output file       the same as -o (\"-\": standard output)\n");
    printf("       --append            the same as -a\n");
    printf("       --skew number       the same as -A\n");
    printf("       --offset number     the same as -B\n");
    printf("       --base number       the same as -C\n");
    printf("       --strict            exit with status 2 when the conversion had problems (listed on stderr)\n");
    printf("       --plot text         a channel written on the command line (repeatable), such as\n");
    printf("                           'state sched:sched_switch.next_pid per common_cpu'\n");
    printf("       --print-channels    write the channel file of the plots given and stop\n");
    printf("       --recipe name       add the channels of a recipe (repeatable); --recipe list lists them\n");
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

} // namespace

int CommandLine::parse(int argc, char** argv, ConversionSettings& settings) {
    opterr = 0;
    int option;
    while ((option = getopt_long(argc, argv, OPTIONS, LONG_OPTIONS, nullptr)) != -1) {
        switch (option) {
        case 'h':
            printHelp();
            return 1;
        case 'c':
            settings.configFile = optarg;
            settings.configGiven = true;
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
        case OPTION_PLOT:
            settings.plots.push_back(optarg);
            break;
        case OPTION_PRINT_CHANNELS:
            settings.printChannels = true;
            break;
        case OPTION_RECIPE:
            settings.recipes.push_back(optarg);
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
