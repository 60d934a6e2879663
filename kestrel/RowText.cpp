#include "kestrel/RowText.h"

#include <cstring>

namespace kestrel {

void RowText::_grow() {
    std::size_t used = size();
    std::size_t capacity = static_cast<std::size_t>(limit - buffer.get());
    std::size_t grown = capacity < (1u << 16) ? (1u << 16) : 2 * capacity;
    std::unique_ptr<char[]> larger(new char[grown]);
    if (used > 0) {
        std::memcpy(larger.get(), buffer.get(), used);
    }
    buffer = std::move(larger);
    end = buffer.get() + used;
    limit = buffer.get() + grown;
}

} // namespace kestrel
