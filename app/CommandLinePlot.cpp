#include "app/CommandLinePlot.h"

#include "kestrel/InfixCompiler.h"
#include "kestrel/JSOM.h"
#include "perfevents/TextDictionary.h"
#include "perfevents/TracePointFieldStore.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>

namespace {

const char* const KEYWORDS[] = {"per", "where", "end", "as", "group"};

// How the series of a pivot field are named when the field says what it holds: thread ids (declared pid_t, or named
// pid, tid or *_pid) by the thread's name, device numbers (dev_t) as major:minor; null to leave it to the plot
// (common_pid and common_tid name threads there already, other numbers stay numbers).
const char* pivotNames(const perfevents::TracePointFieldStore& fields, const std::string& event,
                       const std::string& field) {
    if (field == "common_pid" || field == "common_tid") {
        return nullptr;
    }
    perfevents::TracePointFieldStore::FieldDescription description;
    if (!fields.describeField(event.c_str(), field.c_str(), description)) {
        return nullptr;
    }
    const bool pidName =
        field == "pid" || field == "tid" || (field.size() > 4 && field.compare(field.size() - 4, 4, "_pid") == 0);
    if (description.type == "pid_t" || pidName) {
        return "threads";
    }
    return description.type == "dev_t" ? "devices" : nullptr;
}

bool isKeyword(const std::string& text) {
    for (const char* keyword : KEYWORDS) {
        if (text == keyword) {
            return true;
        }
    }
    return false;
}

// A field name as written: `name` in backquotes stands for name.
std::string fieldName(const std::string& text) {
    if (text.size() >= 2 && text.front() == '`' && text.back() == '`') {
        return text.substr(1, text.size() - 2);
    }
    return text;
}

} // namespace

std::string CommandLinePlot::_split(const std::string& text, std::vector<Word>& words) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (std::isspace(static_cast<unsigned char>(text[at]))) {
            ++at;
            continue;
        }
        Word word{std::string(), at, at, text[at] == '"'};
        if (word.quoted) {
            for (++at; at < text.size() && text[at] != '"'; ++at) {
                if (text[at] == '\\' && at + 1 < text.size()) {
                    ++at;
                }
                word.text += text[at];
            }
            if (at == text.size()) {
                return "a text in double quotes is not closed: " + text.substr(word.start);
            }
            ++at;
        } else {
            while (at < text.size() && !std::isspace(static_cast<unsigned char>(text[at]))) {
                word.text += text[at++];
            }
        }
        word.end = at;
        words.push_back(word);
    }
    return std::string();
}

