#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koUtil/SortKeys.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <bit>
#include <memory>
#include <utility>
#include <vector>

namespace koGeom::detail {

/// Calls work(slice, begin, end) for equal slices of a range, one a thread.
template <class Work>
class SliceAlg : public koUtil::ThreadedAlg {
public:
    SliceAlg(int total, int numSlices, Work work)
        : total_(total), numSlices_(numSlices), work_(work) {}
    void execute(int threadIndex, int numThreads) override {
        for (int slice = threadIndex; slice < numSlices_; slice += numThreads)
            work_(slice, getBeginIndex(slice, numSlices_, total_),
                  getBeginIndex(slice + 1, numSlices_, total_));
    }

private:
    int const total_;
    int const numSlices_;
    Work work_;
};

/// Deals items 0 to count - 1 out to parts, in their order within each part: a counting sort on the pool.
///
/// partOf    the part of an item, 0 to numParts - 1; called twice for each, concurrently
/// place     place(item, where) puts an item to its place among all, concurrently
/// returns   where each part begins, and the count at the end
template <class PartOf, class Place>
std::vector<int> distribute(koUtil::ThreadPool& pool, int count, int numParts, PartOf partOf,
                            Place place) {
    int const numSlices = pool.numThreads;
    auto const numCounts = static_cast<std::size_t>(numParts);
    std::vector<std::vector<int>> next(static_cast<std::size_t>(numSlices),
                                       std::vector<int>(numCounts));
    SliceAlg counting(count, numSlices, [&](int slice, int begin, int end) {
        int* const counts = next[static_cast<std::size_t>(slice)].data();
        for (int i = begin; i < end; ++i)
            ++counts[partOf(i)];
    });
    pool.run(counting);

    std::vector<int> begins;
    begins.reserve(numCounts + 1);
    int sum = 0;
    for (std::size_t part = 0; part < numCounts; ++part) {
        begins.push_back(sum);
        for (std::vector<int>& counts : next)
            sum += std::exchange(counts[part], sum);
    }
    begins.push_back(count);

    SliceAlg placing(count, numSlices, [&](int slice, int begin, int end) {
        int* const places = next[static_cast<std::size_t>(slice)].data();
        for (int i = begin; i < end; ++i)
            place(i, places[partOf(i)]++);
    });
    pool.run(placing);
    return begins;
}

/// Fills `order` with 0 to count - 1 in the order of a comparison that has a sort key, equals by index. All bits of
/// the key are sorted by radix, so that only vertices above one another in z are left to the comparison. Where NaN
/// makes it inconsistent the order is open and nothing worse.
template <class Compare>
void orderByKey(Compare const& compare, int count, int* order) {
    struct Item {
        std::uint64_t key;
        int index;
    };
    constexpr int parallelSize = 1 << 15;
    constexpr int digitBits = 11;
    constexpr std::uint64_t digitMask = (1u << digitBits) - 1;
    koUtil::ThreadPool& pool = count < parallelSize ? koUtil::ThreadPool::getSingleThreadedPool()
                                                    : koUtil::ThreadPool::get();
    auto const size = static_cast<std::size_t>(count);
    auto items = std::make_unique_for_overwrite<Item[]>(size);
    auto scratch = std::make_unique_for_overwrite<Item[]>(size);

    std::uint64_t varying = 0;
    for (int i = 0; i < count; ++i) {
        items[static_cast<std::size_t>(i)] = {compare.sortKey(i), i};
        varying |= items[static_cast<std::size_t>(i)].key ^ items[0].key;
    }
    for (int shift = 0; shift < 64; shift += digitBits) {
        if ((varying >> shift & digitMask) == 0)
            continue;
        Item const* const from = items.get();
        Item* const to = scratch.get();
        distribute(
            pool, count, 1 << digitBits,
            [from, shift](int i) { return static_cast<int>(from[i].key >> shift & digitMask); },
            [from, to](int i, int where) { to[where] = from[i]; });
        std::swap(items, scratch);
    }

    Item* const sorted = items.get();
    auto const byCompare = [&compare](Item const& a, Item const& b) {
        return compare(a.index, b.index);
    };
    for (int begin = 0, end = 0; begin < count; begin = end) {
        for (end = begin + 1; end < count && sorted[end].key == sorted[begin].key;)
            ++end;
        if (end - begin > 1)
            koUtil::stableSort(sorted + begin, sorted + end, scratch.get() + begin, byCompare);
    }
    for (int i = 0; i < count; ++i)
        order[i] = sorted[i].index;
}

}  // namespace koGeom::detail
