#include "trimora/contract/koUtil/Ordering.h"

#include <limits>
#include <new>
#include <numeric>

namespace koUtil {

Ordering::Ordering() = default;

Ordering::~Ordering() = default;

void Ordering::resize(unsigned long long n) {
    constexpr unsigned long long mostIndices = std::numeric_limits<int>::max();
    if (n > mostIndices)
        throw std::bad_alloc();
    indices_ = std::make_unique_for_overwrite<int[]>(n);
    count_ = static_cast<long long>(n);
    std::iota(indices_.get(), indices_.get() + count_, 0);
}

}  // namespace koUtil
