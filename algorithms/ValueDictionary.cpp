#include "algorithms/ValueDictionary.h"

#include "kestrel/JsomWriter.h"

#include <set>

namespace {
std::set<std::string>& takenNames() {
    static std::set<std::string> names;
    return names;
}
} // namespace

std::string ValueDictionary::uniqueName(const std::string& wanted) {
    std::string name = wanted;
    for (int number = 2; !takenNames().insert(name).second; ++number) {
        name = wanted + " " + std::to_string(number);
    }
    return name;
}

ValueDictionary::ValueDictionary(const std::string& name, const std::map<long long, std::string>& names,
                                 std::shared_ptr<perfevents::TextDictionary> texts, const std::string& extends)
    : name(name), names(names), texts(std::move(texts)), extends(extends) {}

ValueDictionary::~ValueDictionary() {}

bool ValueDictionary::print(kestrel::JsomWriter& writer, double) {
    // The channel's own names win over texts of the same number.
    std::map<long long, std::string> all = names;
    if (texts) {
        const std::vector<std::string>& known = texts->getTexts();
        for (std::size_t i = 0; i < known.size(); ++i) {
            all.emplace(static_cast<long long>(i), known[i]);
        }
    }
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("dictionaries", false);
    writer.appendLabel("scope", true);
    writer.appendString("plotwright", false);
    writer.appendLabel("dictionaries", true);
    writer.startObject();
    writer.appendLabel(name.c_str(), static_cast<int>(name.size()), false);
    writer.startObject();
    writer.appendLabel("type", true);
    writer.appendString("map", false);
    if (!extends.empty()) {
        writer.appendLabel("extends", true);
        writer.startObject();
        writer.appendLabel("scope", true);
        writer.appendString("plotwright", false);
        writer.appendLabel("dictionary", true);
        writer.appendString(extends, false);
        writer.endObject();
    }
    writer.appendLabel("map", true);
    writer.startObject();
    for (const auto& entry : all) {
        const std::string key = std::to_string(entry.first);
        writer.appendLabel(key.c_str(), static_cast<int>(key.size()), true);
        writer.startObject();
        writer.appendLabel("label", true);
        writer.appendString(entry.second, false);
        writer.endObject();
    }
    writer.endObject();
    writer.endObject();
    writer.endObject();
    writer.endObject();
    return true;
}
