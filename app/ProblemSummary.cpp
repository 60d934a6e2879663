#include "app/ProblemSummary.h"

#include "kestrel/JSOM.h"

void ProblemSummary::add(const std::string& subject, const std::string& reason) {
    lines.push_back(subject + ": " + reason);
}

void ProblemSummary::addChannel(const kestrel::JSOM& channel, int index, const std::string& reason) {
    add(channelSubject(channel, index), reason);
}

std::string ProblemSummary::channelSubject(const kestrel::JSOM& channel, int index) {
    kestrel::JSOM entry(channel);
    const std::string id = entry.isObject() ? entry["id"].stringValue(kestrel::JSOM::EMPTY_STRING) : std::string();
    if (!id.empty()) {
        return "channel \"" + id + "\"";
    }
    const std::string name = entry.isObject() ? entry["name"].stringValue(kestrel::JSOM::EMPTY_STRING) : std::string();
    std::string subject = "channel " + std::to_string(index + 1) + " of the list";
    if (!name.empty()) {
        subject += " (\"" + name + "\")";
    }
    return subject;
}

void ProblemSummary::print(std::FILE* out) const {
    for (const std::string& line : lines) {
        std::fprintf(out, "plotwright: %s\n", line.c_str());
    }
    std::fflush(out);
}
