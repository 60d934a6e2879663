#ifndef VIEWER_DICTIONARYRESOLVER_H
#define VIEWER_DICTIONARYRESOLVER_H

#include "kestrel/JSOM.h"

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace viewer {

/**
 * Gives names to the numbers of one plot data document through its dictionaries.
 *
 * A dictionary is known by its scope (empty when the "dictionaries" object has none) and its name; a reference
 * ("dataDictionary", "extends") names both, a missing scope meaning the unscoped one. A value's name is the
 * "label" of the map entry keyed by the value in decimal (or the entry itself when it is a text); a value the
 * map lacks is looked up in the dictionary it "extends", and so on. Every map is indexed once, so a lookup
 * costs a hash look-up per dictionary of the chain, and chains are cut after 32 steps so that a loop of
 * "extends" cannot hang.
 */
class DictionaryResolver {
public:
    /// What a column of a series' "columnDictionary" says: its name, label and value dictionary.
    struct Column {
        std::string name;
        std::string label;
        bool hasDictionary = false;
        std::string scope;
        std::string dictionary;
    };

    /// Reads a document's "dictionaries" objects, each a JSON text.
    explicit DictionaryResolver(const std::vector<std::string>& dictionaries);

    /// The name of the value with this decimal text in the dictionary (scope, name), or null when no
    /// dictionary of the chain has one.
    const std::string* valueName(const std::string& scope, const std::string& dictionary,
                                 const std::string& value) const;
    /// The column numbered `column` (from 1) in the map of a series' column dictionary, labelled by its own
    /// "label" or by the dictionaries the column dictionary extends; an empty Column when the map has none.
    Column column(const kestrel::JSONData* columnDictionary, int column) const;
    /// The name of a value of a column: through its dictionary, else the value's text.
    std::string name(const Column& column, const std::string& value) const;

    static const int MAX_CHAIN = 32;

private:
    struct Dictionary {
        const kestrel::JSONData* node = nullptr;
        bool extends = false;
        std::string extendsScope;
        std::string extendsName;
        std::unordered_map<std::string, std::string> labels;
    };

    const Dictionary* _find(const std::string& scope, const std::string& name) const;
    static void _index(Dictionary& dictionary, const kestrel::JSONData* node);
    const std::string* _label(const Dictionary* dictionary, const std::string& key) const;

    std::vector<kestrel::JSOM> objects;
    std::map<std::pair<std::string, std::string>, Dictionary> dictionaries;
};

} // namespace viewer

#endif
