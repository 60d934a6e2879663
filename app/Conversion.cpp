#include "app/Conversion.h"

#include "app/PerfInputRunner.h"
#include "app/CommandLinePlot.h"
#include "app/RecipeBook.h"
#include "eventdb/EventDatabaseBuilder.h"
#include "eventdb/RecordingFormats.h"
#include "kestrel/FileLogAdapterFactory.h"
#include "kestrel/JsomWriter.h"
#include "kestrel/LogAdapterStore.h"
#include "kestrel/LogLevel.h"
#include "kestrel/Logger.h"
#include "kestrel/Time.h"
#include "kestrel/TimeConverter.h"
#include "perfevents/PerfOutputReaderFactory.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <unistd.h>

Conversion::Conversion(const ConversionSettings& settings, double startTime)
    : settings(settings), startTime(startTime) {}

Conversion::~Conversion() {}

int Conversion::run() {
    kestrel::LogAdapterStore::addFactory("file", new kestrel::FileLogAdapterFactory("file"));
    if (!_loadConfiguration()) {
        return STATUS_FAILURE;
    }
    _configureLogging();
    if (!_loadEventDatabase()) {
        return STATUS_FAILURE;
    }
    _resolveSettings();
    if (databaseConfigured) {
        if (!_loadChannels()) {
            return STATUS_FAILURE;
        }
    } else {
        // Without a database the recording's own trace point formats make one: its set-up is read first.
        if (!_openInput() || !_openRecording() || !_databaseFromRecording() || !_loadChannels()) {
            return STATUS_FAILURE;
        }
    }
    if (settings.printChannels) {
        if (!_addRecipes() || !_addPlots()) {
            return STATUS_FAILURE;
        }
        std::string text;
        channels.toString(text, kestrel::JSOM::defaultPrecision);
        std::cout << text << std::endl;
        return 0;
    }
    if (databaseConfigured && !_openInput()) {
        return STATUS_FAILURE;
    }
    if (!_addRecipes() || !_addPlots()) {
        return STATUS_FAILURE;
    }
    std::ostream* output = nullptr;
    if (!_openOutput(output)) {
        return STATUS_FAILURE;
    }
    _convert(output);
    problems.print(stderr);
    return settings.strict && !problems.empty() ? STATUS_PROBLEMS : 0;
}

bool Conversion::_loadConfiguration() {
    // Without -c the default file may be absent: then the defaults apply, and the log, which a configuration would
    // tune, shows warnings and errors only (the problems of the conversion are summed up on standard error anyway).
    if (!settings.configGiven && access(settings.configFile, F_OK) != 0) {
        config.fromString("{}");
        kestrel::Logger::setMasterLogLevel(*kestrel::LogLevel::valueOf(settings.defaultLogLevel));
        return true;
    }
    if (config.fromFile(settings.configFile).isError()) {
        fprintf(stderr, "Could not load configuration file %s\n", settings.configFile);
        return false;
    }
    config.expandValues();
    return true;
}

void Conversion::_configureLogging() {
    kestrel::JSOM logConfig = config["log"];
    if (logConfig.isObject()) {
        kestrel::Logger::useConfig(logConfig);
    }
    // The document may go to standard output: the log, unless it has a file of its own, then goes to standard
    // error, so that the document stays a document.
    const bool documentOnStandardOutput =
        settings.outputFile == nullptr ? !config["outputFile"].isString() : std::strcmp(settings.outputFile, "-") == 0;
    if (documentOnStandardOutput && kestrel::Logger::getLogAdapter() == nullptr) {
        kestrel::Logger::setStandardStream(stderr);
    }
    logger = kestrel::Logger::getLogger("main");
    for (const std::string& argument : settings.ignored) {
        problems.add("argument \"" + argument + "\"", "not an option: ignored (options begin with - or --)");
    }
}

