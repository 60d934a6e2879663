#ifndef KESTREL_LOGADAPTERSTORE_H
#define KESTREL_LOGADAPTERSTORE_H

#include "kestrel/LogAdapterFactory.h"
#include "kestrel/VectorMap.h"

#include <string>

namespace kestrel {

class JSOM;
class LogAdapter;

// The registry of log adapter factories by type name. It owns the factories.
class LogAdapterStore : public VectorMap<LogAdapterFactory> {
public:
    ~LogAdapterStore() override;

    LogAdapterStore(const LogAdapterStore&) = delete;
    LogAdapterStore& operator=(const LogAdapterStore&) = delete;

    // The one store, created on first use and never destroyed.
    static LogAdapterStore& Instance();

    // Registers factory under name and takes ownership of it. A factory registered under the same name
    // before is deleted and replaced (registering the same factory again changes nothing).
    static void addFactory(const std::string& name, LogAdapterFactory* factory);

    // A new adapter from the factory registered under name, or null when there is none.
    static LogAdapter* createLogAdapter(const std::string& name, const JSOM& config);

private:
    LogAdapterStore() = default;
};

} // namespace kestrel

#endif
