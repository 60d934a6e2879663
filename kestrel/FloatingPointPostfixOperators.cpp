#include "kestrel/FloatingPointPostfixOperators.h"

namespace kestrel {

template class FloatingPointPostfixOperators<double>;

} // namespace kestrel
