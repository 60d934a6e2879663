#ifndef ALGORITHMS_TRACEPOINTALGORITHMFACTORYIMPL_H
#define ALGORITHMS_TRACEPOINTALGORITHMFACTORYIMPL_H

#include "algorithms/TracePointAlgorithmFactory.h"

// The factory of algorithm class T, which is constructed from the channel entry and the field store.
template <typename T> class TracePointAlgorithmFactoryImpl : public TracePointAlgorithmFactory {
public:
    TracePointAlgorithm* createTracePointAlgorithm(const kestrel::JSOM& channel,
                                                   const perfevents::TracePointFieldStore& fields) const override {
        return new T(channel, fields);
    }
};

#endif
