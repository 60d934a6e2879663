#ifndef KESTREL_POSTFIXINSTRUCTIONS_H
#define KESTREL_POSTFIXINSTRUCTIONS_H

#include "kestrel/PostfixErrors.h"
#include "kestrel/PostfixOperatorsBase.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

namespace kestrel {

/**
 * A compiled postfix program: the steps in token order, and the stack depth bookkeeping that proves, while the
 * program is built, that no step finds fewer values than it takes. The operator table is owned elsewhere (by the
 * calculator) and only pointed at.
 */
template <typename T> class PostfixInstructions {
public:
    typedef typename PostfixOperatorsBase<T>::Function Function;

    /** One step: a push of a variable or constant, or an operator run on the stack. */
    struct Instruction {
        /** Null for a push; otherwise the operator to run. */
        Function function;
        /** For a push: the index of the variable to push, or -1 to push constant. */
        int variable;
        /** The value pushed when variable is negative. */
        T constant;
    };

    explicit PostfixInstructions(const PostfixOperatorsBase<T>* table = nullptr) : operators(table) {}
    virtual ~PostfixInstructions() {}

    /**
     * Appends a push of variable index; the program then needs at least index+1 variable values. Returns 0, or
     * BAD_EXPRESSION for INT_MAX, whose count would not fit an int.
     */
    int addVariable(int index);

    /** Where operator tokens are looked up. */
    const PostfixOperatorsBase<T>* operators;
    std::vector<Instruction> instructions;
    /** Highest variable index used plus one. */
    int variableCount = 0;
    /** Number of values on the stack after the steps so far. */
    int depth = 0;
    /** Greatest depth reached. */
    int maxDepth = 0;

protected:
    /** Empties the program. */
    void _clear();
    /** Compiles one token and appends its step; returns a PostfixErrors code. */
    int _addToken(const char* token);
    void _push(int variable, T constant);
};

template <typename T> int PostfixInstructions<T>::addVariable(int index) {
    if (index == INT_MAX) {
        return PostfixErrors::BAD_EXPRESSION;
    }
    if (index + 1 > variableCount) {
        variableCount = index + 1;
    }
    _push(index, T(0));
    return PostfixErrors::OK;
}

template <typename T> void PostfixInstructions<T>::_clear() {
    instructions.clear();
    variableCount = 0;
    depth = 0;
    maxDepth = 0;
}

template <typename T> void PostfixInstructions<T>::_push(int variable, T constant) {
    if (++depth > maxDepth) {
        maxDepth = depth;
    }
    instructions.push_back(Instruction{nullptr, variable, constant});
}

template <typename T> int PostfixInstructions<T>::_addToken(const char* token) {
    if (token == nullptr || *token == '\0') {
        return PostfixErrors::BAD_EXPRESSION;
    }
    if (token[0] == '$') {
        // "$" alone is variable 0, and anything after the number is ignored ("$12abc" is variable 12).
        errno = 0;
        long index = std::strtol(token + 1, nullptr, 10);
        if (errno == ERANGE || index > INT_MAX || index < INT_MIN) {
            return PostfixErrors::BAD_EXPRESSION;
        }
        return addVariable(static_cast<int>(index));
    }
    bool digit = token[0] >= '0' && token[0] <= '9';
    if (digit || (token[0] == '-' && token[1] >= '0' && token[1] <= '9')) {
        // Whatever strtod reads from the start is the value; the rest of the token is ignored.
        _push(-1, static_cast<T>(std::strtod(token, nullptr)));
        return PostfixErrors::OK;
    }
    if (operators == nullptr) {
        return PostfixErrors::BAD_EXPRESSION;
    }
    auto found = operators->operatorTable.find(token);
    if (found == operators->operatorTable.end()) {
        return PostfixErrors::BAD_EXPRESSION;
    }
    depth -= found->second.operands;
    if (depth < 0) {
        return PostfixErrors::STACK_UNDERFLOW;
    }
    depth += found->second.results;
    if (depth > maxDepth) {
        maxDepth = depth;
    }
    instructions.push_back(Instruction{found->second.function, -1, T(0)});
    return PostfixErrors::OK;
}

extern template class PostfixInstructions<double>;

} // namespace kestrel

#endif
