#ifndef KESTREL_ARENAALLOCATOR_H
#define KESTREL_ARENAALLOCATOR_H

#include "kestrel/HugePageArena.h"

#include <cstddef>

namespace kestrel {

/** A standard allocator that takes its memory from the shared HugePageArena. */
template <typename T> class ArenaAllocator {
public:
    using value_type = T;

    ArenaAllocator() noexcept = default;
    template <typename U> ArenaAllocator(const ArenaAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) { return static_cast<T*>(HugePageArena::shared().allocate(count * sizeof(T))); }
    void deallocate(T* block, std::size_t count) noexcept {
        HugePageArena::shared().deallocate(block, count * sizeof(T));
    }

    template <typename U> bool operator==(const ArenaAllocator<U>&) const noexcept { return true; }
    template <typename U> bool operator!=(const ArenaAllocator<U>&) const noexcept { return false; }
};

} // namespace kestrel

#endif
