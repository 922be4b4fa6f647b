#pragma once

#include "trimora/export.h"

#include <cstddef>
#include <vector>

namespace koOS {

/// Bytes of a large page.
constexpr std::size_t largePageBytes = std::size_t(2) << 20;

/// Asks the system for large pages where a stretch of fresh memory holds whole ones. The first touch of fresh memory costs
/// a fault a page, which with small pages takes longer than most work on it; where the system does not follow the advice,
/// nothing is lost. Does nothing for less than `largePageBytes`.
TRIMORA_API void adviseLargePages(void* memory, std::size_t numBytes);

/// Resizes a vector that has no memory yet, in large pages where it can have them.
template <typename T>
void resizeInLargePages(std::vector<T>& vector, std::size_t count) {
    vector.reserve(count);
    adviseLargePages(vector.data(), count * sizeof(T));
    vector.resize(count);
}

}  // namespace koOS