bool Conversion::_loadEventDatabase() {
    kestrel::JSOM eventDatabase = config["eventDatabase"];
    if (!eventDatabase.isResolved()) {
        return true; // made from the recording later
    }
    databaseConfigured = true;
    if (!eventDatabase.isString()) {
        logger->errorf("Could not load event database path from configuration file %s, aborting...",
                       settings.configFile);
        return false;
    }
    const std::string path = eventDatabase.stringValue(kestrel::JSOM::EMPTY_STRING);
    if (fields.loadEventDatabase(path.c_str()) != 0) {
        logger->errorf("Could not load event database %s, aborting..", path.c_str());
        return false;
    }
    return true;
}

void Conversion::_resolveSettings() {
    if (settings.inputFile == nullptr) {
        settings.inputFile = config["inputPerfFile"].stringValuePtr(nullptr);
    }
    if (settings.channelFile == nullptr) {
        // The default channel file is read only when no plot and no recipe is given on the command line.
        settings.channelFile = config["inputChannelFile"].stringValuePtr(nullptr);
        if (settings.channelFile == nullptr && settings.plots.empty() && settings.recipes.empty()) {
            settings.channelFile = "plotwright-channels.json";
            defaultChannelFile = true;
        }
    }
    if (settings.outputFile == nullptr) {
        settings.outputFile = config["outputFile"].stringValuePtr(nullptr);
        if (settings.outputFile != nullptr) {
            settings.append = config["appendOutput"].booleanValue(false);
        }
    }
}

bool Conversion::_loadChannels() {
    // Without any channel file the recipes take its place.
    allRecipes = defaultChannelFile && access(settings.channelFile, F_OK) != 0;
    if (settings.channelFile == nullptr || allRecipes) {
        channels.fromString("[]");
        return true;
    }
    if (channels.fromFile(settings.channelFile).isError()) {
        logger->errorf("Cannot read channel information from %s, aborting..", settings.channelFile);
        return false;
    }
    if (!channels.isArray()) {
        problems.add(std::string("channel file \"") + settings.channelFile + "\"",
                     "its top level is not an array of channels: nothing is converted");
        if (!settings.plots.empty()) {
            channels.fromString("[]"); // the plots of the command line are still converted
        }
    }
    return true;
}

void Conversion::listRecipes() {
    for (const std::string& name : RecipeBook::names()) {
        kestrel::JSOM recipe;
        if (!RecipeBook::load(name, recipe).empty()) {
            continue;
        }
        std::string events;
        for (const std::string& event : RecipeBook::tracePoints(recipe)) {
            events += (events.empty() ? "" : ", ") + event;
        }
        std::cout << name << ": " << events << "\n";
    }
    if (RecipeBook::names().empty()) {
        std::cout << "no recipes are installed (looked for "
                  << (RecipeBook::directory().empty() ? std::string("share/plotwright/recipes")
                                                      : RecipeBook::directory())
                  << ")\n";
    }
}

bool Conversion::_addRecipes() {
    std::vector<std::string> wanted = settings.recipes;
    if (allRecipes) {
        wanted = RecipeBook::names();
    }
    std::string applied;
    for (const std::string& name : wanted) {
        kestrel::JSOM recipe;
        const std::string problem = RecipeBook::load(name, recipe);
        if (!problem.empty()) {
            fprintf(stderr, "plotwright: --recipe '%s': %s\n", name.c_str(), problem.c_str());
            return false;
        }
        if (allRecipes && !RecipeBook::applies(recipe, fields)) {
            continue;
        }
        RecipeBook::append(recipe, channels);
        applied += (applied.empty() ? "" : ", ") + name;
    }
    if (allRecipes) {
        logger->infof("No channel file (%s): the recipes whose trace points the recording holds apply: %s",
                      settings.channelFile, applied.empty() ? "none" : applied.c_str());
        if (applied.empty()) {
            problems.add("recipes", "none applies to the recording (and there is no channel file): give plots with "
                                    "--plot or a channel file with -l");
        }
    }
    return true;
}

bool Conversion::_addPlots() {
    for (std::size_t i = 0; i < settings.plots.size(); ++i) {
        kestrel::JSOM channel;
        channel.fromString("{}");
        const std::string problem = CommandLinePlot::toChannel(settings.plots[i], static_cast<int>(i + 1), fields, channel);
        if (!problem.empty()) {
            fprintf(stderr, "plotwright: --plot '%s': %s\n", settings.plots[i].c_str(), problem.c_str());
            return false;
        }
        channels[channels.size()].copy(channel);
    }
    return true;
}

