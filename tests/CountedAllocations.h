// Counts what a test binary allocates: replaces operator new and its kin. Include it in one file of a binary only.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace zenquor::test {

inline std::atomic<int> allocations{0};

/// How often @p function allocates.
template <typename F>
int allocationsOf(F&& function) {
    const int before = allocations.load();
    function();
    return allocations.load() - before;
}

}  // namespace zenquor::test

// Not inlined: the compiler would otherwise see malloc() meet operator delete. The non-throwing form stands here too,
// since AddressSanitizer's own would not match the operator delete below.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    zenquor::test::allocations.fetch_add(1);
    return std::malloc(size != 0 ? size : 1);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* block = operator new(size, std::nothrow)) return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
