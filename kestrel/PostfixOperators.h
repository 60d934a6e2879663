#ifndef KESTREL_POSTFIXOPERATORS_H
#define KESTREL_POSTFIXOPERATORS_H

#include "kestrel/FloatingPointPostfixOperators.h"

namespace kestrel {

/** The complete operator table the calculator compiles against. */
template <typename T> class PostfixOperators : public FloatingPointPostfixOperators<T> {
public:
    PostfixOperators() {}
    virtual ~PostfixOperators() {}
};

extern template class PostfixOperators<double>;

} // namespace kestrel

#endif
