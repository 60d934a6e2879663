#include "perfevents/TracePointFieldStore.h"

#include "perfevents/TextTracePointField.h"

#include "perfevents/Address32TracePointField.h"
#include "perfevents/Address64TracePointField.h"
#include "perfevents/ConstantUint32TracePointField.h"
#include "perfevents/CpuTracePointField.h"
#include "perfevents/Int16TracePointField.h"
#include "perfevents/Int32TracePointField.h"
#include "perfevents/Int64TracePointField.h"
#include "perfevents/Int8TracePointField.h"
#include "perfevents/PidTracePointField.h"
#include "perfevents/ResourceTracePointField.h"
#include "perfevents/TidTracePointField.h"
#include "perfevents/TracePointFieldFactoryImpl.h"
#include "perfevents/Uint16TracePointField.h"
#include "perfevents/Uint32TracePointField.h"
#include "perfevents/Uint64TracePointField.h"
#include "perfevents/Uint8TracePointField.h"

#include <cstring>

namespace perfevents {

namespace {

const char COMMON_PREFIX[] = "common_";
const char ANCILLARY_PREFIX[] = "__ancillary_";

bool startsWith(const char* text, const char* prefix) {
    return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

template <typename T>
void addFactory(std::map<std::string, TracePointFieldStore::FieldTypeInfo>& map, const char* name,
                TracePointFieldStore::BaseType baseType) {
    map.emplace(std::piecewise_construct, std::forward_as_tuple(name),
                std::forward_as_tuple(baseType, new TracePointFieldFactoryImpl<T>()));
}

} // namespace

std::map<std::string, TracePointFieldStore::FieldTypeInfo> TracePointFieldStore::factories;

TracePointFieldStore::TracePointFieldStore() = default;

TracePointFieldStore::~TracePointFieldStore() = default;

int TracePointFieldStore::loadEventDatabase(const char* path) {
    if (path == nullptr) {
        return -1;
    }
    return eventDatabase.fromFile(path).isError() ? -1 : 0;
}

void TracePointFieldStore::setEventDatabase(const kestrel::JSOM& database) {
    if (database.isResolved()) {
        // Assignment copies the given document into the store's own node.
        eventDatabase = database;
    } else {
        // An empty handle: the store is left without a database.
        eventDatabase.clear();
    }
}

kestrel::JSOM TracePointFieldStore::_member(const kestrel::JSOM& object, const char* key) {
    kestrel::JSOM handle(object);
    if (key == nullptr || !handle.isObject()) {
        return kestrel::JSOM();
    }
    // On an object a missing key gives a pending handle, which reads as empty and creates nothing.
    return handle[key];
}

int32_t TracePointFieldStore::getEventID(const char* eventName) const {
    kestrel::JSOM id = _member(_member(_member(eventDatabase, "events"), eventName), "id");
    return static_cast<int32_t>(static_cast<uint32_t>(id.longValue(-1)));
}

void TracePointFieldStore::_fillFactories() {
    const BaseType numeric = BASETYPE_NUMERIC;
    addFactory<Address32TracePointField>(factories, TracePointField::CASTTYPE_ADDRESS32, BASETYPE_ADDRESS);
    addFactory<Address64TracePointField>(factories, TracePointField::CASTTYPE_ADDRESS64, BASETYPE_ADDRESS);
    addFactory<Int8TracePointField>(factories, TracePointField::CASTTYPE_INT8, numeric);
    addFactory<Int16TracePointField>(factories, TracePointField::CASTTYPE_INT16, numeric);
    addFactory<Int32TracePointField>(factories, TracePointField::CASTTYPE_INT32, numeric);
    addFactory<Int64TracePointField>(factories, TracePointField::CASTTYPE_INT64, numeric);
    addFactory<Uint8TracePointField>(factories, TracePointField::CASTTYPE_UINT8, numeric);
    addFactory<Uint16TracePointField>(factories, TracePointField::CASTTYPE_UINT16, numeric);
    addFactory<Uint32TracePointField>(factories, TracePointField::CASTTYPE_UINT32, numeric);
    addFactory<Uint64TracePointField>(factories, TracePointField::CASTTYPE_UINT64, numeric);
    addFactory<CpuTracePointField>(factories, TracePointField::ANCILLARYTYPE_CPU, numeric);
    addFactory<ResourceTracePointField>(factories, TracePointField::ANCILLARYTYPE_RESOURCE, numeric);
    addFactory<PidTracePointField>(factories, TracePointField::ANCILLARYTYPE_PID, numeric);
    addFactory<TidTracePointField>(factories, TracePointField::ANCILLARYTYPE_TID, numeric);
    addFactory<ConstantUint32TracePointField<0u>>(factories, TracePointField::ANCILLARYTYPE_ZERO, numeric);
    addFactory<ConstantUint32TracePointField<1u>>(factories, TracePointField::ANCILLARYTYPE_ONE, numeric);
    addFactory<ConstantUint32TracePointField<2u>>(factories, TracePointField::ANCILLARYTYPE_TWO, numeric);
    addFactory<ConstantUint32TracePointField<3u>>(factories, TracePointField::ANCILLARYTYPE_THREE, numeric);
    addFactory<ConstantUint32TracePointField<4u>>(factories, TracePointField::ANCILLARYTYPE_FOUR, numeric);
    addFactory<ConstantUint32TracePointField<5u>>(factories, TracePointField::ANCILLARYTYPE_FIVE, numeric);
    addFactory<ConstantUint32TracePointField<6u>>(factories, TracePointField::ANCILLARYTYPE_SIX, numeric);
    addFactory<ConstantUint32TracePointField<7u>>(factories, TracePointField::ANCILLARYTYPE_SEVEN, numeric);
}

const TracePointFieldStore::FieldTypeInfo* TracePointFieldStore::getFieldTypeInfo(const char* typeName) {
    if (factories.empty()) {
        _fillFactories();
    }
    if (typeName == nullptr) {
        return nullptr;
    }
    auto found = factories.find(typeName);
    return found != factories.end() ? &found->second : nullptr;
}

TracePointField* TracePointFieldStore::createTracePointField(const char* typeName, BaseType baseType) {
    const FieldTypeInfo* info = getFieldTypeInfo(typeName);
    if (info == nullptr) {
        return nullptr;
    }
    if (baseType != BASETYPE_ANY && baseType != info->baseType) {
        return nullptr;
    }
    return info->factory->createField();
}

TracePointField* TracePointFieldStore::createTracePointField(const char* typeName) {
    return createTracePointField(typeName, BASETYPE_ANY);
}

kestrel::JSOM TracePointFieldStore::_fieldNode(const char* eventName, const char* fieldName) const {
    if (startsWith(fieldName, COMMON_PREFIX)) {
        return _member(_member(_member(eventDatabase, "common"), "fields"), fieldName);
    }
    return _member(_member(_member(_member(eventDatabase, "events"), eventName), "fields"), fieldName);
}

TracePointField* TracePointFieldStore::createTracePointField(const char* eventName, const char* fieldName,
                                                             BaseType baseType) const {
    if (fieldName == nullptr) {
        return nullptr;
    }
    kestrel::JSOM field = _fieldNode(eventName, fieldName);
    if (!field.isObject()) {
        return nullptr;
    }

    // An ancillary field takes its value from the sample, not from the raw data: no cast, offset or size.
    kestrel::JSOM type = _member(field, "type");
    const char* typeName = type.stringValuePtr(nullptr);
    if (startsWith(typeName, ANCILLARY_PREFIX)) {
        return createTracePointField(typeName, baseType);
    }

    kestrel::JSOM cast = _member(field, "cast");
    const char* castName = cast.stringValuePtr(nullptr);
    if (castName == nullptr) {
        return nullptr;
    }
    TracePointField* reader = createTracePointField(castName, baseType);
    if (reader == nullptr) {
        return nullptr;
    }
    reader->setOffset(static_cast<uint32_t>(_member(field, "offset").longValue(0)));
    reader->setSize(static_cast<uint32_t>(_member(field, "size").longValue(0)));
    return reader;
}

bool TracePointFieldStore::describeField(const char* eventName, const char* fieldName,
                                         FieldDescription& description) const {
    if (fieldName == nullptr) {
        return false;
    }
    kestrel::JSOM field = _fieldNode(eventName, fieldName);
    if (!field.isObject()) {
        return false;
    }
    description.type = _member(field, "type").stringValue(kestrel::JSOM::EMPTY_STRING);
    description.ancillary = startsWith(description.type.c_str(), ANCILLARY_PREFIX);
    description.cast = _member(field, "cast").stringValue(kestrel::JSOM::EMPTY_STRING);
    description.offset = static_cast<uint32_t>(_member(field, "offset").longValue(0));
    description.size = static_cast<uint32_t>(_member(field, "size").longValue(0));
    return true;
}

std::string TracePointFieldStore::whyNotNumeric(const char* eventName, const char* fieldName) const {
    const std::string event = eventName != nullptr ? eventName : "";
    const std::string name = fieldName != nullptr ? fieldName : "";
    if (getEventID(event.c_str()) == -1 && !startsWith(name.c_str(), COMMON_PREFIX)) {
        return "the event database has no trace point " + event;
    }
    FieldDescription field;
    if (!describeField(event.c_str(), name.c_str(), field)) {
        return event + " has no field \"" + name + "\" in the event database";
    }
    std::unique_ptr<TracePointField> reader(createTracePointField(event.c_str(), name.c_str(), BASETYPE_NUMERIC));
    if (reader) {
        return std::string();
    }
    const std::string what = "field \"" + name + "\" of " + event + " (" + field.type + ")";
    if (field.cast.empty()) {
        return what + " has no reader: arrays and variable-length fields cannot be read as numbers";
    }
    if (getFieldTypeInfo(field.cast.c_str()) != nullptr) {
        return what + " is read as " + field.cast + ", not as a number";
    }
    return what + " has the unknown reader type \"" + field.cast + "\"";
}

NumericTracePointField* TracePointFieldStore::createValueField(const char* eventName, const char* fieldName,
                                                               TextDictionary& texts, ValueKind& kind,
                                                               std::string& declaredType, std::string& why) const {
    FieldDescription field;
    if (!describeField(eventName, fieldName, field)) {
        why = whyNotNumeric(eventName, fieldName);
        return nullptr;
    }
    declaredType = field.type;
    const std::string cast = field.cast;
    if (cast == TracePointField::CASTTYPE_ADDRESS32 || cast == TracePointField::CASTTYPE_ADDRESS64) {
        // A pointer is an unsigned number of its width, named in hexadecimal.
        const bool wide = cast == TracePointField::CASTTYPE_ADDRESS64;
        TracePointField* reader =
            createTracePointField(wide ? TracePointField::CASTTYPE_UINT64 : TracePointField::CASTTYPE_UINT32);
        reader->setOffset(field.offset);
        reader->setSize(field.size);
        kind = VALUE_ADDRESS;
        return static_cast<NumericTracePointField*>(reader);
    }
    TextTracePointField::Layout layout;
    if (cast.empty() && !field.ancillary && TextTracePointField::layoutOf(field.type, layout)) {
        TextTracePointField* reader = new TextTracePointField(layout, texts);
        reader->setOffset(field.offset);
        reader->setSize(field.size);
        kind = VALUE_TEXT;
        return reader;
    }
    NumericTracePointField* reader = createNumericField(eventName, fieldName);
    if (reader == nullptr) {
        why = whyNotNumeric(eventName, fieldName);
        return nullptr;
    }
    kind = std::strcmp(reader->getTypeName(), TracePointField::CASTTYPE_UINT64) == 0 && !field.ancillary
               ? VALUE_UNSIGNED
               : VALUE_SIGNED;
    return reader;
}

NumericTracePointField* TracePointFieldStore::createNumericField(const char* eventName, const char* fieldName) const {
    // The base type check guarantees the reader's class.
    return static_cast<NumericTracePointField*>(createTracePointField(eventName, fieldName, BASETYPE_NUMERIC));
}

AddressTracePointField* TracePointFieldStore::createAddressField(const char* eventName, const char* fieldName) const {
    return static_cast<AddressTracePointField*>(createTracePointField(eventName, fieldName, BASETYPE_ADDRESS));
}

} // namespace perfevents