std::string CommandLinePlot::toChannel(const std::string& text, int number,
                                       const perfevents::TracePointFieldStore& fields, kestrel::JSOM& channel) {
    std::vector<Word> words;
    std::string problem = _split(text, words);
    if (!problem.empty()) {
        return problem;
    }
    std::size_t i = 0;
    std::string kind = "number";
    if (i < words.size() && !words[i].quoted && (words[i].text == "number" || words[i].text == "state")) {
        kind = words[i++].text;
    }
    if (i == words.size()) {
        return "no EVENT.FIELD to plot (such as sched:sched_switch.next_pid)";
    }
    const std::string& target = words[i].text;
    const std::size_t dot = target.rfind('.');
    if (words[i].quoted || dot == std::string::npos || dot == 0 || dot + 1 == target.size()) {
        return "expected EVENT.FIELD (such as sched:sched_switch.next_pid), found \"" + target + "\"";
    }
    const std::string event = target.substr(0, dot);
    const std::string field = fieldName(target.substr(dot + 1));
    ++i;

    // The clauses, each at most once, in any order; a condition runs up to the next keyword.
    std::map<std::string, std::string> clauses;
    while (i < words.size()) {
        const Word& keyword = words[i];
        if (keyword.quoted || !isKeyword(keyword.text)) {
            return "unexpected \"" + keyword.text + "\" (expected per, where, end, as or group)";
        }
        if (clauses.count(keyword.text) != 0) {
            return "\"" + keyword.text + "\" is given twice";
        }
        std::size_t last = ++i;
        while (last < words.size() && (words[last].quoted || !isKeyword(words[last].text))) {
            ++last;
        }
        if (last == i) {
            return "\"" + keyword.text + "\" needs " +
                   (keyword.text == "where" ? "a condition"
                    : keyword.text == "as"  ? "a label"
                    : keyword.text == "end" ? "a state value"
                                            : std::string("a ") + (keyword.text == "per" ? "field" : "group name"));
        }
        if (keyword.text == "where") {
            clauses["where"] = text.substr(words[i].start, words[last - 1].end - words[i].start);
        } else if (last > i + 1) {
            return "\"" + keyword.text + "\" takes one word or a text in double quotes, found \"" + words[i + 1].text +
                   "\" after \"" + words[i].text + "\"";
        } else {
            clauses[keyword.text] = keyword.text == "per" ? fieldName(words[i].text) : words[i].text;
        }
        i = last;
    }

    // Everything checked against the event database.
    if (fields.getEventID(event.c_str()) == -1) {
        return "unknown trace point \"" + event + "\"";
    }
    auto checkField = [&](const std::string& name, const char* role) {
        const std::string why = fields.whyNotNumeric(event.c_str(), name.c_str());
        return why.empty() ? why : std::string(role) + " \"" + name + "\": " + why;
    };
    // The plotted field and the pivot may also be pointers and texts (a state or a pivot named by its text); a
    // number plot's value must be a number or a pointer.
    auto checkValue = [&](const std::string& name, const char* role, bool textAllowed) {
        perfevents::TextDictionary texts;
        perfevents::TracePointFieldStore::ValueKind valueKind;
        std::string declared, why;
        std::unique_ptr<perfevents::NumericTracePointField> reader(
            fields.createValueField(event.c_str(), name.c_str(), texts, valueKind, declared, why));
        if (reader && valueKind == perfevents::TracePointFieldStore::VALUE_TEXT && !textAllowed) {
            why = "field \"" + name + "\" of " + event + " is a text (" + declared +
                  "): a number plot needs a number (a state plot shows texts: write \"state " + target + "\")";
        }
        return why.empty() ? why : std::string(role) + " \"" + name + "\": " + why;
    };
    problem = checkValue(field, "field", kind == "state");
    if (problem.empty() && clauses.count("per") != 0) {
        problem = checkValue(clauses["per"], "per", true);
    }
    if (!problem.empty()) {
        return problem;
    }
    std::vector<std::string> postfix, variables;
    if (clauses.count("where") != 0) {
        problem = kestrel::InfixCompiler::compile(clauses["where"], postfix, variables);
        if (!problem.empty()) {
            return "where " + clauses["where"] + ": " + problem;
        }
        for (const std::string& variable : variables) {
            problem = checkField(variable, "where: field");
            if (!problem.empty()) {
                return problem;
            }
        }
    }
    long long endState = 0;
    if (clauses.count("end") != 0) {
        if (kind != "state") {
            return "\"end\" applies to state plots only (write \"state " + target + " ...\")";
        }
        const std::string& value = clauses["end"];
        char* stop = nullptr;
        errno = 0;
        endState = std::strtoll(value.c_str(), &stop, 0);
        if (value.empty() || *stop != '\0' || errno != 0) {
            return "\"end\" needs a whole number, found \"" + value + "\"";
        }
    }

    channel["id"].setString("plot" + std::to_string(number));
    channel["name"].setString(clauses.count("as") != 0 ? clauses["as"] : target);
    kestrel::JSOM detail = channel["detail"];
    detail["type"].setString("varnel2");
    detail["algorithm"].setString(kind == "state" ? "stateplot" : "numberplot");
    detail["events"][0].setString(event);
    if (clauses.count("per") != 0) {
        detail["pivotField"].setString(clauses["per"]);
        const char* names = pivotNames(fields, event, clauses["per"]);
        if (names != nullptr) {
            detail["pivotNames"].setString(names);
        }
        if (clauses.count("as") != 0) {
            detail["pivotPrefix"].setString(clauses["as"]);
        }
    }
    if (clauses.count("group") != 0) {
        detail["group"].setString(clauses["group"]);
    }
    if (kind == "state") {
        if (clauses.count("end") != 0) {
            detail["endState"].setLong(endState);
        }
        detail["eventConfigs"][0]["eventIndex"].setLong(0);
        detail["eventConfigs"][0]["stateField"].setString(field);
    } else {
        detail["valueField"].setString(field);
    }
    // The filter belongs to the state plot's configuration, or to the number plot's "detail".
    const kestrel::JSOM filtered(kind == "state" ? detail["eventConfigs"][0] : detail);
    if (!postfix.empty()) {
        std::string formula;
        for (const std::string& token : postfix) {
            formula += (formula.empty() ? "" : " ") + token;
        }
        filtered["filterFormula"].setString(formula);
        for (std::size_t k = 0; k < variables.size(); ++k) {
            filtered["filterFields"][static_cast<int>(k)].setString(variables[k]);
        }
    }
    return std::string();
}
