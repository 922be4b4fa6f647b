#pragma once

#include "trimora/contract/koUtil/SMPSort.h"
#include "trimora/export.h"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace koUtil {

/// Array of indices that is sorted in the place of the values they stand for.
class TRIMORA_API Ordering {
public:
    template <typename T>
    struct IndexedLessThan;
    template <typename T, typename Predicate>
    struct IndexedBinaryPredicate;

    /// Empty.
    Ordering();
    ~Ordering();
    Ordering(Ordering const&) = delete;
    Ordering& operator=(Ordering const&) = delete;

    /// n entries 0, 1, ..., n - 1. Throws std::bad_alloc where they cannot be had (n of 2^31 and above among them); the ordering
    /// is unchanged then.
    void resize(unsigned long long n);

    /// Entries; those of sort number the values from first on.
    long long size() const { return count_; }
    int operator[](long long place) const { return indices_.get()[place]; }
    int* data() { return indices_.get(); }
    int const* data() const { return indices_.get(); }
    int const* begin() const { return indices_.get(); }
    int const* end() const { return indices_.get() + count_; }

    /// Makes this the ascending order of the values; equal values keep their order, NaN comes last. See smpSort.
    template <typename T>
    void sort(T const* first, T const* last) {
        resize(static_cast<unsigned long long>(last - first));
        smpSort(data(), data() + size(), IndexedLessThan<T>{first});
    }
    /// The same for the order that predicate(T, T) gives.
    template <typename T, typename Predicate>
    void sort(T const* first, T const* last, Predicate predicate) {
        resize(static_cast<unsigned long long>(last - first));
        smpSort(data(), data() + size(), IndexedBinaryPredicate<T, Predicate>{first, predicate});
    }

private:
    std::unique_ptr<int[]> indices_;
    long long count_ = 0;
};

/// Compares indices by the values they stand for.
template <typename T>
struct Ordering::IndexedLessThan {
    T const* values;

    static constexpr bool sortKeyDecides = true;

    bool operator()(int a, int b) const { return values[a] < values[b]; }
    std::uint64_t sortKey(int index) const requires requires(T const& value) { sortKeyOf(value); }
    { return sortKeyOf(values[index]); }
};

/// Compares indices by a predicate of the values they stand for.
template <typename T, typename Predicate>
struct Ordering::IndexedBinaryPredicate {
    T const* values;
    Predicate predicate;

    bool operator()(int a, int b) const { return predicate(values[a], values[b]); }
};

}  // namespace koUtil
