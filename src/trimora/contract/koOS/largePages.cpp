#include "trimora/contract/koOS/largePages.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace koOS {

#if defined(__linux__)
void adviseLargePages(void* memory, std::size_t numBytes) {
    if (numBytes < largePageBytes)
        return;
    auto const begin = reinterpret_cast<std::uintptr_t>(memory);
    std::uintptr_t const first = (begin + largePageBytes - 1) & ~(largePageBytes - 1);
    std::uintptr_t const last = (begin + numBytes) & ~(largePageBytes - 1);
    if (first < last)
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}
#else
void adviseLargePages(void*, std::size_t) {}
#endif

}  // namespace koOS
