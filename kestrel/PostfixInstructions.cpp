#include "kestrel/PostfixInstructions.h"

namespace kestrel {

template class PostfixInstructions<double>;

} // namespace kestrel
