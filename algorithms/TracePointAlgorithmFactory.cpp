#include "algorithms/TracePointAlgorithmFactory.h"

TracePointAlgorithmFactory::~TracePointAlgorithmFactory() {}
