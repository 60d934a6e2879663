#include "algorithms/TracePointAlgorithmStore.h"

#include "algorithms/NumberPlotAlgorithm.h"
#include "algorithms/StatePlotAlgorithm.h"
#include "algorithms/TracePointAlgorithmFactoryImpl.h"
#include "kestrel/JSOM.h"

const char* const TracePointAlgorithmStore::ALGORITHM_NUMBER_PLOT = "numberplot";
const char* const TracePointAlgorithmStore::ALGORITHM_STATE_PLOT = "stateplot";

TracePointAlgorithmStore* TracePointAlgorithmStore::self = nullptr;

TracePointAlgorithmStore::TracePointAlgorithmStore() {
    factories[ALGORITHM_NUMBER_PLOT] = new TracePointAlgorithmFactoryImpl<NumberPlotAlgorithm>();
    factories[ALGORITHM_STATE_PLOT] = new TracePointAlgorithmFactoryImpl<StatePlotAlgorithm>();
}

// The factories live as long as the process; the store only forgets them.
TracePointAlgorithmStore::~TracePointAlgorithmStore() {
    factories.clear();
}

const TracePointAlgorithmFactory* TracePointAlgorithmStore::findFactory(const std::string& name) const {
    auto exact = factories.find(name);
    if (exact != factories.end()) {
        return exact->second;
    }
    for (const auto& entry : factories) {
        const std::string& key = entry.first;
        if (key.size() < name.size() && name.compare(0, key.size(), key) == 0) {
            return entry.second;
        }
    }
    return nullptr;
}

std::string TracePointAlgorithmStore::getAlgorithmNames() {
    if (self == nullptr) {
        self = new TracePointAlgorithmStore();
    }
    std::string names;
    for (const auto& entry : self->factories) {
        names += (names.empty() ? "" : ", ") + entry.first;
    }
    return names;
}

TracePointAlgorithm* TracePointAlgorithmStore::createAlgorithm(const kestrel::JSOM& channel,
                                                               const perfevents::TracePointFieldStore& fields) {
    if (self == nullptr) {
        self = new TracePointAlgorithmStore();
    }
    // Look before navigating, so that a channel without "detail" is not given an empty one.
    kestrel::JSOM entry(channel);
    if (!entry.isObject()) {
        return nullptr;
    }
    kestrel::JSOM detail = entry["detail"];
    if (!detail.isObject()) {
        return nullptr;
    }
    const std::string name = detail["algorithm"].stringValue(kestrel::JSOM::EMPTY_STRING);
    const TracePointAlgorithmFactory* factory = self->findFactory(name);
    return factory == nullptr ? nullptr : factory->createTracePointAlgorithm(channel, fields);
}
