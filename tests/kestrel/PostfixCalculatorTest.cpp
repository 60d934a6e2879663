#include "kestrel/PostfixCalculator.h"
#include "kestrel/InfixCompiler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using kestrel::PostfixErrors;
typedef kestrel::PostfixCalculator<double, 32> Calculator;

namespace {

std::vector<std::string> split(const std::string& formula) {
    std::istringstream in(formula);
    std::vector<std::string> tokens;
    for (std::string token; in >> token;) {
        tokens.push_back(token);
    }
    return tokens;
}

// Compiles a formula and evaluates it without variables; NaN stands for any failure.
double value(const std::string& formula) {
    Calculator calc;
    double result = std::nan("");
    if (calc.assign(split(formula)) != 0 || calc.eval(result, {}) != 0) {
        return std::nan("");
    }
    return result;
}

} // namespace

TEST(PostfixCalculator, CompiledFilterIsReusedWithDifferentVariables) {
    Calculator calc;
    double result = 42;
    EXPECT_EQ(calc.eval(result, {}), PostfixErrors::NO_EXPRESSION);
    ASSERT_EQ(calc.assign(split("$0 $1 > $2 0 != &&")), PostfixErrors::OK);
    EXPECT_EQ(calc.variableCount, 3);
    EXPECT_EQ(calc.maxDepth, 3);
    EXPECT_EQ(calc.eval(result, {5, 3, 1}), 0);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(calc.eval(result, {5, 3, 0}), 0);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(calc.eval(result, {3, 5, 1, 99}), 0);
    EXPECT_EQ(result, 0);
    result = 42;
    EXPECT_EQ(calc.eval(result, {5, 3}), PostfixErrors::NOT_ENOUGH_VARIABLES);
    EXPECT_EQ(result, 42);

    // A copy keeps the program but compiles against its own table.
    Calculator copy(calc);
    EXPECT_NE(copy.operators, calc.operators);
    calc.assign(split("1 2"));
    EXPECT_EQ(copy.eval(result, {5, 3, 1}), 0);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(copy.assign(split("$0 dup *")), 0);
    EXPECT_EQ(copy.eval(result, {-3}), 0);
    EXPECT_EQ(result, 9);
    // An error while running leaves the result alone too.
    ASSERT_EQ(copy.assign(split("10 $0 /")), 0);
    EXPECT_EQ(copy.eval(result, {0.0}), PostfixErrors::DIVIDE_BY_ZERO);
    EXPECT_EQ(result, 9);
}

TEST(PostfixCalculator, CompileErrorsDropTheProgram) {
    const std::vector<std::pair<std::string, int>> cases = {
        {"1 2", PostfixErrors::BAD_STACK_RESULT},       {"", PostfixErrors::BAD_STACK_RESULT},
        {"+", PostfixErrors::STACK_UNDERFLOW},          {"1 drop drop 1", PostfixErrors::STACK_UNDERFLOW},
        {"foo", PostfixErrors::BAD_EXPRESSION},         {"1 -x", PostfixErrors::BAD_EXPRESSION},
        {".5", PostfixErrors::BAD_EXPRESSION},          {"1 2 MAX", PostfixErrors::BAD_EXPRESSION},
        {"$99999999999", PostfixErrors::BAD_EXPRESSION}};
    for (const auto& c : cases) {
        Calculator calc;
        ASSERT_EQ(calc.assign(split("$0")), 0);
        EXPECT_EQ(calc.assign(split(c.first)), c.second) << c.first;
        double result = 42;
        EXPECT_EQ(calc.eval(result, {1}), PostfixErrors::NO_EXPRESSION) << c.first;
        EXPECT_EQ(calc.variableCount, 0);
    }
    Calculator calc;
    EXPECT_EQ(calc.assign(std::vector<const char*>{"1", nullptr}), PostfixErrors::BAD_EXPRESSION);
    EXPECT_EQ(calc.assign(std::vector<std::string>{"1", ""}), PostfixErrors::BAD_EXPRESSION);
}

