// Postfix calculator: the input is a formula, split at white space as the state plot splits its filter formulas.
// A formula that compiles must evaluate with any variable values without reaching outside its stack, and report
// only the errors that evaluation can meet; compiling from std::string and C string tokens must agree.
#include "kestrel/PostfixCalculator.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace {

typedef kestrel::PostfixCalculator<double, 32> Calculator;

std::vector<double> variableSet(int kind) {
    static const double values[] = {0.0,
                                    1.0,
                                    -1.0,
                                    1e-11,
                                    256.0,
                                    1e300,
                                    -0.0,
                                    std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::quiet_NaN()};
    const int count = sizeof(values) / sizeof(values[0]);
    std::vector<double> variables;
    for (int i = 0; i < 40; ++i) {
        variables.push_back(values[(i * (kind + 1) + kind) % count]);
    }
    return variables;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::vector<std::string> tokens;
    for (std::string token; in >> token;) {
        tokens.push_back(token);
    }
    Calculator calc;
    const int code = calc.assign(tokens);
    std::vector<const char*> texts;
    for (const std::string& token : tokens) {
        texts.push_back(token.c_str());
    }
    Calculator fromTexts;
    if (fromTexts.assign(texts) != code) {
        std::abort();
    }
    if (code != kestrel::PostfixErrors::OK) {
        return 0;
    }
    // A copy must run on its own operator table and give the same results.
    Calculator copy(calc);
    for (int kind = 0; kind < 4; ++kind) {
        const std::vector<double> variables = variableSet(kind);
        double result = 0.0;
        double copied = 0.0;
        const int status = calc.eval(result, variables);
        if (status != kestrel::PostfixErrors::OK && status != kestrel::PostfixErrors::DIVIDE_BY_ZERO &&
            status != kestrel::PostfixErrors::NOT_ENOUGH_VARIABLES) {
            std::abort();
        }
        if (copy.eval(copied, variables) != status ||
            (status == kestrel::PostfixErrors::OK && !(copied == result || (copied != copied && result != result)))) {
            std::abort();
        }
    }
    return 0;
}