bool Conversion::_openInput() {
    if (settings.inputFile == nullptr) {
        logger->errorf("No input file specified, aborting..");
        return false;
    }
    // "-" reads the recording from standard input (perf record -o - ... | plotwright -i -).
    fromStandardInput = strcmp(settings.inputFile, "-") == 0;
    if (!fromStandardInput) {
        input.open(settings.inputFile, std::ios::in | std::ios::binary);
        if (!input.is_open()) {
            logger->errorf("Cannot open %s for reading, aborting..", settings.inputFile);
            return false;
        }
    }
    return true;
}

bool Conversion::_openRecording() {
    std::istream& stream = fromStandardInput ? static_cast<std::istream&>(std::cin) : input;
    try {
        // A perf.data file or a trace-cmd recording (trace.dat), told by its first byte.
        reader = perfevents::PerfOutputReaderFactory::create(stream);
    } catch (const std::exception& e) {
        logger->errorf("Cannot read %s, so no event database can be made from it (%s), aborting..", settings.inputFile,
                       e.what());
        return false;
    }
    return true;
}

bool Conversion::_databaseFromRecording() {
    // The same formats and database builder as plotwright-eventdb's.
    eventdb::RecordingFormats formats;
    if (!formats.read(*reader)) {
        logger->errorf("The configuration names no \"eventDatabase\", and %s carries no trace point formats to make "
                       "one from (%s): record trace points (perf record -e SYSTEM:EVENT ..., or trace-cmd record -e "
                       "SYSTEM:EVENT ...), or write an event "
                       "database with plotwright-eventdb (from tracefs on the traced machine) and name it in the "
                       "configuration, aborting..",
                       settings.inputFile, formats.getProblem().c_str());
        return false;
    }
    try {
        eventdb::EventDatabaseBuilder builder;
        for (const eventdb::TraceEventFormat& format : formats.getFormats()) {
            builder.addEvent(format, settings.inputFile);
        }
        fields.setEventDatabase(builder.toJsom());
    } catch (const std::runtime_error& e) {
        logger->errorf("The trace point formats of %s make no event database (%s), aborting..", settings.inputFile,
                       e.what());
        return false;
    }
    logger->infof("The event database is made from the trace point formats of %s", settings.inputFile);
    return true;
}

bool Conversion::_openOutput(std::ostream*& output) {
    output = &std::cout;
    if (settings.outputFile == nullptr || std::strcmp(settings.outputFile, "-") == 0) {
        return true;
    }
    outputFile.open(settings.outputFile,
                    settings.append ? std::ios::out | std::ios::app : std::ios::out | std::ios::trunc);
    if (!outputFile.is_open()) {
        input.close();
        logger->errorf("Cannot open %s for writing, aborting..", settings.outputFile);
        return false;
    }
    output = &outputFile;
    return true;
}

void Conversion::_convert(std::ostream* output) {
    kestrel::TimeConverter timeConverter;
    timeConverter.setup(settings.clockStart, settings.duration, settings.skew, settings.offset, settings.base);

    kestrel::JsomWriter* writer = new kestrel::JsomWriter(output);
    writer->whitespace = config["whitespace"].booleanValue(false);

    const std::string inputName = fromStandardInput ? "standard input" : settings.inputFile;
    PerfInputRunner* runner =
        reader ? new PerfInputRunner(channels, *reader, fields, &timeConverter, writer, &problems, inputName)
               : new PerfInputRunner(channels, fromStandardInput ? static_cast<std::istream*>(&std::cin) : &input,
                                     fields, &timeConverter, writer, &problems, inputName);

    // Destroying the writer closes whatever the runner left open and flushes the output.
    delete writer;
    reader.reset();
    input.close();
    if (outputFile.is_open()) {
        outputFile.close();
    }

    logger->infof("Conversion completed in %f seconds.", getNow() - startTime);
    delete runner;
    kestrel::Logger::flushAll();
}
