#include "kestrel/LogAdapterStore.h"

namespace kestrel {

LogAdapterStore::~LogAdapterStore() {
    for (int i = 0; i < size(); ++i) {
        delete valueAt(i);
    }
}

LogAdapterStore& LogAdapterStore::Instance() {
    static LogAdapterStore* instance = new LogAdapterStore();
    return *instance;
}

void LogAdapterStore::addFactory(const std::string& name, LogAdapterFactory* factory) {
    LogAdapterStore& store = Instance();
    int index = store.indexOf(name);
    if (index < 0) {
        store.add(name, factory);
        return;
    }
    LogAdapterFactory* old = store.valueAt(index);
    if (old == factory) {
        return;
    }
    store.setValueAt(index, factory);
    delete old;
}

LogAdapter* LogAdapterStore::createLogAdapter(const std::string& name, const JSOM& config) {
    LogAdapterFactory* factory = Instance().get(name);
    return factory != nullptr ? factory->createLogAdapter(config) : nullptr;
}

} // namespace kestrel
