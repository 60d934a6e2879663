#include "algorithms/SampleFilter.h"

#include "kestrel/Logger.h"
#include "kestrel/PostfixErrors.h"
#include "perfevents/NumericTracePointField.h"

#include <cstring>

namespace {
// Filter results within this distance of zero count as false.
const double REJECT_BOUND = 1e-10;
} // namespace

SampleFilter::~SampleFilter() {
    for (perfevents::NumericTracePointField* field : fields) {
        delete field;
    }
}

void SampleFilter::split(const char* text, std::vector<std::string>& tokens) {
    tokens.clear();
    if (text == nullptr) {
        return;
    }
    static const char* const SEPARATORS = " \t\r\n";
    const char* position = text;
    while (*position != '\0') {
        position += strspn(position, SEPARATORS);
        const size_t length = strcspn(position, SEPARATORS);
        if (length == 0) {
            break;
        }
        tokens.emplace_back(position, length);
        position += length;
    }
}

int SampleFilter::compile(const std::string& text, std::vector<std::string>& tokens) {
    formula = text;
    return calculator.assign(tokens);
}

void SampleFilter::addField(perfevents::NumericTracePointField* field) {
    fields.push_back(field);
    arguments.push_back(0.0);
}

SampleFilter::Outcome SampleFilter::evaluate(const perfevents::PerfEventDataSampleAncillary& ancillary,
                                             const unsigned char* data, int& code, kestrel::Logger* logger,
                                             const void* owner) {
    if (fields.empty()) {
        return PASS;
    }
    // The level is asked once per sample, not once per argument: this runs for every sample.
    const bool tracing = logger != nullptr && logger->isTraceEnabled();
    for (size_t k = 0; k < fields.size(); ++k) {
        arguments[k] = fields[k]->getDouble(ancillary, data);
        if (tracing) {
            logger->tracef("%p: filter argument $%d = %0.6f", owner, static_cast<int>(k), arguments[k]);
        }
    }
    double result = 0.0;
    code = calculator.eval(result, arguments);
    if (code == kestrel::PostfixErrors::DIVIDE_BY_ZERO) {
        ++divisionsByZero;
        return DIVISION_BY_ZERO;
    }
    if (code != kestrel::PostfixErrors::OK) {
        return FAILURE;
    }
    // A NaN result fails both comparisons and so passes.
    return result >= -REJECT_BOUND && result <= REJECT_BOUND ? REJECT : PASS;
}
