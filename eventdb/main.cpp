// plotwright-eventdb: writes the event database that plotwright decodes trace point samples with, from the
// trace point formats a recording carries or tracefs publishes.

#include "eventdb/EventDatabaseBuilder.h"
#include "eventdb/EventSourceLoader.h"
#include "eventdb/TraceFormatParser.h"
#include "kestrel/OptionProblem.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

const char* const PROGRAM = "plotwright-eventdb";

void printUsage() {
    std::cout << "Usage: " << PROGRAM
              << " [-p] [-o FILE] [-s SYSTEM] SOURCE...\n"
                 "Writes the event database (JSON) with which plotwright decodes the trace points described by\n"
                 "the sources. A source is, told by its content:\n"
                 "  a perf.data file             the formats of the trace points it recorded (also one\n"
                 "                               written to a pipe; - reads it from standard input)\n"
                 "  a trace.dat file             the ftrace and event formats of a trace-cmd recording\n"
                 "                               (versions 6 and 7; a file, not standard input)\n"
                 "  a format file                as tracefs' events/SYSTEM/EVENT/format\n"
                 "  a directory                  every file named format below it, for example\n"
                 "                               /sys/kernel/tracing/events/sched\n"
                 "Options:\n"
                 "  -o FILE    write to FILE instead of standard output (nothing is written on error)\n"
                 "  -p         pretty layout: one member per line, indented\n"
                 "  -s SYSTEM  the system of format files that do not lie in SYSTEM/EVENT/format\n"
                 "  -h         show this help\n"
                 "Fields without a reader type (arrays, __data_loc strings) are listed without \"cast\": they are\n"
                 "documented but cannot be plotted.\n"
                 "Exit status: 0 on success and after -h; 1 on any error, reported in one line on standard error.\n";
}

int fail(const std::string& message) {
    std::cerr << PROGRAM << ": " << message << std::endl;
    return 1;
}

// Writes the text to the file; returns an empty string or the reason of the failure.
std::string writeFile(const std::string& path, const std::string& text) {
    errno = 0;
    std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!out.is_open()) {
        return errno ? std::strerror(errno) : "cannot open";
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) {
        std::string reason = errno ? std::strerror(errno) : "write error";
        std::remove(path.c_str()); // no partial database
        return reason;
    }
    return std::string();
}

} // namespace

int main(int argc, char* argv[]) {
    std::string outputPath;
    std::string defaultSystem;
    bool pretty = false;
    opterr = 0;
    int option;
    while ((option = getopt(argc, argv, ":ho:ps:")) != -1) {
        switch (option) {
        case 'h':
            printUsage();
            return 0;
        case 'o':
            outputPath = optarg;
            break;
        case 'p':
            pretty = true;
            break;
        case 's':
            defaultSystem = optarg;
            break;
        default:
            return fail(kestrel::optionProblem(option, optopt));
        }
    }
    if (!defaultSystem.empty() && !eventdb::TraceFormatParser::isValidName(defaultSystem)) {
        return fail("invalid system name \"" + defaultSystem + "\": use letters, digits, '_', '-' and '.'");
    }
    if (optind >= argc) {
        return fail("no source given: name perf.data or trace.dat files, format files or directories (see -h)");
    }

    std::string database;
    try {
        eventdb::EventDatabaseBuilder builder;
        eventdb::EventSourceLoader loader(builder);
        loader.setDefaultSystem(defaultSystem);
        for (int i = optind; i < argc; ++i) {
            loader.load(argv[i]);
        }
        std::ostringstream text;
        builder.write(text, pretty);
        text << '\n';
        database = text.str();
    } catch (const std::exception& e) {
        return fail(e.what());
    }

    if (outputPath.empty()) {
        std::cout.write(database.data(), static_cast<std::streamsize>(database.size()));
        std::cout.flush();
        if (!std::cout) {
            return fail("cannot write to standard output");
        }
    } else {
        std::string problem = writeFile(outputPath, database);
        if (!problem.empty()) {
            return fail(outputPath + ": cannot write: " + problem);
        }
    }
    return 0;
}
