#include "kestrel/PostfixOperators.h"
#include "kestrel/PostfixErrors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using kestrel::PostfixStack;

namespace {

struct Outcome {
    std::vector<double> stack;
    int status;
};

// Runs one operator of the complete table on a stack holding the given values (lowest first) and checks that the
// top moved as the table row says.
Outcome apply(const std::vector<double>& values, const char* token) {
    static const kestrel::PostfixOperators<double> table;
    auto row = table.operatorTable.find(token);
    EXPECT_NE(row, table.operatorTable.end()) << token;
    double slots[8] = {};
    PostfixStack<double> stack(slots);
    for (double value : values) {
        slots[++stack.top] = value;
    }
    int status = row->second.function(stack);
    EXPECT_EQ(stack.top, static_cast<int>(values.size()) - row->second.operands + row->second.results - 1) << token;
    return Outcome{std::vector<double>(slots, slots + stack.top + 1), status};
}

std::vector<double> run(const std::vector<double>& values, const char* token) {
    return apply(values, token).stack;
}

typedef std::vector<double> V;

} // namespace

TEST(PostfixOperators, EachOperatorReplacesItsOperandsByItsResults) {
    // round takes halves upwards; NaN compares unequal, and min prefers the number to NaN.
    const double nan = std::nan("");
    const struct {
        V values;
        const char* token;
        V expected;
    } cases[] = {
        {{7, 2}, "-", {5}},
        {{7, 2}, "/", {3.5}},
        {{9, 7, 2}, "+", {9, 9}},
        {{2, 10}, "pow", {1024}},
        {{2.5}, "round", {3}},
        {{-2.5}, "round", {-2}},
        {{-2.5}, "floor", {-3}},
        {{-2.5}, "ceil", {-2}},
        {{-3}, "abs", {3}},
        {{0}, "!", {1}},
        {{0.5}, "!", {0}},
        {{2, 0}, "&&", {0}},
        {{2, 0}, "||", {1}},
        {{0, 0}, "||", {0}},
        {{7, 2}, "<", {0}},
        {{7, 2}, ">", {1}},
        {{2, 2}, ">=", {1}},
        {{2, 2}, "<=", {1}},
        {{2, 2}, "==", {1}},
        {{nan, nan}, "==", {0}},
        {{nan, nan}, "!=", {1}},
        {{nan, 1}, ">=", {0}},
        {{3, 4}, "min", {3}},
        {{3, nan}, "min", {3}},
        {{3, 4}, "max", {4}},
        {{1, 10, 20}, "ifte", {10}},
        {{0, 10, 20}, "ifte", {20}},
        {{1, 2, 3}, "rot3", {3, 1, 2}},
        {{9, 1, 2}, "dup2", {9, 1, 2, 1, 2}},
        {{4}, "dup", {4, 4}},
        {{4, 5}, "swap", {5, 4}},
        {{4, 5}, "drop", {4}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.expected, run(c.values, c.token)) << c.token;
    }
    EXPECT_TRUE(std::isnan(run({3, nan}, "max")[0]));
}

TEST(PostfixOperators, DivisionByZeroLeavesZeroAndReportsIt) {
    for (double zero : {0.0, -0.0}) {
        Outcome out = apply({1, 5, zero}, "/");
        EXPECT_EQ(out.status, kestrel::PostfixErrors::DIVIDE_BY_ZERO);
        EXPECT_EQ(out.stack, (V{1, 0}));
    }
    EXPECT_EQ(apply({5, 1e-300}, "/").status, 0);
}
