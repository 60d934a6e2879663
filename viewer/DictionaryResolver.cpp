#include "viewer/DictionaryResolver.h"

using kestrel::JSONData;

namespace viewer {

namespace {

const std::string* stringMember(const JSONData* object, const char* key) {
    const JSONData* member = object ? object->getByKey(key) : nullptr;
    return member ? member->stringValue() : nullptr;
}

// Reads a reference {"scope": ..., "dictionary": ...}; false when it names no dictionary.
bool readReference(const JSONData* reference, std::string& scope, std::string& name) {
    if (!reference || reference->getType() != JSONData::TYPE_OBJECT) {
        return false;
    }
    const std::string* dictionary = stringMember(reference, "dictionary");
    if (!dictionary) {
        return false;
    }
    const std::string* scopeText = stringMember(reference, "scope");
    scope = scopeText ? *scopeText : std::string();
    name = *dictionary;
    return true;
}

bool isNumber(const JSONData* node) {
    return node && (node->getType() == JSONData::TYPE_LONG || node->getType() == JSONData::TYPE_DOUBLE);
}

} // namespace

DictionaryResolver::DictionaryResolver(const std::vector<std::string>& texts) {
    objects.resize(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        objects[i].fromString(texts[i]);
        const JSONData* object = objects[i].node();
        if (!object || object->getType() != JSONData::TYPE_OBJECT) {
            continue;
        }
        const std::string* scopeText = stringMember(object, "scope");
        std::string scope = scopeText ? *scopeText : std::string();
        const JSONData* set = object->getByKey("dictionaries");
        for (int i = 0; set && i < set->length(); ++i) {
            // A later definition of the same dictionary replaces an earlier one.
            Dictionary& dictionary = dictionaries[std::make_pair(scope, *set->getKeyAtIndex(i))];
            dictionary = Dictionary();
            _index(dictionary, set->getByIndex(i));
        }
    }
}

void DictionaryResolver::_index(Dictionary& dictionary, const JSONData* node) {
    dictionary.node = node;
    dictionary.extends = readReference(node->getByKey("extends"), dictionary.extendsScope, dictionary.extendsName);
    const JSONData* map = node->getByKey("map");
    if (!map || map->getType() != JSONData::TYPE_OBJECT) {
        return;
    }
    dictionary.labels.reserve(static_cast<size_t>(map->length()));
    for (int i = 0; i < map->length(); ++i) {
        const JSONData* entry = map->getByIndex(i);
        const std::string* label =
            entry->getType() == JSONData::TYPE_STRING ? entry->stringValue() : stringMember(entry, "label");
        if (label) {
            dictionary.labels[*map->getKeyAtIndex(i)] = *label; // the last entry with a key counts
        }
    }
}

const DictionaryResolver::Dictionary* DictionaryResolver::_find(const std::string& scope,
                                                                const std::string& name) const {
    auto found = dictionaries.find(std::make_pair(scope, name));
    return found == dictionaries.end() ? nullptr : &found->second;
}

const std::string* DictionaryResolver::_label(const Dictionary* dictionary, const std::string& key) const {
    for (int step = 0; dictionary && step < MAX_CHAIN; ++step) {
        auto found = dictionary->labels.find(key);
        if (found != dictionary->labels.end()) {
            return &found->second;
        }
        dictionary = dictionary->extends ? _find(dictionary->extendsScope, dictionary->extendsName) : nullptr;
    }
    return nullptr;
}

const std::string* DictionaryResolver::valueName(const std::string& scope, const std::string& dictionary,
                                                 const std::string& value) const {
    return _label(_find(scope, dictionary), value);
}

DictionaryResolver::Column DictionaryResolver::column(const JSONData* columnDictionary, int number) const {
    Column column;
    if (!columnDictionary || columnDictionary->getType() != JSONData::TYPE_OBJECT) {
        return column;
    }
    // Columns are numbered by the series' own map only, which keeps a look-up linear in the series' own size;
    // the dictionaries it extends give labels.
    const JSONData* map = columnDictionary->getByKey("map");
    for (int i = 0; map && map->getType() == JSONData::TYPE_OBJECT && i < map->length(); ++i) {
        const JSONData* entry = map->getByIndex(i);
        const JSONData* columnNumber = entry->getByKey("column");
        if (!isNumber(columnNumber) || columnNumber->longValue() != number) {
            continue;
        }
        column.name = *map->getKeyAtIndex(i);
        column.hasDictionary = readReference(entry->getByKey("dataDictionary"), column.scope, column.dictionary);
        const std::string* label = stringMember(entry, "label");
        std::string extendsScope, extendsName;
        if (!label && readReference(columnDictionary->getByKey("extends"), extendsScope, extendsName)) {
            label = _label(_find(extendsScope, extendsName), column.name);
        }
        column.label = label ? *label : column.name;
        return column;
    }
    return column;
}

std::string DictionaryResolver::name(const Column& column, const std::string& value) const {
    const std::string* found = column.hasDictionary ? valueName(column.scope, column.dictionary, value) : nullptr;
    return found ? *found : value;
}

} // namespace viewer
