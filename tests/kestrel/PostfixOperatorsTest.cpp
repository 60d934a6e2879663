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

TEST(PostfixOperators, ArithmeticAndRounding) {
    EXPECT_EQ(run({7, 2}, "-"), V{5});
    EXPECT_EQ(run({7, 2}, "/"), V{3.5});
    EXPECT_EQ(run({9, 7, 2}, "+"), (V{9, 9}));
    EXPECT_EQ(run({2, 10}, "pow"), V{1024});
    EXPECT_EQ(run({2.5}, "round"), V{3});
    EXPECT_EQ(run({-2.5}, "round"), V{-2});
    EXPECT_EQ(run({-2.5}, "floor"), V{-3});
    EXPECT_EQ(run({-2.5}, "ceil"), V{-2});
    EXPECT_EQ(run({-3}, "abs"), V{3});
}

TEST(PostfixOperators, DivisionByZeroLeavesZeroAndReportsIt) {
    for (double zero : {0.0, -0.0}) {
        Outcome out = apply({1, 5, zero}, "/");
        EXPECT_EQ(out.status, kestrel::PostfixErrors::DIVIDE_BY_ZERO);
        EXPECT_EQ(out.stack, (V{1, 0}));
    }
    EXPECT_EQ(apply({5, 1e-300}, "/").status, 0);
}

TEST(PostfixOperators, LogicAndComparisons) {
    const double nan = std::nan("");
    EXPECT_EQ(run({0}, "!"), V{1});
    EXPECT_EQ(run({0.5}, "!"), V{0});
    EXPECT_EQ(run({2, 0}, "&&"), V{0});
    EXPECT_EQ(run({2, 0}, "||"), V{1});
    EXPECT_EQ(run({0, 0}, "||"), V{0});
    EXPECT_EQ(run({7, 2}, "<"), V{0});
    EXPECT_EQ(run({7, 2}, ">"), V{1});
    EXPECT_EQ(run({2, 2}, ">="), V{1});
    EXPECT_EQ(run({2, 2}, "<="), V{1});
    EXPECT_EQ(run({2, 2}, "=="), V{1});
    EXPECT_EQ(run({nan, nan}, "=="), V{0});
    EXPECT_EQ(run({nan, nan}, "!="), V{1});
    EXPECT_EQ(run({nan, 1}, ">="), V{0});
    EXPECT_EQ(run({3, 4}, "min"), V{3});
    EXPECT_EQ(run({3, nan}, "min"), V{3});
    EXPECT_EQ(run({3, 4}, "max"), V{4});
    EXPECT_TRUE(std::isnan(run({3, nan}, "max")[0]));
    EXPECT_EQ(run({1, 10, 20}, "ifte"), V{10});
    EXPECT_EQ(run({0, 10, 20}, "ifte"), V{20});
}

TEST(PostfixOperators, StackShuffles) {
    EXPECT_EQ(run({1, 2, 3}, "rot3"), (V{3, 1, 2}));
    EXPECT_EQ(run({9, 1, 2}, "dup2"), (V{9, 1, 2, 1, 2}));
    EXPECT_EQ(run({4}, "dup"), (V{4, 4}));
    EXPECT_EQ(run({4, 5}, "swap"), (V{5, 4}));
    EXPECT_EQ(run({4, 5}, "drop"), V{4});
}
