#ifndef ALGORITHMS_TRACEPOINTALGORITHMFACTORY_H
#define ALGORITHMS_TRACEPOINTALGORITHMFACTORY_H

class TracePointAlgorithm;

namespace kestrel {
class JSOM;
}
namespace perfevents {
class TracePointFieldStore;
}

// Creates the algorithm of one kind from a channel entry of the channel info file.
class TracePointAlgorithmFactory {
public:
    virtual ~TracePointAlgorithmFactory();

    // A new algorithm built from channel, owned by the caller.
    virtual TracePointAlgorithm* createTracePointAlgorithm(const kestrel::JSOM& channel,
                                                           const perfevents::TracePointFieldStore& fields) const = 0;
};

#endif
