#ifndef APP_RECIPEBOOK_H
#define APP_RECIPEBOOK_H

#include <string>
#include <vector>

namespace kestrel {
class JSOM;
}
namespace perfevents {
class TracePointFieldStore;
}

/**
 * The recipes: channel files shipped with the programs (recipes/NAME.json), each a named picture of a subsystem
 * (sched, irq, power, block) whose channels are "optional", so that a recording that lacks some of their trace
 * points gets the others. They are found relative to the program: PLOTWRIGHT_RECIPES when set, else
 * share/plotwright/recipes beside the program's bin folder (an install, the Debian package), else recipes/ beside
 * the program (the build tree).
 */
class RecipeBook {
public:
    /// The folder of the recipes; empty when none is found.
    static std::string directory();
    /// The names of the recipes, in order.
    static std::vector<std::string> names();
    /// Reads a recipe's channels; an empty string, or why it cannot be read.
    static std::string load(const std::string& name, kestrel::JSOM& channels);
    /// The trace points a list of channels uses, "(optional)" after those it can do without.
    static std::vector<std::string> tracePoints(const kestrel::JSOM& channels);
    /// Whether the event database holds the trace points of at least one channel that needs them all.
    static bool applies(const kestrel::JSOM& channels, const perfevents::TracePointFieldStore& fields);
    /// Appends copies of the channels to a list.
    static void append(const kestrel::JSOM& channels, kestrel::JSOM& list);
};

#endif
