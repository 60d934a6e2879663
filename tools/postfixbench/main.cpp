// postfixbench: nanoseconds per evaluation of a compiled filter formula.
//
// Usage: postfixbench [evaluations] [formula]
// The formula defaults to a 7-token filter of the kind state plots use. Its variables get values from a table of
// pseudo-random variable sets, so that the branches of the comparisons vary. The program also counts heap
// allocations made during the timed loop (there must be none) and, for the default formula, checks the results
// against the same filter written in C++ in an untimed pass.

#include "kestrel/PostfixCalculator.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "tools/common/CountedAllocations.h"

static const char* const DEFAULT_FORMULA = "$0 $1 > $2 0 != &&";

int main(int argc, char** argv) {
    long evaluations = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 20000000;
    std::string formula = argc > 2 ? argv[2] : DEFAULT_FORMULA;
    bool checkResults = formula == DEFAULT_FORMULA;
    if (evaluations <= 0) {
        std::fprintf(stderr, "postfixbench: the number of evaluations must be positive\n");
        return 1;
    }

    std::vector<std::string> tokens;
    std::istringstream in(formula);
    for (std::string token; in >> token;) {
        tokens.push_back(token);
    }
    kestrel::PostfixCalculator<double, 32> calc;
    int code = calc.assign(tokens);
    if (code != kestrel::PostfixErrors::OK) {
        std::fprintf(stderr, "postfixbench: cannot compile '%s': %s\n", formula.c_str(),
                     kestrel::PostfixErrors::getMessage(code));
        return 1;
    }

    // 256 variable sets; every value is a small integer so that equal pairs occur too.
    const int sets = 256;
    const int width = std::max(calc.variableCount, 1);
    std::vector<std::vector<double>> variables(sets, std::vector<double>(width));
    unsigned state = 12345;
    for (auto& set : variables) {
        for (double& v : set) {
            state = state * 1103515245u + 12345u;
            v = static_cast<double>((state >> 16) % 5);
        }
    }

    // One untimed pass checks the results.
    long failures = 0;
    long wrong = 0;
    for (const auto& set : variables) {
        double result = 0;
        if (calc.eval(result, set) != kestrel::PostfixErrors::OK) {
            ++failures;
        } else if (checkResults && result != ((set[0] > set[1] && set[2] != 0) ? 1.0 : 0.0)) {
            ++wrong;
        }
    }

    double best = 1e30;
    double sum = 0;
    long allocationsBefore = static_cast<long>(counted::allocations.load());
    for (int round = 0; round < 5; ++round) {
        auto start = std::chrono::steady_clock::now();
        for (long i = 0; i < evaluations; ++i) {
            double result = 0;
            failures += calc.eval(result, variables[i & (sets - 1)]) != kestrel::PostfixErrors::OK;
            sum += result;
        }
        auto stop = std::chrono::steady_clock::now();
        double ns = std::chrono::duration<double, std::nano>(stop - start).count() / static_cast<double>(evaluations);
        best = std::min(best, ns);
    }
    long allocated = static_cast<long>(counted::allocations.load()) - allocationsBefore;

    std::printf("formula: %s (%zu tokens)\n", formula.c_str(), tokens.size());
    std::printf("evaluations: 5 rounds of %ld\n", evaluations);
    std::printf("best: %.2f ns per evaluation (best of 5 rounds)\n", best);
    std::printf("allocations during evaluation: %ld\n", allocated);
    std::printf("evaluation errors: %ld, wrong results: %ld, checksum: %.0f\n", failures, wrong, sum);
    return allocated == 0 && wrong == 0 ? 0 : 1;
}
