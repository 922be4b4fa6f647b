#pragma once

#include "support/failingNew.h"
#include "support/sanitizers.h"

#include <cstddef>
#include <cstdlib>

/// Further to failingNew.h: growing and zeroed storage, of which the meshes' arrays are made, can be made to fail too, and the blocks
/// that are in use are counted. The sanitizers have allocators of their own, which stay; the address sanitizer looks for lost blocks itself.

namespace support {

/// Blocks that this thread has allocated, less those that it has freed.
inline thread_local long blocksInUse = 0;

}  // namespace support

#if defined(__GLIBC__) && !defined(TRIMORA_TEST_ADDRESS_SANITIZER) && \
    !defined(TRIMORA_TEST_THREAD_SANITIZER)

namespace support {

inline constexpr bool countsBlocks = true;

inline void* counted(void* block) {
    blocksInUse += block != nullptr;
    return block;
}

}  // namespace support

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);
extern "C" void __libc_free(void* block);

// Never fails: exceptions are made of it, and operator new has failed already.
extern "C" [[gnu::noinline]] void* malloc(std::size_t size) noexcept {
    return support::counted(__libc_malloc(size));
}
extern "C" [[gnu::noinline]] void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return support::counted(__libc_memalign(alignment, size));
}
extern "C" [[gnu::noinline]] void* realloc(void* block, std::size_t size) noexcept {
    if (support::failsNow())
        return nullptr;
    void* const moved = __libc_realloc(block, size);
    if (block == nullptr)
        return support::counted(moved);
    support::blocksInUse -= moved == nullptr && size == 0;
    return moved;
}
extern "C" [[gnu::noinline]] void* calloc(std::size_t count, std::size_t size) noexcept {
    return support::failsNow() ? nullptr : support::counted(__libc_calloc(count, size));
}
extern "C" [[gnu::noinline]] void free(void* block) noexcept {
    support::blocksInUse -= block != nullptr;
    __libc_free(block);
}

#else

namespace support {

inline constexpr bool countsBlocks = false;

}  // namespace support

#endif
