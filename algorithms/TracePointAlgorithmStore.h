#ifndef ALGORITHMS_TRACEPOINTALGORITHMSTORE_H
#define ALGORITHMS_TRACEPOINTALGORITHMSTORE_H

#include <map>
#include <string>

class TracePointAlgorithm;
class TracePointAlgorithmFactory;

namespace kestrel {
class JSOM;
}
namespace perfevents {
class TracePointFieldStore;
}

// Maps algorithm names to the factories that build them. The one store is created by the first
// createAlgorithm call and lives until the process ends.
class TracePointAlgorithmStore {
public:
    static const char* const ALGORITHM_NUMBER_PLOT;
    static const char* const ALGORITHM_STATE_PLOT;

    virtual ~TracePointAlgorithmStore();

    // The algorithm named by the channel's "detail" "algorithm": the factory registered under exactly that name,
    // else the first (in name order) whose name is a proper prefix of it. Null when none answers; the caller
    // owns the result.
    static TracePointAlgorithm* createAlgorithm(const kestrel::JSOM& channel,
                                                const perfevents::TracePointFieldStore& fields);
    // The registered names, for messages: "numberplot, stateplot".
    static std::string getAlgorithmNames();

private:
    TracePointAlgorithmStore();
    TracePointAlgorithmStore(const TracePointAlgorithmStore&) = delete;
    TracePointAlgorithmStore& operator=(const TracePointAlgorithmStore&) = delete;

    const TracePointAlgorithmFactory* findFactory(const std::string& name) const;

    std::map<std::string, TracePointAlgorithmFactory*> factories;

    static TracePointAlgorithmStore* self;
};

#endif
