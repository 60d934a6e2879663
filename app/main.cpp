// plotwright: converts a perf.data recording into generic plot data.

#include "app/CommandLine.h"
#include "app/Conversion.h"
#include "kestrel/Time.h"

int main(int argc, char** argv) {
    // The run's time counts from before the options are read.
    const double startTime = getNow();
    ConversionSettings settings;
    const int status = CommandLine::parse(argc, argv, settings);
    if (status >= 0) {
        return status;
    }
    if (settings.recipes.size() == 1 && settings.recipes[0] == "list") {
        Conversion::listRecipes();
        return 0;
    }
    Conversion conversion(settings, startTime);
    return conversion.run();
}
