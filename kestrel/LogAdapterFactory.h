#ifndef KESTREL_LOGADAPTERFACTORY_H
#define KESTREL_LOGADAPTERFACTORY_H

#include <string>

namespace kestrel {

class JSOM;
class LogAdapter;

// Makes log adapters of one kind; registered under its name in the LogAdapterStore.
class LogAdapterFactory {
public:
    explicit LogAdapterFactory(const std::string& name) : name(name) {}
    virtual ~LogAdapterFactory() = default;

    LogAdapterFactory(const LogAdapterFactory&) = delete;
    LogAdapterFactory& operator=(const LogAdapterFactory&) = delete;

    const std::string& getName() const { return name; }

    // A new adapter configured from the "adapter" object of the logging configuration; the caller owns it.
    virtual LogAdapter* createLogAdapter(const JSOM& config) = 0;

private:
    std::string name;
};

} // namespace kestrel

#endif
