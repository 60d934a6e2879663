#ifndef PLOTWRIGHT_APP_FIELDDICTIONARIES_H
#define PLOTWRIGHT_APP_FIELDDICTIONARIES_H

#include <map>
#include <string>

/**
 * The fixed table that says which dictionary of the output document labels the values of a trace point field.
 *
 * Fields that hold process or thread ids ("prev_pid", "tid", ...) are labelled with the names the process
 * dictionary collects: "common_tid" maps thread ids to thread names, "common_pid" extends it. There is one table
 * per process, created on first use and never destroyed.
 */
class FieldDictionaries {
public:
    /** What the table knows about one field. */
    struct FieldDictionaryInfo {
        explicit FieldDictionaryInfo(const char* dictionary) : dictionary(dictionary) {}
        std::string dictionary;
    };

    /** The one table, created on the first call. */
    static FieldDictionaries& Instance();

    virtual ~FieldDictionaries();

    /**
     * The entry of a field. A field already in the table keeps its entry (the dictionary argument is then
     * ignored); any other field is added with the given dictionary.
     */
    FieldDictionaryInfo* getFieldInfo(const char* field, const char* dictionary);

    static bool fieldHasDictionary(const std::string& field);
    static bool fieldHasDictionary(const char* field);

    /** The dictionary name of a field, owned by the table, or null when the field has none. */
    static const char* getDictionary(const std::string& field);
    static const char* getDictionary(const char* field);

private:
    FieldDictionaries();
    FieldDictionaries(const FieldDictionaries&) = delete;
    FieldDictionaries& operator=(const FieldDictionaries&) = delete;

    const FieldDictionaryInfo* _find(const std::string& field) const;

    static FieldDictionaries* self;

    std::map<std::string, FieldDictionaryInfo*> fields;
};

#endif
