#include "algorithms/TracePointAlgorithm.h"

TracePointAlgorithm::~TracePointAlgorithm() {}
