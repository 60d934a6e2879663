#ifndef KESTREL_POSTFIXCALCULATOR_H
#define KESTREL_POSTFIXCALCULATOR_H

#include "kestrel/PostfixErrors.h"
#include "kestrel/PostfixInstructions.h"
#include "kestrel/PostfixOperators.h"
#include "kestrel/PostfixStack.h"

#include <string>
#include <vector>

namespace kestrel {

/**
 * Compiles a postfix formula once and evaluates it any number of times. Compilation proves that the stack never
 * underflows, never holds more than N values and ends with exactly one, so evaluation runs on N slots of local
 * storage without any checks and without allocating.
 *
 * Tokens: "$k" pushes variable k; a token starting with a digit, or '-' and a digit, is a constant; anything
 * else must be an operator of PostfixOperators.
 */
template <typename T, int N> class PostfixCalculator : public PostfixInstructions<T> {
public:
    PostfixCalculator() : PostfixInstructions<T>(&_table) {}
    PostfixCalculator(const PostfixCalculator& other) : PostfixInstructions<T>(other) { this->operators = &_table; }
    PostfixCalculator& operator=(const PostfixCalculator& other) {
        PostfixInstructions<T>::operator=(other);
        this->operators = &_table;
        return *this;
    }
    virtual ~PostfixCalculator() {}

    /** Compiles the tokens, replacing the program; returns a PostfixErrors code and keeps no program on error. */
    virtual int assign(const std::vector<const char*>& tokens) { return _assign(tokens); }
    virtual int assign(const std::vector<std::string>& tokens) { return _assign(tokens); }

    /**
     * Runs the program with variable k taken from variables[k]. On OK the top value is stored in result;
     * otherwise result is left alone and the code tells why (DIVIDE_BY_ZERO, NOT_ENOUGH_VARIABLES, NO_EXPRESSION).
     */
    int eval(T& result, const std::vector<T>& variables) const;

private:
    static const char* _text(const char* token) { return token; }
    static const char* _text(const std::string& token) { return token.c_str(); }

    template <typename Tokens> int _assign(const Tokens& tokens);

    PostfixOperators<T> _table;
};

template <typename T, int N> template <typename Tokens> int PostfixCalculator<T, N>::_assign(const Tokens& tokens) {
    this->_clear();
    int code = PostfixErrors::OK;
    if (tokens.empty()) {
        code = PostfixErrors::BAD_STACK_RESULT;
    } else {
        this->instructions.reserve(tokens.size());
        for (const auto& token : tokens) {
            code = this->_addToken(_text(token));
            if (code != PostfixErrors::OK) {
                break;
            }
        }
    }
    if (code == PostfixErrors::OK && this->depth != 1) {
        code = PostfixErrors::BAD_STACK_RESULT;
    }
    if (code == PostfixErrors::OK && this->maxDepth > N) {
        code = PostfixErrors::STACK_OVERFLOW;
    }
    if (code != PostfixErrors::OK) {
        this->_clear();
    }
    return code;
}

template <typename T, int N> int PostfixCalculator<T, N>::eval(T& result, const std::vector<T>& variables) const {
    if (this->instructions.empty()) {
        return PostfixErrors::NO_EXPRESSION;
    }
    if (static_cast<size_t>(this->variableCount) > variables.size()) {
        return PostfixErrors::NOT_ENOUGH_VARIABLES;
    }
    T slots[N];
    PostfixStack<T> stack(slots);
    const T* values = variables.data();
    for (const auto& step : this->instructions) {
        if (step.function != nullptr) {
            int status = step.function(stack);
            if (status != PostfixErrors::OK) {
                return status;
            }
        } else {
            slots[++stack.top] = step.variable >= 0 ? values[step.variable] : step.constant;
        }
    }
    result = slots[stack.top];
    return PostfixErrors::OK;
}

extern template class PostfixCalculator<double, 32>;

} // namespace kestrel

#endif
