// Replaces the global operator new and delete of a benchmark program with ones that count what is allocated.
// Include it in exactly one source file of the program.
#ifndef TOOLS_COMMON_COUNTEDALLOCATIONS_H
#define TOOLS_COMMON_COUNTEDALLOCATIONS_H

#include <atomic>
#include <cstdlib>
#include <new>

namespace counted {
std::atomic<unsigned long long> allocations{0};
std::atomic<unsigned long long> bytes{0};
} // namespace counted

// The replacements below pair operator new with free on purpose; GCC cannot see that once they are inlined.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 11
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size) {
    ++counted::allocations;
    counted::bytes += size;
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

#endif
