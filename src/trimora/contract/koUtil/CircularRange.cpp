#include "trimora/contract/koUtil/CircularRange.h"

#include <algorithm>
#include <cstddef>

// All relations are worked out on offsets: the ring is turned so that this range starts at 0 and
// runs to size() - 1, and the other one starts at `offset`.

namespace koUtil {

namespace {

// The way from one place of the ring to another, walking upward: 0 to ringSize - 1.
int stepsBetween(int from, int to, int ringSize) {
    return to >= from ? to - from : to - from + ringSize;
}

int wrapped(long long index, int ringSize) {
    long long const remainder = index % ringSize;
    return static_cast<int>(remainder < 0 ? remainder + ringSize : remainder);
}

// `size` places of the ring from `start` on.
CircularRange rangeOf(int start, int size, int ringSize) {
    if (size >= ringSize)
        return {0, ringSize - 1, ringSize};
    return {start, wrapped(static_cast<long long>(start) + size - 1, ringSize), ringSize};
}

// What is left of a range when another one is taken away: up to two pieces, in walking order.
void appendDifference(CircularRange const& range, CircularRange const& taken,
                      ko::vector<CircularRange>& pieces) {
    int const ringSize = range.ringSize;
    if (ringSize != taken.ringSize) {
        pieces.push_back(range);
        return;
    }
    if (range.isFull() && !taken.isFull()) {  // one piece, also when it runs through 0
        pieces.push_back(
            rangeOf(wrapped(taken.end + 1LL, ringSize), ringSize - taken.size(), ringSize));
        return;
    }
    int const size = range.size();
    int const offset = stepsBetween(range.start, taken.start, ringSize);
    // Where the taken range reaches, counted from our start; beyond the ring it takes our
    // beginning.
    int const reach = offset - ringSize + taken.size();
    int const first = std::max(reach, 0);
    int const firstEnd = std::min(offset, size);
    if (firstEnd > first)
        pieces.push_back(rangeOf(wrapped(static_cast<long long>(range.start) + first, ringSize),
                                 firstEnd - first, ringSize));
    long long const second = static_cast<long long>(reach) + ringSize;
    if (second < size)
        pieces.push_back(rangeOf(wrapped(range.start + second, ringSize),
                                 size - static_cast<int>(second), ringSize));
}

}  // namespace

CircularRange::CircularRange(int begin, int end_, int size)
    : start(wrapped(begin, std::max(size, 1))),
      end(wrapped(end_, std::max(size, 1))),
      ringSize(std::max(size, 1)) {}

bool CircularRange::contains(int index) const {
    return index >= 0 && index < ringSize && stepsBetween(start, index, ringSize) < size();
}

bool CircularRange::contains(CircularRange const& other) const {
    if (ringSize != other.ringSize)
        return false;
    int const offset = stepsBetween(start, other.start, ringSize);
    return isFull() || other.size() <= size() - offset;
}

bool CircularRange::intersect(CircularRange const& other) {
    if (ringSize != other.ringSize)
        return false;
    if (other.isFull())
        return true;
    if (isFull()) {
        *this = other;
        return true;
    }
    int const offset = stepsBetween(start, other.start, ringSize);
    int const reach = offset - ringSize + other.size();
    if (reach > 0) {  // the other range runs through our start
        *this = rangeOf(start, std::min(reach, size()), ringSize);
        return true;
    }
    if (offset >= size())
        return false;
    *this = rangeOf(other.start, std::min(other.size(), size() - offset), ringSize);
    return true;
}

bool CircularRange::merge(CircularRange const& other) {
    if (ringSize != other.ringSize)
        return false;
    int const offset = stepsBetween(start, other.start, ringSize);
    if (offset <= size()) {  // the other one starts in this range or right behind it
        int const rest = std::max(size() - offset, other.size());
        *this = rangeOf(start, rest >= ringSize - offset ? ringSize : offset + rest, ringSize);
        return true;
    }
    int const back = ringSize - offset;
    if (back > other.size())
        return false;
    *this = rangeOf(other.start, std::max(back + size(), other.size()), ringSize);
    return true;
}

CircularRange CircularRange::firstHalf() const {
    return rangeOf(start, size() - size() / 2, ringSize);
}

CircularRange CircularRange::secondHalf() const {
    int const count = std::max(size() / 2, 1);
    return rangeOf(wrapped(static_cast<long long>(end) - count + 1, ringSize), count, ringSize);
}

void merge(ko::vector<CircularRange>& ranges, CircularRange const& range) {
    CircularRange joined = range;
    std::size_t place = ranges.size();
    // A range that has grown may reach others that it did not before, so look again until none
    // does.
    for (bool grown = true; grown;) {
        grown = false;
        for (std::size_t i = 0; i < ranges.size();) {
            if (!joined.merge(ranges[i])) {
                ++i;
                continue;
            }
            ranges.erase(ranges.begin() + static_cast<std::ptrdiff_t>(i));
            place = std::min(place, i);
            grown = true;
        }
    }
    place = std::min(place, ranges.size());
    ranges.insert(ranges.begin() + static_cast<std::ptrdiff_t>(place), joined);
}

void subtract(ko::vector<CircularRange>& ranges, CircularRange const& range) {
    ko::vector<CircularRange> pieces;
    for (CircularRange const& one : ranges)
        appendDifference(one, range, pieces);
    ranges.swap(pieces);
}

}  // namespace koUtil
