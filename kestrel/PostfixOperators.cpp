#include "kestrel/PostfixOperators.h"

namespace kestrel {

template class PostfixOperators<double>;

} // namespace kestrel
