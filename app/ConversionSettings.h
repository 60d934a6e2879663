#ifndef APP_CONVERSIONSETTINGS_H
#define APP_CONVERSIONSETTINGS_H

#include <string>
#include <vector>

// The settings of one conversion as the command line gives them; paths left null are taken from the configuration.
struct ConversionSettings {
    const char* configFile = "plotwright.conf";
    bool configGiven = false; // -c was given: a file that cannot be read is a failure even when absent
    // The log's level when there is no configuration file (the problems are summed up on standard error anyway).
    const char* defaultLogLevel = "WARN";
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
    // Plots written on the command line (--plot), in order.
    std::vector<std::string> plots;
    // Write the channel file the plots make and stop (--print-channels).
    bool printChannels = false;
    // Recipes to add (--recipe), in order.
    std::vector<std::string> recipes;
    // Arguments that are not options: ignored, and reported.
    std::vector<std::string> ignored;
};

#endif
