#include "kestrel/PostfixStack.h"

namespace kestrel {

template class PostfixStack<double>;

} // namespace kestrel
