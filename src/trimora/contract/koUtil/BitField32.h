#pragma once

#include <cstdint>

namespace koUtil {

/// 32 flags in a word; flag i, 0 to 31, is the bit of value 2^i.
struct BitField32 {
    std::uint32_t word = 0;

    constexpr bool test(int i) const { return (word >> i & 1u) != 0; }
    constexpr void set(int i) { word |= std::uint32_t{1} << i; }
    constexpr void clear(int i) { word &= ~(std::uint32_t{1} << i); }
    constexpr bool any() const { return word != 0; }
    constexpr bool operator==(BitField32 const&) const = default;
};

}  // namespace koUtil
