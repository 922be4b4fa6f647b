#pragma once

#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/export.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace koUtil {

/// Number that orders as the value does: a < b gives sortKeyOf(a) < sortKeyOf(b), equal values (0.0 and -0.0 too) give
/// equal numbers. NaN comes after everything. Up to 32 significant low bits for types of 4 bytes or less.
template <typename T>
requires(std::is_arithmetic_v<T> && sizeof(T) <= sizeof(std::uint64_t)) std::uint64_t
    sortKeyOf(T value) {
    if constexpr (std::is_floating_point_v<T>) {
        using Bits =
            std::conditional_t<sizeof(T) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
        constexpr Bits signBit = Bits(1) << (8 * sizeof(T) - 1);
        if (value != value)
            return static_cast<Bits>(~Bits(0));
        Bits const bits = std::bit_cast<Bits>(value == T(0) ? T(0) : value);
        return (bits & signBit) != 0 ? static_cast<Bits>(~bits) : static_cast<Bits>(bits | signBit);
    } else if constexpr (std::is_signed_v<T>) {
        constexpr std::uint64_t bias = std::uint64_t(1) << (8 * sizeof(T) - 1);
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) + bias;
    } else {
        return static_cast<std::uint64_t>(value);
    }
}

/// A comparison of indices that knows a number which orders them: sortKey(a) < sortKey(b) implies compare(a, b), and
/// equal keys leave the answer to compare. Such comparisons are sorted by radix, many times faster. A comparison whose
/// equal keys are always equivalent says so with `static constexpr bool sortKeyDecides = true`.
template <typename Compare>
concept HasSortKey = requires(Compare const& compare, int index) {
    { compare.sortKey(index) } -> std::same_as<std::uint64_t>;
};

template <typename Compare>
constexpr bool sortKeyDecides = false;
template <typename Compare>
requires requires {
    Compare::sortKeyDecides;
}
constexpr bool sortKeyDecides<Compare> = Compare::sortKeyDecides;

/// The comparison that asks the keys first: the same order, told apart faster, and consistent where values are NaN.
template <HasSortKey Compare>
struct ByKeyThenCompare {
    Compare compare;

    bool operator()(int a, int b) const {
        std::uint64_t const keyA = compare.sortKey(a);
        std::uint64_t const keyB = compare.sortKey(b);
        if constexpr (sortKeyDecides<Compare>)
            return keyA < keyB;
        else
            return keyA != keyB ? keyA < keyB : compare(a, b);
    }
};

/// Stable merge sort. Reads and writes nothing outside of its ranges whatever the comparison answers, so that a
/// comparison which is no strict weak ordering (NaN among the keys) spoils the order and nothing else.
/// scratch   room for last - first elements, overwritten
template <typename T, typename Compare>
void stableSort(T* first, T* last, T* scratch, Compare const& compare) {
    constexpr std::ptrdiff_t shortRun = 12;
    std::ptrdiff_t const count = last - first;
    if (count <= shortRun) {
        for (T* item = first; item < last; ++item) {
            T const moved = *item;
            T* place = item;
            for (; place > first && compare(moved, place[-1]); --place)
                *place = place[-1];
            *place = moved;
        }
        return;
    }
    T* const middle = first + count / 2;
    stableSort(first, middle, scratch, compare);
    stableSort(middle, last, scratch, compare);
    if (!compare(*middle, middle[-1]))
        return;

    T* const leftEnd = std::copy(first, middle, scratch);
    T const* left = scratch;
    T const* right = middle;
    T* out = first;
    while (left < leftEnd && right < last)
        *out++ = compare(*right, *left) ? *right++ : *left++;
    std::copy(left, static_cast<T const*>(leftEnd), out);
}

/// How 64-bit sort keys are cut down to the upper 33 bits of a word, above an index of 31 bits.
class TRIMORA_API PackedKeys {
public:
    static constexpr int indexBits = 31;
    static constexpr int keyBits = 64 - indexBits;

    /// For keys from lowest to highest; varying has every bit set in which any two of them differ.
    PackedKeys(std::uint64_t lowest, std::uint64_t highest, std::uint64_t varying);

    std::uint64_t pack(std::uint64_t key, int index) const {
        return ((key - lowest_) >> shift_) << indexBits | static_cast<std::uint32_t>(index);
    }
    static int indexOf(std::uint64_t item) {
        return static_cast<int>(item & ((std::uint64_t(1) << indexBits) - 1));
    }
    static bool sameKey(std::uint64_t a, std::uint64_t b) { return (a ^ b) >> indexBits == 0; }

    /// True when no two different keys are packed alike.
    bool exact() const { return exact_; }

