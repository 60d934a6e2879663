#ifndef PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDSTORE_H
#define PLOTWRIGHT_PERFEVENTS_TRACEPOINTFIELDSTORE_H

#include "kestrel/JSOM.h"
#include "perfevents/AddressTracePointField.h"
#include "perfevents/NumericTracePointField.h"
#include "perfevents/TextDictionary.h"
#include "perfevents/TracePointFieldFactory.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace perfevents {

/**
 * The event database (which id each trace point has and where each of its fields lies in a sample's raw data)
 * and the factory of field readers for its fields.
 *
 * Field names beginning with "common_" are looked up in the database's "common" section whatever the trace
 * point; a field whose "type" begins with "__ancillary_" is read from the sample's ancillary values instead of
 * its raw data. Every reader returned is new and owned by the caller.
 */
class TracePointFieldStore {
public:
    /** Which reader classes a request accepts. */
    enum BaseType {
        BASETYPE_ANY = 0,     ///< any reader
        BASETYPE_NUMERIC = 1, ///< readers derived from NumericTracePointField
        BASETYPE_ADDRESS = 2  ///< readers derived from AddressTracePointField
    };

    /** The base type of a reader type and the factory that creates its readers. */
    struct FieldTypeInfo {
        FieldTypeInfo(BaseType baseType, TracePointFieldFactory* factory) : baseType(baseType), factory(factory) {}
        BaseType baseType;
        std::unique_ptr<TracePointFieldFactory> factory;
    };

    TracePointFieldStore();
    virtual ~TracePointFieldStore();

    /** Loads the event database from a JSON file; -1 when it cannot be read or parsed, 0 otherwise. */
    int loadEventDatabase(const char* path);
    /** Replaces the event database with the given document. */
    void setEventDatabase(const kestrel::JSOM& database);
    /** The id of a trace point (the low 32 bits of its "id"), or -1 when the database does not know it. */
    int32_t getEventID(const char* eventName) const;

    /** The entry of the reader type table for a type name, or null. */
    static const FieldTypeInfo* getFieldTypeInfo(const char* typeName);
    /** A new reader of the named type (natural size, offset 0), or null for an unknown type or base type. */
    static TracePointField* createTracePointField(const char* typeName, BaseType baseType);
    static TracePointField* createTracePointField(const char* typeName);

    /** A field as the database describes it. */
    struct FieldDescription {
        std::string type; ///< the declared C type, or the ancillary type
        std::string cast; ///< the reader type; empty when no reader can read the field
        uint32_t offset = 0;
        uint32_t size = 0;
        bool ancillary = false; ///< taken from the sample's ancillary values, not from its raw data
    };
    /** What a value field reads, for writing and naming its values. */
    enum ValueKind {
        VALUE_SIGNED,   ///< a number that fits in a signed 64-bit integer
        VALUE_UNSIGNED, ///< an unsigned 64-bit number: written as unsigned
        VALUE_ADDRESS,  ///< a pointer: written as unsigned, named in hexadecimal
        VALUE_TEXT      ///< a text: the number of the text in a TextDictionary
    };
    /**
     * A reader of a field whose value a plot shows (a value, a state or a pivot): a numeric field as such, a pointer
     * as an unsigned number, a text (char[N], __data_loc char[]) as the number of its text in texts. Null, with
     * why saying why in words, when there is none. kind and declaredType receive what the field is.
     */
    NumericTracePointField* createValueField(const char* eventName, const char* fieldName, TextDictionary& texts,
                                             ValueKind& kind, std::string& declaredType, std::string& why) const;

    /** Fills in the description of a field; false when the database has no such field. */
    bool describeField(const char* eventName, const char* fieldName, FieldDescription& description) const;
    /** Why no numeric reader can be created for a field, in words for the user; empty when one can. */
    std::string whyNotNumeric(const char* eventName, const char* fieldName) const;

    /** A new reader for a field of a trace point in the database, or null when there is none of that base type. */
    TracePointField* createTracePointField(const char* eventName, const char* fieldName, BaseType baseType) const;
    NumericTracePointField* createNumericField(const char* eventName, const char* fieldName) const;
    AddressTracePointField* createAddressField(const char* eventName, const char* fieldName) const;

private:
    TracePointFieldStore(const TracePointFieldStore&) = delete;
    TracePointFieldStore& operator=(const TracePointFieldStore&) = delete;

    /** The member of an object, read without creating anything in the document; empty when there is none. */
    static kestrel::JSOM _member(const kestrel::JSOM& object, const char* key);
    /** The database node of a field: common fields from the common section, others from the trace point. */
    kestrel::JSOM _fieldNode(const char* eventName, const char* fieldName) const;
    static void _fillFactories();

    kestrel::JSOM eventDatabase;

    static std::map<std::string, FieldTypeInfo> factories;
};

} // namespace perfevents

#endif
