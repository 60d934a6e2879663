#include "kestrel/PostfixOperatorsBase.h"

namespace kestrel {

template class PostfixOperatorsBase<double>;

} // namespace kestrel
