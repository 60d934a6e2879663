#include "kestrel/PostfixCalculator.h"

namespace kestrel {

template class PostfixCalculator<double, 32>;

} // namespace kestrel
