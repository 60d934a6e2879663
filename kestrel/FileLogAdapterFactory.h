#ifndef KESTREL_FILELOGADAPTERFACTORY_H
#define KESTREL_FILELOGADAPTERFACTORY_H

#include "kestrel/LogAdapterFactory.h"

#include <string>

namespace kestrel {

// Makes FileLogAdapters; the program registers it under the type name "file".
class FileLogAdapterFactory : public LogAdapterFactory {
public:
    explicit FileLogAdapterFactory(const std::string& name = "file") : LogAdapterFactory(name) {}

    LogAdapter* createLogAdapter(const JSOM& config) override;
};

} // namespace kestrel

#endif
