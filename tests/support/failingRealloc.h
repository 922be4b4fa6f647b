#pragma once

#include "support/failingNew.h"

#include <cstddef>
#include <cstdlib>

/// Further to failingNew.h: growing and zeroed storage, of which the meshes' arrays are made, can be made to fail too. The sanitizers
/// have their own, which stays.

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && defined(__GLIBC__)

extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);

extern "C" [[gnu::noinline]] void* realloc(void* block, std::size_t size) noexcept {
    return support::failsNow() ? nullptr : __libc_realloc(block, size);
}
extern "C" [[gnu::noinline]] void* calloc(std::size_t count, std::size_t size) noexcept {
    return support::failsNow() ? nullptr : __libc_calloc(count, size);
}

#endif