    /// Stable radix sort by the packed keys. Returns where the result lies: items or scratch, both of count items.
    std::uint64_t* sort(std::uint64_t* items, std::uint64_t* scratch, int count) const;

private:
    std::uint64_t lowest_;
    int shift_;
    int width_;  // bits of the widest packed key
    bool exact_;
};

/// Sorts consecutive indices by a comparison with keys, equals by index, in one run of two threads.
///
/// Thread 0 takes the indices whose keys are below a pivot, thread 1 the others; each packs its own with their keys,
/// sorts them by radix, and sorts what the packed keys cannot tell apart by the comparison.
/// cost      O(n) but for runs of one packed key; 16 bytes of scratch an index
template <HasSortKey Compare>
class SortByKeyAlg : public ThreadedAlg {
public:
    /// indices   filled with count consecutive numbers that start at base, count at least 1
    /// scratch   2 count words
    SortByKeyAlg(int* indices, int base, int count, Compare compare, std::uint64_t* scratch)
        : indices_(indices),
          base_(base),
          count_(count),
          byKey_{compare},
          scratch_(scratch),
          pivot_(medianOfSample()),
          packed_(scanKeys()) {}

    void execute(int threadIndex, int numThreads) override {
        if (threadIndex == 0)
            sortSide(false);
        if (threadIndex == 1 || numThreads == 1)
            sortSide(true);
    }

private:
    std::uint64_t keyOf(int index) const { return byKey_.compare.sortKey(index); }

    /// Splits the keys into about equal halves. The sample is evenly spaced: no chance, the same answer every time.
    std::uint64_t medianOfSample() const {
        int const sampleSize = std::min(count_, 1023);
        std::uint64_t sample[1023];
        for (int i = 0; i < sampleSize; ++i) {
            std::int64_t const place = (2 * std::int64_t(i) + 1) * count_ / (2 * sampleSize);
            sample[i] = keyOf(base_ + static_cast<int>(place));
        }
        std::nth_element(sample, sample + sampleSize / 2, sample + sampleSize);
        return sample[sampleSize / 2];
    }

    /// Counts the keys below the pivot and measures what has to be packed.
    PackedKeys scanKeys() {
        std::uint64_t const firstKey = keyOf(base_);
        std::uint64_t lowest = firstKey;
        std::uint64_t highest = firstKey;
        std::uint64_t varying = 0;
        int numBelow = 0;
        for (int i = 0; i < count_; ++i) {
            std::uint64_t const key = keyOf(base_ + i);
            lowest = std::min(lowest, key);
            highest = std::max(highest, key);
            varying |= key ^ firstKey;
            numBelow += key < pivot_;
        }
        numBelow_ = numBelow;
        return PackedKeys(lowest, highest, varying);
    }

    void sortSide(bool upper) {
        int const begin = upper ? numBelow_ : 0;
        int const count = upper ? count_ - numBelow_ : numBelow_;
        std::uint64_t* const items = scratch_ + begin;
        std::uint64_t* const other = scratch_ + count_ + begin;

        packSide(upper, items, count);
        std::uint64_t* const sorted = packed_.sort(items, other, count);
        if (!packed_.exact() || !sortKeyDecides<Compare>)
            sortTies(sorted, sorted == items ? other : items, count);
        for (int i = 0; i < count; ++i)
            indices_[begin + i] = PackedKeys::indexOf(sorted[i]);
    }

    /// Writes the side's items in the order of their indices. Each is written first and then kept or not: keys fall to
    /// either side as good as at random, and a branch would be mispredicted half the time.
    void packSide(bool upper, std::uint64_t* items, int count) const {
        for (int i = 0, numKept = 0; numKept < count; ++i) {
            std::uint64_t const key = keyOf(base_ + i);
            items[numKept] = packed_.pack(key, base_ + i);
            numKept += (key >= pivot_) == upper;
        }
    }

    void sortTies(std::uint64_t* sorted, std::uint64_t* other, int count) const {
        auto const compare = [this](std::uint64_t a, std::uint64_t b) {
            return byKey_(PackedKeys::indexOf(a), PackedKeys::indexOf(b));
        };
        for (int begin = 0, end = 0; begin < count; begin = end) {
            for (end = begin + 1; end < count && PackedKeys::sameKey(sorted[begin], sorted[end]);)
                ++end;
            if (end - begin > 1)
                stableSort(sorted + begin, sorted + end, other + begin, compare);
        }
    }

    int* indices_;
    int base_;
    int count_;
    ByKeyThenCompare<Compare> byKey_;
    std::uint64_t* scratch_;
    std::uint64_t pivot_;
    int numBelow_ = 0;  // indices with keys below the pivot: thread 0's share
    PackedKeys packed_;
};

}  // namespace koUtil
