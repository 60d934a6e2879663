#include "app/RecipeBook.h"

#include "kestrel/JSOM.h"
#include "perfevents/TracePointFieldStore.h"

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The folder the running program lies in.
std::string programFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0) {
        return std::string();
    }
    const std::string program(path, static_cast<std::size_t>(length));
    return program.substr(0, program.rfind('/'));
}

// The trace points a channel needs, and those it can do without.
void channelTracePoints(const kestrel::JSOM& channel, std::vector<std::string>& needed,
                        std::vector<std::string>& optional) {
    kestrel::JSOM detail = channel["detail"];
    kestrel::JSOM events = detail["events"];
    kestrel::JSOM configs = detail["eventConfigs"];
    const int eventCount = events.isArray() ? events.size() : 0;
    if (!configs.isArray()) {
        if (eventCount > 0) {
            needed.push_back(events[0].stringValue(kestrel::JSOM::EMPTY_STRING));
        }
        return;
    }
    for (int i = 0; i < configs.size(); ++i) {
        const long long index = configs[i]["eventIndex"].longValue(-1);
        if (index < 0 || index >= eventCount) {
            continue;
        }
        const std::string& event = events[static_cast<int>(index)].stringValue(kestrel::JSOM::EMPTY_STRING);
        std::vector<std::string>& into = configs[i]["optional"].booleanValue(false) ? optional : needed;
        if (std::find(into.begin(), into.end(), event) == into.end()) {
            into.push_back(event);
        }
    }
}

} // namespace

std::string RecipeBook::directory() {
    const char* given = std::getenv("PLOTWRIGHT_RECIPES");
    if (given != nullptr && given[0] != '\0') {
        return isDirectory(given) ? given : std::string();
    }
    const std::string folder = programFolder();
    for (const std::string& candidate : {folder + "/../share/plotwright/recipes", folder + "/recipes"}) {
        if (!folder.empty() && isDirectory(candidate)) {
            return candidate;
        }
    }
    return std::string();
}

std::vector<std::string> RecipeBook::names() {
    std::vector<std::string> found;
    const std::string folder = directory();
    DIR* entries = folder.empty() ? nullptr : opendir(folder.c_str());
    if (entries == nullptr) {
        return found;
    }
    while (dirent* entry = readdir(entries)) {
        const std::string name = entry->d_name;
        if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0) {
            found.push_back(name.substr(0, name.size() - 5));
        }
    }
    closedir(entries);
    std::sort(found.begin(), found.end());
    return found;
}

std::string RecipeBook::load(const std::string& name, kestrel::JSOM& channels) {
    const std::vector<std::string> known = names();
    if (std::find(known.begin(), known.end(), name) == known.end()) {
        std::string list;
        for (const std::string& recipe : known) {
            list += (list.empty() ? "" : ", ") + recipe;
        }
        return "no recipe \"" + name + "\" (" + (known.empty() ? "no recipes are installed" : "known: " + list) + ")";
    }
    const std::string path = directory() + "/" + name + ".json";
    if (channels.fromFile(path.c_str()).isError() || !channels.isArray()) {
        return "the recipe " + path + " is no channel list";
    }
    return std::string();
}

std::vector<std::string> RecipeBook::tracePoints(const kestrel::JSOM& channels) {
    std::vector<std::string> needed, optional;
    for (int i = 0; i < channels.size(); ++i) {
        channelTracePoints(channels[i], needed, optional);
    }
    for (const std::string& event : optional) {
        if (std::find(needed.begin(), needed.end(), event) == needed.end()) {
            needed.push_back(event + " (optional)");
        }
    }
    return needed;
}

bool RecipeBook::applies(const kestrel::JSOM& channels, const perfevents::TracePointFieldStore& fields) {
    for (int i = 0; i < channels.size(); ++i) {
        std::vector<std::string> needed, optional;
        channelTracePoints(channels[i], needed, optional);
        bool all = !needed.empty();
        for (const std::string& event : needed) {
            all = all && fields.getEventID(event.c_str()) != -1;
        }
        if (all) {
            return true;
        }
    }
    return false;
}

void RecipeBook::append(const kestrel::JSOM& channels, kestrel::JSOM& list) {
    for (int i = 0; i < channels.size(); ++i) {
        list[list.size()].copy(channels[i]);
    }
}
