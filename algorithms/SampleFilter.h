#ifndef ALGORITHMS_SAMPLEFILTER_H
#define ALGORITHMS_SAMPLEFILTER_H

#include "kestrel/PostfixCalculator.h"

#include <string>
#include <vector>

namespace kestrel {
class Logger;
}
namespace perfevents {
class NumericTracePointField;
class PerfEventDataSampleAncillary;
} // namespace perfevents

/**
 * The filter of a plot channel: a postfix formula over the values of some trace point fields ($0, $1, ... in the
 * order the fields are given) that decides for each sample whether it counts. A result within 1e-10 of zero
 * rejects the sample; any other result, one that is not a number included, accepts it.
 *
 * A formula given without fields is never evaluated (every sample passes): isNeverEvaluated() says so, so that the
 * channel can tell its user. The samples a division by zero rejected are counted.
 */
class SampleFilter {
public:
    enum Outcome {
        PASS,             ///< the sample counts
        REJECT,           ///< the formula says no
        DIVISION_BY_ZERO, ///< the formula divided by zero: the sample is rejected
        FAILURE           ///< any other evaluation error: the formula cannot work on these samples at all
    };

    SampleFilter() = default;
    ~SampleFilter();
    SampleFilter(const SampleFilter&) = delete;
    SampleFilter& operator=(const SampleFilter&) = delete;

    /// Splits a formula at runs of blanks, tabs and line ends into tokens (emptied first).
    static void split(const char* formula, std::vector<std::string>& tokens);
    /// Compiles the tokens of a formula; returns a kestrel::PostfixErrors code (0 when it compiled).
    int compile(const std::string& formula, std::vector<std::string>& tokens);
    /// Takes the reader of the next variable (owned from now on).
    void addField(perfevents::NumericTracePointField* field);

    bool hasFormula() const { return !formula.empty(); }
    /// Whether the filter lets every sample pass without looking at it.
    bool passesAll() const { return fields.empty(); }
    /// A formula was given, but no fields: it is never evaluated.
    bool isNeverEvaluated() const { return hasFormula() && fields.empty(); }
    const std::string& getFormula() const { return formula; }

    /// Decides about one sample; code receives the calculator's code of a failure. With a logger at trace level,
    /// logs every argument ("%p: filter argument $%d = %0.6f" with owner).
    Outcome evaluate(const perfevents::PerfEventDataSampleAncillary& ancillary, const unsigned char* data, int& code,
                     kestrel::Logger* logger, const void* owner);

    /// Samples rejected by a division by zero.
    unsigned long long getDivisionsByZero() const { return divisionsByZero; }

private:
    std::string formula;
    std::vector<perfevents::NumericTracePointField*> fields;
    std::vector<double> arguments;
    kestrel::PostfixCalculator<double, 32> calculator;
    unsigned long long divisionsByZero = 0;
};

#endif