TEST(PostfixCalculator, StackDepthLimit) {
    auto sum = [](int constants) {
        std::vector<std::string> tokens(constants, "1");
        tokens.insert(tokens.end(), constants - 1, "+");
        return tokens;
    };
    Calculator calc;
    EXPECT_EQ(calc.assign(sum(33)), PostfixErrors::STACK_OVERFLOW);
    ASSERT_EQ(calc.assign(sum(32)), 0);
    double result = 0;
    EXPECT_EQ(calc.eval(result, {}), 0);
    EXPECT_EQ(result, 32);
    // dup2 needs two slots beyond its operands.
    std::vector<std::string> tokens(30, "1");
    tokens.push_back("dup2");
    tokens.insert(tokens.end(), 31, "+");
    EXPECT_EQ(calc.assign(tokens), 0);
    tokens.insert(tokens.begin(), "1");
    tokens.push_back("+");
    EXPECT_EQ(calc.assign(tokens), PostfixErrors::STACK_OVERFLOW);
}

TEST(PostfixCalculator, TokenForms) {
    EXPECT_EQ(value("7 -3 -"), 10);
    EXPECT_EQ(value("1e3"), 1000);
    EXPECT_EQ(value("2.5x 2 *"), 5);
    EXPECT_EQ(value("7 2 - 2 pow 1 3 / round max"), 25);
    Calculator calc;
    double result = 0;
    ASSERT_EQ(calc.assign(split("$ $12abc +")), 0);
    EXPECT_EQ(calc.variableCount, 13);
    std::vector<double> vars(13, 0);
    vars[0] = 1;
    vars[12] = 20;
    EXPECT_EQ(calc.eval(result, vars), 0);
    EXPECT_EQ(result, 21);
    ASSERT_EQ(calc.assign(std::vector<const char*>{"$-1", "5", "+"}), 0);
    EXPECT_EQ(calc.variableCount, 0);
    EXPECT_EQ(calc.eval(result, {}), 0);
    EXPECT_EQ(result, 5);
}

// Expressions written the usual way round compile to formulas that compute what they mean: precedence, the
// direction of chains, unary operators, functions and names in backquotes.
TEST(InfixCompilerTest, CompiledFormulasComputeWhatTheExpressionsMean) {
    const std::vector<std::pair<std::string, double>> cases = {
        {"1 + 2 * 3", 7},
        {"(1 + 2) * 3", 9},
        {"10 - 4 - 3", 3},
        {"2 ^ 3 ^ 2", 512},
        {"-2 ^ 2", -4},
        {"2 ^ -1", 0.5},
        {"- (1 + 2)", -3},
        {"!0 && 1", 1},
        {"1 || 0 && 0", 1},
        {"1 < 2 == 2 > 1", 1},
        {"8 / 2 / 2", 2},
        {"min(3, max(1, 2))", 2},
        {"abs(-2.5) + round(2.5)", 5.5},
        {"ceil(0.2) - floor(-0.2)", 2},
        {"0x10 + .5e1", 21},
        {"a * b - `as`", 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        std::vector<std::string> postfix, variables;
        ASSERT_EQ("", kestrel::InfixCompiler::compile(c.first, postfix, variables));
        kestrel::PostfixCalculator<double, 32> calculator;
        ASSERT_EQ(kestrel::PostfixErrors::OK, calculator.assign(postfix));
        // Variables are numbered in the order they first appear: a = 2, b = 4, as = 3.
        std::vector<double> values;
        for (const std::string& name : variables)
            values.push_back(name == "a" ? 2 : name == "b" ? 4 : 3);
        double result = 0;
        ASSERT_EQ(kestrel::PostfixErrors::OK, calculator.eval(result, values));
        EXPECT_DOUBLE_EQ(c.second, result);
    }
}
