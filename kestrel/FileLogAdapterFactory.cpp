#include "kestrel/FileLogAdapterFactory.h"

#include "kestrel/FileLogAdapter.h"

namespace kestrel {

LogAdapter* FileLogAdapterFactory::createLogAdapter(const JSOM& config) {
    return new FileLogAdapter(config);
}

} // namespace kestrel
