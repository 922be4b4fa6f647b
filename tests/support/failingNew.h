#pragma once

#include <cstdlib>
#include <new>

/// Replaces operator new in the program that includes this, which must be in one source only: allocations can be made to fail.
namespace support {

/// Allocations of this thread until one fails; below 0: none fails.
inline thread_local int allocationsLeft = -1;
/// How many have failed on this thread.
inline thread_local int allocationsFailed = 0;

/// Counts an allocation; whether it is to fail.
inline bool failsNow() {
    if (allocationsLeft == 0) {
        ++allocationsFailed;
        return true;
    }
    allocationsLeft -= allocationsLeft > 0;
    return false;
}

}  // namespace support

// Not inlined: the compiler would take the pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (support::failsNow())
        throw std::bad_alloc();
    if (void* const memory = std::malloc(size > 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return support::failsNow() ? nullptr : std::malloc(size > 0 ? size : 1);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    if (support::failsNow())
        throw std::bad_alloc();
    auto const step = static_cast<std::size_t>(alignment);
    if (void* const memory = std::aligned_alloc(step, (size + step - 1) / step * step))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
