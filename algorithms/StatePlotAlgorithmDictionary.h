#ifndef ALGORITHMS_STATEPLOTALGORITHMDICTIONARY_H
#define ALGORITHMS_STATEPLOTALGORITHMDICTIONARY_H

#include "app/SeriesData.h"

namespace kestrel {
class JsomWriter;
}

/**
 * The shared "statePlotColumns" dictionary: describes the default state plot column names "state",
 * "inner_pivot" and "magnitude". Registered once per process by the first state plot that uses a default
 * column name, and printed with the other run-wide output sections.
 */
class StatePlotAlgorithmDictionary : public SeriesData {
public:
    ~StatePlotAlgorithmDictionary() override;

    /** Writes the dictionary object; `time` is not used. Always writes, so always returns true. */
    bool print(kestrel::JsomWriter& writer, double time) override;
};

#endif
