#ifndef APP_PROBLEMSUMMARY_H
#define APP_PROBLEMSUMMARY_H

#include <cstdio>
#include <string>
#include <vector>

namespace kestrel {
class JSOM;
}

/**
 * The problems of a conversion that its user must hear of whatever the log says: a channel skipped or switched
 * off, an event database that contradicts the recording, samples that could not be converted, a collection window
 * without samples, arguments that are not options. Printed at the end on standard error, one line each in the form
 * `plotwright: SUBJECT: REASON` (the subject names the channel, the file or the argument); nothing when nothing
 * went wrong. The log keeps its own lines as before.
 */
class ProblemSummary {
public:
    /// Adds a problem of a subject ("channel \"cpu-task\"", "recording \"perf.data\"", ...).
    void add(const std::string& subject, const std::string& reason);
    /// Adds a problem of a channel of the channel list, named by its "id", or by its index and "name" without one.
    void addChannel(const kestrel::JSOM& channel, int index, const std::string& reason);
    /// How a channel is named in the lines.
    static std::string channelSubject(const kestrel::JSOM& channel, int index);

    bool empty() const { return lines.empty(); }
    const std::vector<std::string>& getLines() const { return lines; }
    /// Writes the lines, each after "plotwright: ".
    void print(std::FILE* out) const;

private:
    std::vector<std::string> lines;
};

#endif
