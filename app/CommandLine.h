#ifndef APP_COMMANDLINE_H
#define APP_COMMANDLINE_H

#include "app/ConversionSettings.h"

// The command line of plotwright: short options as getopt reads them, a long option beside each and some of their
// own; the help text and the option errors.
class CommandLine {
public:
    /// Reads the options into settings; returns -1 to go on, otherwise the exit status (after the help text or an
    /// option error, written here).
    static int parse(int argc, char** argv, ConversionSettings& settings);
};

#endif
