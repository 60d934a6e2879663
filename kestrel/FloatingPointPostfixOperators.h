#ifndef KESTREL_FLOATINGPOINTPOSTFIXOPERATORS_H
#define KESTREL_FLOATINGPOINTPOSTFIXOPERATORS_H

#include "kestrel/PostfixErrors.h"
#include "kestrel/PostfixOperatorsBase.h"

#include <cmath>

namespace kestrel {

/**
 * The operator table with the arithmetic operators added to the base ones. As in the base class, y is the top
 * value and x the one below it.
 */
template <typename T> class FloatingPointPostfixOperators : public PostfixOperatorsBase<T> {
public:
    typedef typename PostfixOperatorsBase<T>::OperatorInfo OperatorInfo;

    FloatingPointPostfixOperators();
    virtual ~FloatingPointPostfixOperators() {}

    static int op_plus(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x + x[1];
        return 0;
    }
    static int op_sub(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x - x[1];
        return 0;
    }
    static int op_mult(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = *x * x[1];
        return 0;
    }
    /** x / y; a zero divisor (of either sign) leaves 0 and reports the division by zero. */
    static int op_div(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        if (x[1] == T(0)) {
            *x = T(0);
            return PostfixErrors::DIVIDE_BY_ZERO;
        }
        *x = *x / x[1];
        return 0;
    }
    static int op_pow(PostfixStack<T>& s) {
        T* x = &s.values[--s.top];
        *x = std::pow(*x, x[1]);
        return 0;
    }
    static int op_abs(PostfixStack<T>& s) {
        T& y = s.values[s.top];
        if (y < T(0)) {
            y = -y;
        }
        return 0;
    }
    static int op_ceil(PostfixStack<T>& s) {
        T& y = s.values[s.top];
        y = std::ceil(y);
        return 0;
    }
    static int op_floor(PostfixStack<T>& s) {
        T& y = s.values[s.top];
        y = std::floor(y);
        return 0;
    }
    /** Halves round up, towards positive infinity: -2.5 gives -2. */
    static int op_round(PostfixStack<T>& s) {
        T& y = s.values[s.top];
        y = std::floor(y + T(0.5));
        return 0;
    }
};

template <typename T> FloatingPointPostfixOperators<T>::FloatingPointPostfixOperators() {
    this->operatorTable["+"] = OperatorInfo{2, 1, &op_plus};
    this->operatorTable["-"] = OperatorInfo{2, 1, &op_sub};
    this->operatorTable["*"] = OperatorInfo{2, 1, &op_mult};
    this->operatorTable["/"] = OperatorInfo{2, 1, &op_div};
    this->operatorTable["pow"] = OperatorInfo{2, 1, &op_pow};
    this->operatorTable["abs"] = OperatorInfo{1, 1, &op_abs};
    this->operatorTable["ceil"] = OperatorInfo{1, 1, &op_ceil};
    this->operatorTable["floor"] = OperatorInfo{1, 1, &op_floor};
    this->operatorTable["round"] = OperatorInfo{1, 1, &op_round};
}

extern template class FloatingPointPostfixOperators<double>;

} // namespace kestrel

#endif
