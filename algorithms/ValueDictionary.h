#ifndef ALGORITHMS_VALUEDICTIONARY_H
#define ALGORITHMS_VALUEDICTIONARY_H

#include "app/SeriesData.h"
#include "perfevents/TextDictionary.h"

#include <map>
#include <memory>
#include <string>

/**
 * Names for the values of a column, written as a dictionary of the output document (scope "plotwright") that the
 * column's "dataDictionary" refers to: names a channel gives ("stateNames"), and the texts of a text field by their
 * numbers. It may extend another dictionary (the thread names, for a state that is a thread id), which names what
 * it does not.
 */
class ValueDictionary : public SeriesData {
public:
    /// A dictionary name not yet taken in this output: wanted, or wanted with a number after it.
    static std::string uniqueName(const std::string& wanted);

    ValueDictionary(const std::string& name, const std::map<long long, std::string>& names,
                    std::shared_ptr<perfevents::TextDictionary> texts, const std::string& extends);
    ~ValueDictionary() override;

    const std::string& getName() const { return name; }
    bool print(kestrel::JsomWriter& writer, double clockOrigin) override;

private:
    std::string name;
    std::map<long long, std::string> names;
    std::shared_ptr<perfevents::TextDictionary> texts;
    std::string extends;
};

#endif
