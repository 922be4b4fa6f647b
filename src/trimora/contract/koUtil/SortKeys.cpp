#include "trimora/contract/koUtil/SortKeys.h"

#include <utility>

namespace koUtil {

namespace {

// 2048 counters: three digits cover a packed key, and their counters fit the L1 cache.
constexpr int maxDigitBits = 11;
constexpr int maxDigits = 3;
static_assert(maxDigits * maxDigitBits >= PackedKeys::keyBits);

}  // namespace

PackedKeys::PackedKeys(std::uint64_t lowest, std::uint64_t highest, std::uint64_t varying)
    : lowest_(lowest) {
    int const rangeBits = static_cast<int>(std::bit_width(highest - lowest));
    // Bits that no key differs in are no loss.
    int const freeShift = varying == 0 ? 0 : std::countr_zero(varying);
    shift_ = std::max({0, rangeBits - keyBits, std::min(freeShift, rangeBits)});
    shift_ = std::min(shift_, 63);
    width_ = static_cast<int>(std::bit_width((highest - lowest) >> shift_));
    exact_ = freeShift >= shift_ || varying == 0;
}

std::uint64_t* PackedKeys::sort(std::uint64_t* items, std::uint64_t* scratch, int count) const {
    if (width_ == 0 || count < 2)
        return items;
    int const numDigits = (width_ + maxDigitBits - 1) / maxDigitBits;
    int const digitBits = (width_ + numDigits - 1) / numDigits;
    std::uint64_t const digitMask = (std::uint64_t(1) << digitBits) - 1;

    int counts[maxDigits][1 << maxDigitBits] = {};
    for (int i = 0; i < count; ++i) {
        std::uint64_t key = items[i] >> indexBits;
        for (int digit = 0; digit < numDigits; ++digit, key >>= digitBits)
            ++counts[digit][key & digitMask];
    }

    for (int digit = 0; digit < numDigits; ++digit) {
        int const shift = indexBits + digit * digitBits;
        int* const places = counts[digit];
        if (places[items[0] >> shift & digitMask] == count)
            continue;  // one digit for all: nothing moves
        int begin = 0;
        for (int value = 0; value < 1 << digitBits; ++value)
            begin += std::exchange(places[value], begin);
        for (int i = 0; i < count; ++i)
            scratch[places[items[i] >> shift & digitMask]++] = items[i];
        std::swap(items, scratch);
    }
    return items;
}

}  // namespace koUtil
