#include "trimora/planar/convexHull2d.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koUtil/SortKeys.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

/// Graham's scan: the points in the order of their angles round the lowest one, then one pass that drops what does not turn left.
///
/// The order is that of a predicate on cross products. Sorting by it alone takes most of the time, so the points are
/// sorted by radix first, on 33 bits of a number that rises with the angle; the predicate is asked only where
/// these numbers are neighbours. Where they are not, its answer is known (decision 0103).
namespace koGeom {

namespace {

/// 1 when the way from a to b leads counterclockwise round c, -1 when clockwise, 0 when all three
/// lie on a line. Both products are rounded before they are compared, so that exchanging a and b
/// turns the sign exactly.
int orient(Point2 const& c, Point2 const& a, Point2 const& b) {
    double const left = (a.x - c.x) * (b.y - c.y);
    double const right = (a.y - c.y) * (b.x - c.x);
    return (left > right) - (left < right);
}

/// The lowest point, of equally low ones the rightmost, of those the first.
int lowestPoint(ko::vector<Point2> const& points) {
    std::size_t lowest = 0;
    for (std::size_t i = 1; i < points.size(); ++i) {
        Point2 const& p = points[i];
        Point2 const& q = points[lowest];
        if (p.y < q.y || (p.y == q.y && p.x > q.x))
            lowest = i;
    }
    return static_cast<int>(lowest);
}

class HullAlg {
public:
    explicit HullAlg(ko::vector<Point2> const& points)
        : points_(points.data()),
          count_(static_cast<int>(points.size())),
          pivotIndex_(lowestPoint(points)),
          pivot_(points_[pivotIndex_]),
          items_(points.size()),
          scratch_(points.size()) {}

    void run(ko::vector<int>& hull) {
        bool const hasAngles = measureAngles();
        packItems(hasAngles);
        sortByAngle(hasAngles);
        scan(hull);
    }

private:
    // Keys are whole numbers of 33 bits, what a packed item holds.
    static constexpr double highestKey = 0x1p33 - 1.0;
    // Of the largest slope. Slopes are exact to 2^-50 of it, and keys must not tell apart what differs by little more.
    static constexpr double mostKeys = 0x1p44;
    // Products of lengths within these bounds neither overflow nor lose digits to underflow.
    static constexpr double shortest = 0x1p-500;
    static constexpr double longest = 0x1p500;

    static bool isSafe(double length) {
        double const size = std::abs(length);
        return (size >= shortest && size <= longest) || size == 0.0;
    }

    bool measureAngles();
    void packItems(bool hasAngles);
    void sortByAngle(bool hasAngles);
    int sortRun(int begin, int end, int numKept);
    bool comesBefore(int a, int b);
    void scan(ko::vector<int>& hull) const;

