#ifndef KESTREL_POSTFIXOPERATORSBASE_H
#define KESTREL_POSTFIXOPERATORSBASE_H

#include "kestrel/PostfixStack.h"

#include <map>
#include <string>

namespace kestrel {

/**
 * The table of postfix operators, keyed by token text, with the logic, comparison and stack operators. Every
 * routine works in place on the stack it is given and returns a status (0 for success, otherwise a code of
 * PostfixErrors). Routines check nothing: the compiler guarantees that each finds its operands and has room for
 * its results.
 *
 * In the comments of the routines, y is the top value, x the one below it and w the one below x. Truth values
 * are 1 and 0; any value not equal to 0 counts as true.
 */
template <typename T> class PostfixOperatorsBase {
public:
    typedef int (*Function)(PostfixStack<T>& stack);

    /** One row of the table. */
    struct OperatorInfo {
        /** Number of values the operator takes from the stack. */
        int operands;
        /** Number of values it leaves in their place. */
        int results;
        /** The routine. */
        Function function;
    };

    PostfixOperatorsBase();
    virtual ~PostfixOperatorsBase() {}

    std::map<std::string, OperatorInfo> operatorTable;

    /** 1 if y equals 0, else 0. */
    static int op_not(PostfixStack<T>& s) {
        T& y = s.values[s.top];
        y = y == T(0) ? T(1) : T(0);
        return 0;
    }
    /** 1 if x and y are both true, else 0. */
    static int op_land(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = (*x != T(0) && x[1] != T(0)) ? T(1) : T(0);
        return 0;
    }
    /** 0 if x and y both equal 0, else 1. */
    static int op_lor(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = (*x == T(0) && x[1] == T(0)) ? T(0) : T(1);
        return 0;
    }
    static int op_eq(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x == x[1] ? T(1) : T(0);
        return 0;
    }
    /** The negation of op_eq, so that NaN != NaN gives 1. */
    static int op_ne(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x == x[1] ? T(0) : T(1);
        return 0;
    }
    static int op_gte(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x >= x[1] ? T(1) : T(0);
        return 0;
    }
    static int op_lte(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x <= x[1] ? T(1) : T(0);
        return 0;
    }
    static int op_gt(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x > x[1] ? T(1) : T(0);
        return 0;
    }
    static int op_lt(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x < x[1] ? T(1) : T(0);
        return 0;
    }
    /** y if y is less than x, else x: a NaN in y is passed over. */
    static int op_min(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        if (x[1] < *x) {
            *x = x[1];
        }
        return 0;
    }
    /** x if y is less than x, else y: a NaN in y wins. */
    static int op_max(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        if (!(x[1] < *x)) {
            *x = x[1];
        }
        return 0;
    }
    /** y -> y y */
    static int op_dup(PostfixStack<T>& s) {
        T* y = &s.values[s.top];
        y[1] = *y;
        ++s.top;
        return 0;
    }
    /** x y -> x y x y */
    static int op_dup2(PostfixStack<T>& s) {
        T* x = &s.values[s.top - 1];
        x[2] = x[0];
        x[3] = x[1];
        s.top += 2;
        return 0;
    }
    /** x y -> y x */
    static int op_swap(PostfixStack<T>& s) {
        T* x = &s.values[s.top - 1];
        T y = x[1];
        x[1] = x[0];
        x[0] = y;
        return 0;
    }
    /** w x y -> y w x: the top value moves to the third place. */
    static int op_rot3(PostfixStack<T>& s) {
        T* w = &s.values[s.top - 2];
        T y = w[2];
        w[2] = w[1];
        w[1] = w[0];
        w[0] = y;
        return 0;
    }
    static int op_drop(PostfixStack<T>& s) {
        --s.top;
        return 0;
    }
    /** w x y -> x if w is true, else y. */
    static int op_ifte(PostfixStack<T>& s) {
        s.top -= 2;
        T* w = &s.values[s.top];
        *w = *w != T(0) ? w[1] : w[2];
        return 0;
    }
};

template <typename T> PostfixOperatorsBase<T>::PostfixOperatorsBase() {
    operatorTable["!"] = OperatorInfo{1, 1, &op_not};
    operatorTable["&&"] = OperatorInfo{2, 1, &op_land};
    operatorTable["||"] = OperatorInfo{2, 1, &op_lor};
    operatorTable["=="] = OperatorInfo{2, 1, &op_eq};
    operatorTable["!="] = OperatorInfo{2, 1, &op_ne};
    operatorTable[">="] = OperatorInfo{2, 1, &op_gte};
    operatorTable["<="] = OperatorInfo{2, 1, &op_lte};
    operatorTable[">"] = OperatorInfo{2, 1, &op_gt};
    operatorTable["<"] = OperatorInfo{2, 1, &op_lt};
    operatorTable["min"] = OperatorInfo{2, 1, &op_min};
    operatorTable["max"] = OperatorInfo{2, 1, &op_max};
    operatorTable["dup"] = OperatorInfo{1, 2, &op_dup};
    operatorTable["dup2"] = OperatorInfo{2, 4, &op_dup2};
    operatorTable["swap"] = OperatorInfo{2, 2, &op_swap};
    operatorTable["rot3"] = OperatorInfo{3, 3, &op_rot3};
    operatorTable["drop"] = OperatorInfo{1, 0, &op_drop};
    operatorTable["ifte"] = OperatorInfo{3, 1, &op_ifte};
}

extern template class PostfixOperatorsBase<double>;

} // namespace kestrel

#endif
