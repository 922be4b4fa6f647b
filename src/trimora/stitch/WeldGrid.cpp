#include "trimora/stitch/detail/WeldGrid.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <emmintrin.h>
#include <limits>
#include <utility>

// Nearly all time goes to waiting for buckets and points that lie anywhere in memory. So places are taken
// some at a time: the buckets of all are asked for, then the points in them, then the places are looked for
// one after the other.

namespace koGeom::detail {

namespace {

/// In tolerances. Narrower cells cost more of them a search, wider ones more points; above 4, so that
/// a box, each side of which rounding moves by a tolerance at most, reaches into two at most.
constexpr double cellWidth = 5.0;
/// Of a cell: keeps the faces of cells away from round coordinates, which are the ones that occur.
constexpr double cellPhase = 0.37;

/// With numbers of cells beyond this a box is a single place: its tolerance is lost in rounding.
constexpr double largestCell = 1e12;
constexpr std::int64_t beyondCells = std::int64_t{1} << 62;

constexpr float largestFloat = std::numeric_limits<float>::max();

/// Points that a search may look at on average, and what all of them may before that counts. A tree takes
/// about as long as so many.
constexpr int looksPerSearch = 64;
constexpr std::int64_t freeLooks = 1 << 16;

/// Places in hand: enough to keep memory busy, few enough to stay in the nearest cache.
constexpr int batchSize = 32;

constexpr int firstBuckets = 1 << 10;

/// Odd numbers without a pattern, one an axis.
constexpr std::uint64_t scatter[3] = {0x9E3779B97F4A7C15u, 0xC2B2AE3D27D4EB4Fu,
                                      0xD6E8FEB86659FD93u};

/// Where cells are narrower than the steps of floats, each float is one. Adding 0 makes one of the two
/// zeros; what is infinite goes with the largest.
std::int64_t cellOf(float coordinate, double cellsPerUnit) {
    float const finite = std::clamp(coordinate, -largestFloat, largestFloat);
    double const cell = static_cast<double>(finite) * cellsPerUnit + cellPhase;
    if (std::abs(cell) < largestCell)
        return static_cast<std::int64_t>(cell);
    return beyondCells + std::bit_cast<std::uint32_t>(finite + 0.0f);
}

std::uint64_t scattered(std::int64_t cell, int axis) {
    return static_cast<std::uint64_t>(cell) * scatter[axis];
}

/// The finalizer of splitmix64, and of its bits the highest.
std::uint32_t bucketOf(std::uint64_t bits, int shift) {
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>((bits ^ (bits >> 31)) >> shift);
}

bool isInside(BoundingBox const& box, MeshVertex const& point) {
    float const* const bounds = box.bounds;
    return bounds[0] <= point.x && point.x <= bounds[3] && bounds[1] <= point.y &&
           point.y <= bounds[4] && bounds[2] <= point.z && point.z <= bounds[5];
}

bool isNumber(MeshVertex const& point) {
    return !std::isnan(point.x) && !std::isnan(point.y) && !std::isnan(point.z);
}

void expect(void const* memory) {
    _mm_prefetch(static_cast<char const*>(memory), _MM_HINT_T0);
}

}  // namespace

WeldGrid::WeldGrid(float tolerance)
    : tolerance_(tolerance),
      cellsPerUnit_(tolerance > 0.0f ? 1.0 / (cellWidth * static_cast<double>(tolerance))
                                     : std::numeric_limits<double>::infinity()),
      shift_(64 - std::countr_zero(static_cast<unsigned>(firstBuckets))),
      heads_(firstBuckets, -1),
      looksLeft_(freeLooks) {}

void WeldGrid::weld(PointFlt const* places, int count, int* numbers) {
    for (int first = 0; first < count; first += batchSize)
        weldFew(places + first, std::min(batchSize, count - first), numbers + first);
}

void WeldGrid::copyTo(MeshVertex* vertices) const {
    for (Kept const& kept : points_)
        *vertices++ = kept.point;
}

void WeldGrid::weldFew(PointFlt const* places, int count, int* numbers) {
    if (points_.size() > heads_.size() && !tree_)
        growBuckets();
    Probe probes[batchSize];
    for (int i = 0; i < count; ++i)
        prepare(places[i], probes[i]);
    for (int i = 0; i < count; ++i)
        expectPoints(probes[i]);
    for (int i = 0; i < count; ++i) {
        numbers[i] = search(probes[i]);
        if (numbers[i] >= 0)
            continue;
        bool const holdsItself = isInside(probes[i].box, {places[i].x, places[i].y, places[i].z});
        numbers[i] = holdsItself ? this->count() : 0;
        keep(places[i]);
    }
}

void WeldGrid::prepare(PointFlt const& place, Probe& probe) const {
    probe.box = BoundingBox(&place.x, tolerance_);
    probe.numBuckets = 0;
    if (!probe.box.isValid())
        return;
    std::uint64_t cells[3][2];  // scattered
    int numCells[3];
    for (int axis = 0; axis < 3; ++axis) {
        std::int64_t const lower = cellOf(probe.box.min(axis), cellsPerUnit_);
        std::int64_t const upper = cellOf(probe.box.max(axis), cellsPerUnit_);
        cells[axis][0] = scattered(lower, axis);
        cells[axis][1] = scattered(upper, axis);
        numCells[axis] = lower == upper ? 1 : 2;
    }
    for (int i = 0; i < numCells[0]; ++i)
        for (int j = 0; j < numCells[1]; ++j)
            for (int k = 0; k < numCells[2]; ++k) {
                std::uint32_t const bucket =
                    bucketOf(cells[0][i] + cells[1][j] + cells[2][k], shift_);
                expect(&heads_[bucket]);
                probe.buckets[probe.numBuckets++] = bucket;
            }
}

void WeldGrid::expectPoints(Probe const& probe) const {
    for (int i = 0; i < probe.numBuckets; ++i)
        if (int const head = heads_[probe.buckets[i]]; head >= 0)
            expect(&points_[static_cast<std::size_t>(head)]);
}

/// The lowest number in the box, or -1.
int WeldGrid::search(Probe const& probe) {
    if (probe.numBuckets == 0)
        return -1;
    if (looksLeft_ < 0 && !tree_)
        growTree();
    if (tree_)
        return tree_->search(&treePoints_.data()->x, probe.box.bounds);

    int lowest = std::numeric_limits<int>::max();
    std::int64_t numLooks = 0;
    for (int i = 0; i < probe.numBuckets; ++i)
        for (int number = heads_[probe.buckets[i]]; number >= 0; ++numLooks) {
            Kept const& kept = points_[static_cast<std::size_t>(number)];
            if (number < lowest && isInside(probe.box, kept.point))
                lowest = number;
            number = kept.next;
        }
    looksLeft_ += looksPerSearch - numLooks;
    return lowest < std::numeric_limits<int>::max() ? lowest : -1;
}

void WeldGrid::keep(PointFlt const& place) {
    int const number = count();
    MeshVertex const point = {place.x, place.y, place.z};
    points_.push_back({point, -1});
    if (tree_) {
        treePoints_.push_back(point);
        tree_->insert(&treePoints_.data()->x, number);
    } else if (isNumber(point)) {
        points_.back().next = std::exchange(headOf(point), number);
    }
}

int& WeldGrid::headOf(MeshVertex const& point) {
    return heads_[bucketOf(scattered(cellOf(point.x, cellsPerUnit_), 0) +
                               scattered(cellOf(point.y, cellsPerUnit_), 1) +
                               scattered(cellOf(point.z, cellsPerUnit_), 2),
                           shift_)];
}

/// Four times as many, so that points that become one take no room, and few steps are taken.
void WeldGrid::growBuckets() {
    heads_.assign(4 * heads_.size(), -1);
    shift_ -= 2;
    int number = 0;
    for (Kept& kept : points_) {
        if (isNumber(kept.point))
            kept.next = std::exchange(headOf(kept.point), number);
        ++number;
    }
}

void WeldGrid::growTree() {
    treePoints_.resize(points_.size());
    copyTo(treePoints_.data());
    tree_ = std::make_unique<KDTree>(count());
    for (int number = 0; number < count(); ++number)
        tree_->insert(&treePoints_.data()->x, number);
}

}  // namespace koGeom::detail
