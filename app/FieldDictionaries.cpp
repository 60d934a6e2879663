#include "app/FieldDictionaries.h"

FieldDictionaries* FieldDictionaries::self = nullptr;

FieldDictionaries& FieldDictionaries::Instance() {
    if (self == nullptr) {
        self = new FieldDictionaries();
    }
    return *self;
}

FieldDictionaries::FieldDictionaries() {
    getFieldInfo("common_pid", "common_pid");
    getFieldInfo("common_tid", "common_tid");
    getFieldInfo("prev_pid", "common_pid");
    getFieldInfo("next_pid", "common_pid");
    getFieldInfo("pid", "common_pid");
    getFieldInfo("tid", "common_tid");
}

FieldDictionaries::~FieldDictionaries() {
    for (auto& entry : fields) {
        delete entry.second;
    }
}

FieldDictionaries::FieldDictionaryInfo* FieldDictionaries::getFieldInfo(const char* field, const char* dictionary) {
    if (field == nullptr) {
        return nullptr;
    }
    auto found = fields.find(field);
    if (found != fields.end()) {
        return found->second;
    }
    FieldDictionaryInfo* info = new FieldDictionaryInfo(dictionary != nullptr ? dictionary : "");
    fields.emplace(field, info);
    return info;
}

const FieldDictionaries::FieldDictionaryInfo* FieldDictionaries::_find(const std::string& field) const {
    auto found = fields.find(field);
    return found != fields.end() ? found->second : nullptr;
}

bool FieldDictionaries::fieldHasDictionary(const std::string& field) {
    return Instance()._find(field) != nullptr;
}

bool FieldDictionaries::fieldHasDictionary(const char* field) {
    return field != nullptr && fieldHasDictionary(std::string(field));
}

const char* FieldDictionaries::getDictionary(const std::string& field) {
    const FieldDictionaryInfo* info = Instance()._find(field);
    return info != nullptr ? info->dictionary.c_str() : nullptr;
}

const char* FieldDictionaries::getDictionary(const char* field) {
    return field != nullptr ? getDictionary(std::string(field)) : nullptr;
}