    Point2 const* points_;
    int count_;
    int pivotIndex_;
    Point2 pivot_;
    double lowestSlope_ = 2.0;  // the slopes of all points but those at the pivot's place
    double highestSlope_ = -2.0;
    ko::vector<std::uint64_t> items_;    // a key above a point's number
    ko::vector<std::uint64_t> scratch_;  // slopes first, then room for the sort
    ko::vector<bool> isSkipped_;         // by the sort: a farther point lies on the same ray
    std::uint64_t* sorted_ = nullptr;    // in items_ or scratch_
    int numSorted_ = 0;
};

/// Computes dx / (|dx| + dy) of the way from the pivot to each point, which falls from 1 to -1 as the
/// angle rises from 0 to pi. Returns false when a length is out of bounds.
bool HullAlg::measureAngles() {
    bool areSafe = true;
    double lowest = lowestSlope_;
    double highest = highestSlope_;
    for (int i = 0; i < count_; ++i) {
        double const dx = points_[i].x - pivot_.x;
        double const dy = points_[i].y - pivot_.y;
        double const slope = dx / (std::abs(dx) + dy);  // NaN at the pivot's place
        areSafe &= isSafe(dx);
        areSafe &= isSafe(dy);
        lowest = slope < lowest ? slope : lowest;
        highest = slope > highest ? slope : highest;
        scratch_[static_cast<std::size_t>(i)] = std::bit_cast<std::uint64_t>(slope);
    }
    lowestSlope_ = lowest;
    highestSlope_ = highest;
    return areSafe;
}

/// Writes the item of each point that is not at the pivot's place. Without angles all keys are 0.
void HullAlg::packItems(bool hasAngles) {
    double const span = highestSlope_ - lowestSlope_;
    double const steepest = std::max(std::abs(highestSlope_), std::abs(lowestSlope_));
    // All on one ray: equal keys, and no infinite scale, which straight above the pivot would make NaN of them.
    double const scale = span > 0.0 ? std::min(highestKey / span, mostKeys / steepest) : 0.0;
    int numItems = 0;
    for (int i = 0; i < count_; ++i) {
        bool const isPivot = points_[i] == pivot_ || i == pivotIndex_;
        std::uint64_t key = 0;
        if (hasAngles && !isPivot) {
            double const slope = std::bit_cast<double>(scratch_[static_cast<std::size_t>(i)]);
            key = static_cast<std::uint64_t>(
                static_cast<std::int64_t>((highestSlope_ - slope) * scale));
        }
        items_[static_cast<std::size_t>(numItems)] =
            key << koUtil::PackedKeys::indexBits | static_cast<std::uint32_t>(i);
        numItems += !isPivot;
    }
    numSorted_ = numItems;
}

/// Sorts by keys, then each run of neighbouring keys by the predicate, and drops what that skips.
void HullAlg::sortByAngle(bool hasAngles) {
    sorted_ = items_.data();
    if (hasAngles) {
        koUtil::PackedKeys const keys(0, static_cast<std::uint64_t>(highestKey), 1);
        sorted_ = keys.sort(items_.data(), scratch_.data(), numSorted_);
    }
    auto const keyAt = [this](int place) {
        return sorted_[place] >> koUtil::PackedKeys::indexBits;
    };
    isSkipped_.resize(static_cast<std::size_t>(count_));
    int numKept = 0;
    for (int begin = 0, end = 0; begin < numSorted_; begin = end) {
        for (end = begin + 1; end < numSorted_ && keyAt(end) - keyAt(end - 1) <= 1;)
            ++end;
        numKept = sortRun(begin, end, numKept);
    }
    numSorted_ = numKept;
}

/// Sorts one run and moves what is left of it down to the place numKept; returns the next place.
/// The predicate skips points on the way, and rounding makes it inconsistent: this takes a merge sort.
int HullAlg::sortRun(int begin, int end, int numKept) {
    if (end - begin == 1) {
        sorted_[numKept] = sorted_[begin];
        return numKept + 1;
    }
    std::uint64_t* const other = sorted_ == items_.data() ? scratch_.data() : items_.data();
    koUtil::stableSort(
        sorted_ + begin, sorted_ + end, other + begin, [this](std::uint64_t a, std::uint64_t b) {
            return comesBefore(koUtil::PackedKeys::indexOf(a), koUtil::PackedKeys::indexOf(b));
        });
    for (int place = begin; place < end; ++place) {
        int const index = koUtil::PackedKeys::indexOf(sorted_[place]);
        sorted_[numKept] = sorted_[place];
        numKept += !isSkipped_[static_cast<std::size_t>(index)];
    }
    return numKept;
}

/// By angle, then by distance. Of two points on one ray the nearer one is skipped, of two in one place that
/// with the smaller number.
bool HullAlg::comesBefore(int a, int b) {
    if (a == b)
        return false;
    int const turn = orient(pivot_, points_[a], points_[b]);
    if (turn != 0)
        return turn > 0;
    double const distanceA = distance2(pivot_, points_[a]);
    double const distanceB = distance2(pivot_, points_[b]);
    bool const isFarther = distanceB > distanceA;
    bool const skipsB = !isFarther && (distanceA > distanceB || a > b);
    isSkipped_[static_cast<std::size_t>(skipsB ? b : a)] = true;
    return isFarther;
}

/// Keeps a chain that turns left at each of its points. Its last two points stay at hand.
void HullAlg::scan(ko::vector<int>& hull) const {
    constexpr int ahead = 24;  // the points lie anywhere in memory
    hull.resize(static_cast<std::size_t>(numSorted_) + 1);
    int* const chain = hull.data();
    int length = 1;
    chain[0] = pivotIndex_;
    Point2 last = pivot_;
    Point2 secondLast = pivot_;
    for (int place = 0; place < numSorted_; ++place) {
        std::uint64_t const fetched = sorted_[std::min(place + ahead, numSorted_ - 1)];
        __builtin_prefetch(points_ + koUtil::PackedKeys::indexOf(fetched));
        int const index = koUtil::PackedKeys::indexOf(sorted_[place]);
        Point2 const p = points_[index];
        while (length > 1 && orient(p, secondLast, last) != 1) {
            --length;
            last = secondLast;
            secondLast = points_[chain[std::max(length - 2, 0)]];
        }
        chain[length++] = index;
        secondLast = last;
        last = p;
    }
    hull.resize(static_cast<std::size_t>(length));
}

template <typename AnyPolyline>
bool hullOfVertices(ko::vector<AnyPolyline const*> const& polylines, ko::vector<Point>& hull) {
    ko::vector<Point2> points;
    for (AnyPolyline const* const polyline : polylines) {
        int const numVertices = polyline != nullptr ? polyline->getNumVertices() : 0;
        for (int i = 0; i < numVertices; ++i)
            points.emplace_back(polyline->getVertex(i).x, polyline->getVertex(i).y);
    }
    ko::vector<int> corners;
    if (!convexHull2d(points, corners))
        return false;
    hull.clear();
    hull.reserve(corners.size());
    for (int const corner : corners)
        hull.emplace_back(points[static_cast<std::size_t>(corner)]);
    return true;
}

}  // namespace

bool convexHull2d(ko::vector<Point2> const& points, ko::vector<int>& hull) {
    hull.clear();
    if (points.size() < 3) {
        hull.resize(points.size());
        std::iota(hull.begin(), hull.end(), 0);
        return true;
    }
    HullAlg alg(points);
    alg.run(hull);
    return hull.size() > 1;
}

bool convexHull2d(ko::vector<Point2> const& points, ko::vector<Point2>& hull) {
    ko::vector<int> corners;
    if (!convexHull2d(points, corners))
        return false;
    ko::vector<Point2> positions;
    positions.reserve(corners.size());
    for (int const corner : corners)
        positions.push_back(points[static_cast<std::size_t>(corner)]);
    hull.swap(positions);
    return true;
}

bool convexHull2d(ko::vector<Polyline const*> const& polylines, ko::vector<Point>& hull) {
    return hullOfVertices(polylines, hull);
}

bool convexHull2d(ko::vector<Polyline2d const*> const& polylines, ko::vector<Point>& hull) {
    return hullOfVertices(polylines, hull);
}

}  // namespace koGeom
