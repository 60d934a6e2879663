#ifndef APP_COMMANDLINEPLOT_H
#define APP_COMMANDLINEPLOT_H

#include <string>
#include <vector>

namespace kestrel {
class JSOM;
}
namespace perfevents {
class TracePointFieldStore;
}

/**
 * A plot written on the command line (--plot), turned into the channel object a channel file would hold:
 *
 *     [number|state] EVENT.FIELD [per FIELD] [where CONDITION] [end VALUE] [as LABEL] [group GROUP]
 *
 * - number (the default) makes a number plot of FIELD's value, state a state plot with FIELD as its state;
 * - EVENT is the trace point as the event database names it ("sched:sched_switch");
 * - per FIELD gives one series per value of FIELD (the channel's "pivotField");
 * - where CONDITION keeps only the samples for which the condition holds: an expression over the trace point's
 *   field names and numbers (see kestrel::InfixCompiler), compiled to "filterFormula" and "filterFields"; it runs
 *   up to the next keyword (per, where, end, as, group) or the end, so a field named like a keyword is written in
 *   backquotes (`end`);
 * - end VALUE: the state that ends a span (state plots: "endState");
 * - as LABEL: the channel's "name" and, with per, its "pivotPrefix"; group GROUP: its "group". A label or group is one
 *   word or a text in double quotes (\" and \\ stand for a quote and a backslash).
 * The channel gets the id "plot" followed by its number. Every trace point and field is checked against the event
 * database; a mistake is one line that names the bad word.
 */
class CommandLinePlot {
public:
    /// Fills channel with the channel the text describes; returns an empty string, or the mistake.
    static std::string toChannel(const std::string& text, int number, const perfevents::TracePointFieldStore& fields,
                                 kestrel::JSOM& channel);

private:
    struct Word {
        std::string text;  // as meant: a quoted text without its quotes
        std::size_t start; // where it starts in the text
        std::size_t end;   // where it ends
        bool quoted;
    };
    static std::string _split(const std::string& text, std::vector<Word>& words);
};

#endif
