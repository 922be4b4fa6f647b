#pragma once

#include "trimora/contract/koUtil/SortKeys.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

namespace koUtil {

/// Sorts without further memory. Integers that compare as equal end in ascending order.
template <typename T, typename Compare>
void sortInPlace(T* first, T* last, Compare const& compare) {
    auto const before = [&compare](T const& a, T const& b) {
        if constexpr (std::is_integral_v<T>)
            return compare(a, b) || (a < b && !compare(b, a));
        else
            return compare(a, b);
    };
    std::make_heap(first, last, before);
    std::sort_heap(first, last, before);
}

/// Sorts on the calling thread. Equals keep their order. Never fails: without memory for the merges it sorts in place;
/// equal integers are then in ascending order, other equals in any.
template <typename T, typename Compare>
void serialSort(T* first, T* last, Compare const& compare) {
    std::unique_ptr<T[]> const scratch(new (std::nothrow)
                                           T[static_cast<std::size_t>(last - first)]);
    if (scratch != nullptr) {
        stableSort(first, last, scratch.get(), compare);
    } else {
        sortInPlace(first, last, compare);
    }
}

/// First stage of the parallel sort: sorts both halves of a range, each on one thread.
///
/// The cut lies at h = n / 2 + n % 2, whatever the count of threads; those above the second do nothing.
template <typename T, typename Compare>
class SMPSortPiecewise : public ThreadedAlg {
public:
    SMPSortPiecewise(T* first, T* last, Compare compare)
        : first_(first), last_(last), compare_(compare) {}

    void execute(int threadIndex, int numThreads) override {
        if (threadIndex < 2)
            sortPiece(threadIndex);
        if (numThreads == 1)
            sortPiece(1);
    }

private:
    void sortPiece(int piece) const {
        int const count = static_cast<int>(last_ - first_);
        Compare const compare = compare_;
        serialSort(first_ + getBeginIndex(piece, 2, count),
                   first_ + getBeginIndex(piece + 1, 2, count), compare);
    }

    T* first_;
    T* last_;
    Compare compare_;
};

/// Second stage of the parallel sort: merges the halves, one thread from the front and one from the back.
///
/// Each thread fills half of a temporary array and stops at its count, so that neither needs to know where the other
/// stands; of equals the left piece's come first in both directions. finalize() copies the result back.
/// errors    the constructor throws std::bad_alloc when there is no room for the temporary array
template <typename T, typename Compare>
class SMPSortMerge : public ThreadedAlg {
public:
    SMPSortMerge(T* first, T* last, Compare compare)
        : first_(first),
          last_(last),
          merged_(new T[static_cast<std::size_t>(last - first)]),
          compare_(compare) {}

    void execute(int threadIndex, int numThreads) override {
        T* const halfWay = merged_.get() + (cut() - first_);
        if (threadIndex == 0)
            mergeFront(halfWay);
        if (threadIndex == 1 || numThreads == 1)
            mergeBack(halfWay);
    }

    void finalize() override {
        // A comparison that is no strict weak ordering can lead the threads to different cuts. One of them then goes over
        // the whole range by itself, so that the result is a permutation in any case.
        if (frontLeft_ != backLeft_ || frontRight_ != backRight_)
            mergeFront(merged_.get() + (last_ - first_));
        std::copy(merged_.get(), merged_.get() + (last_ - first_), first_);
    }

private:
    T* cut() const { return first_ + getBeginIndex(1, 2, static_cast<int>(last_ - first_)); }

    /// Writes the outputs before end.
    void mergeFront(T* end) {
        Compare const compare = compare_;
        T* const leftEnd = cut();
        T* left = first_;
        T* right = leftEnd;
        for (T* out = merged_.get(); out < end; ++out) {
            bool const takeRight = left == leftEnd || (right < last_ && compare(*right, *left));
            *out = takeRight ? *right++ : *left++;
        }
        frontLeft_ = left;
        frontRight_ = right;
    }

    /// Writes the outputs from begin on. Pointers stand one past the element that is looked at.
    void mergeBack(T* begin) {
        Compare const compare = compare_;
        T* left = cut();
        T* right = last_;
        for (T* out = merged_.get() + (last_ - first_); out > begin;) {
            bool const takeLeft = left > first_ && compare(right[-1], left[-1]);
            *--out = takeLeft ? *--left : *--right;
        }
        backLeft_ = left;
        backRight_ = right;
    }

    T* first_;
    T* last_;
    std::unique_ptr<T[]> merged_;
    Compare compare_;
    T* frontLeft_ = nullptr;  // where the merge from the front stopped: thread 0's
    T* frontRight_ = nullptr;
    T* backLeft_ = nullptr;  // where the merge from the back stopped: thread 1's
    T* backRight_ = nullptr;
};

/// The general way: halves, then merge. Equals keep their order, so the result does not depend on the threads.
template <typename T, typename Compare>
void sortByComparison(T* first, T* last, Compare const& compare) {
    ThreadPool& pool = ThreadPool::get();
    if (pool.numThreads == 1) {
        serialSort(first, last, compare);
        return;
    }
    SMPSortPiecewise<T, Compare> pieces(first, last, compare);
    pool.run(pieces);
    SMPSortMerge<T, Compare> merge(first, last, compare);
    pool.run(merge);
}

/// The way of comparisons with keys. Returns false, with nothing done, where it does not pay: short ranges, indices
/// that are not consecutive (ascending as they come here), no memory for the scratch.
template <HasSortKey Compare>
bool sortByKey(int* first, int* last, Compare const& compare) {
    // Below it, counting digits costs more than it saves.
    constexpr std::int64_t shortestRange = 2048;
    std::int64_t const count = last - first;
    if (count < shortestRange || first[0] < 0 || std::int64_t(last[-1]) - first[0] != count - 1 ||
        std::adjacent_find(first, last) != last)
        return false;
    std::unique_ptr<std::uint64_t[]> const scratch(
        new (std::nothrow) std::uint64_t[2 * static_cast<std::size_t>(count)]);
    if (scratch == nullptr)
        return false;

    SortByKeyAlg<Compare> alg(first, first[0], static_cast<int>(count), compare, scratch.get());
    ThreadPool& pool = ThreadPool::get();
    if (pool.numThreads == 1)
        alg.execute(0, 1);
    else
        pool.run(alg);
    return true;
}

/// Sorts a range on the shared pool, on at most two of its threads; serially when the pool has one.
///
/// first, last  the range, at most 2^31 - 1 elements
/// compare      strict weak ordering of the elements, called concurrently on copies of itself; one with sortKey (see
///              HasSortKey) over int is sorted by radix, to the same result. An ordering that NaN makes inconsistent
///              gives some permutation and nothing worse; with sortKey NaN comes last
/// order        integers that compare as equal end in ascending order (of equal vertices the lowest index is first),
///              elements of other types in the order they came in. The result depends on the pool only where an
///              ordering is inconsistent
/// errors       std::bad_alloc; the elements are then in an unspecified order
/// cost         O(n log n) comparisons and n elements of scratch; with sortKey O(n) and 16 n bytes
template <typename T, typename Compare>
void smpSort(T* first, T* last, Compare compare) {
    if constexpr (std::is_integral_v<T>)
        if (!std::is_sorted(first, last))
            std::sort(first, last);

    if constexpr (std::is_same_v<T, int> && HasSortKey<Compare>) {
        if (!sortByKey(first, last, compare))
            sortByComparison(first, last, ByKeyThenCompare<Compare>{compare});
    } else {
        sortByComparison(first, last, compare);
    }
}

}  // namespace koUtil
