#pragma once

#include <limits>

namespace koUtil {

/// The integer part as far as an int holds it; 0 for what is not a number.
inline int saturatingInt(double value) {
    constexpr double least = std::numeric_limits<int>::min();
    constexpr double most = std::numeric_limits<int>::max();
    if (value >= most)
        return std::numeric_limits<int>::max();
    if (value <= least)
        return std::numeric_limits<int>::min();
    return value == value ? static_cast<int>(value) : 0;
}

}  // namespace koUtil
