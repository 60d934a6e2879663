#ifndef APP_CONVERSION_H
#define APP_CONVERSION_H

#include "app/ConversionSettings.h"
#include "app/ProblemSummary.h"
#include "kestrel/JSOM.h"
#include "perfevents/TracePointFieldStore.h"

#include <fstream>
#include <memory>
#include <ostream>
#include <string>

namespace kestrel {
class Logger;
}
namespace perfevents {
class PerfOutputReader;
}

/**
 * One run of the converter from its settings to the written document: the configuration (the default file may be
 * absent: then the defaults apply), logging, the event database (named by the configuration, or else built from the
 * recording's own trace point formats), the channels (a channel file and the plots of the command line), the input
 * and the output, then the conversion itself. Start-up failures are logged (or, before logging is configured, written
 * to standard error) and give exit status 1; the problems of the conversion are summed up on standard error at the
 * end.
 */
class Conversion {
public:
    static const int STATUS_FAILURE = 1;
    /// Exit status of a conversion with problems when --strict asks for it.
    static const int STATUS_PROBLEMS = 2;

    Conversion(const ConversionSettings& settings, double startTime);
    ~Conversion();
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    /// Runs it; returns the exit status.
    int run();
    /// Lists the recipes with the trace points they use on standard output (--recipe list).
    static void listRecipes();

private:
    bool _loadConfiguration();
    void _configureLogging();
    bool _loadEventDatabase();
    void _resolveSettings();
    bool _openInput();
    bool _openRecording();
    bool _databaseFromRecording();
    bool _loadChannels();
    bool _addRecipes();
    bool _addPlots();
    bool _openOutput(std::ostream*& output);
    void _convert(std::ostream* output);

    ConversionSettings settings;
    double startTime;
    kestrel::JSOM config;
    kestrel::Logger* logger = nullptr;
    ProblemSummary problems;
    perfevents::TracePointFieldStore fields;
    bool databaseConfigured = false;
    kestrel::JSOM channels;
    bool defaultChannelFile = false; // the channel file is the built-in default
    bool allRecipes = false;         // no channel file at all: every recipe that applies
    bool fromStandardInput = false;
    std::ifstream input;
    std::unique_ptr<perfevents::PerfOutputReader> reader; // opened ahead when its set-up is needed early
    std::ofstream outputFile;
};

#endif
