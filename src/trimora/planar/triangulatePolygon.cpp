#include "trimora/planar/triangulatePolygon.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/Progress.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

/// Dynamic programming over chains: chain (i, j) holds the points i to j, and its best triangulation is a triangle (i, m, j)
/// between the best ones of (i, m) and (m, j), for the best split m.
///
///            m
///          /   \           row i of the table: the chains that start at i, by their end
///    (i, m)     (m, j)     column j: the chains that end at j, by their start
///        /       \         so that a search reads both from one end to the other
///       i ------- j
///
/// Columns are made from left to right and each from its end upward, a few at a time: a row serves all of them while it
/// is in the cache. The order of chains does not matter to the result.
///
/// Two splits at a time go through a test that throws out what cannot win: the weight of a split is never better than that of
/// its two chains, with the triangle's area added. Sums run in the order of the full evaluation, and rounding keeps
/// order, so that the test never throws out a winner. What is left is evaluated in full.
namespace koGeom {

namespace {

constexpr int columnsAtOnce = 4;
constexpr std::int64_t stepsPerReport = 1000;

/// The cosine of a chain whose closing edge no triangle may hold: below all others, so that it never takes part.
constexpr double blockedCosine = -2.0;

/// One value for each chain, row by row.
template <typename T>
class ChainTable {
public:
    explicit ChainTable(int numPoints)
        : numPoints_(numPoints),
          values_(static_cast<std::size_t>(numPoints) * static_cast<std::size_t>(numPoints - 1) /
                      2 +
                  1) {}

    /// To be read at i + 1 to numPoints - 1.
    T* row(int i) { return values_.data() + rowOffset(i); }
    T const* row(int i) const { return values_.data() + rowOffset(i); }

private:
    std::ptrdiff_t rowOffset(std::ptrdiff_t i) const {
        return i * (numPoints_ - 1) - i * (i - 1) / 2 - i;
    }

    std::ptrdiff_t numPoints_;
    ko::vector<T> values_;  // the first one is unused: no row begins before the array
};

/// The chains that end at one point, by their start.
struct Column {
    ko::vector<double> areas;
    ko::vector<double> cosines;
};

/// Weights of chains that share one end, by the other one.
struct Chains {
    double const* areas;
    double const* cosines;
};

struct Best {
    PolygonWeight weight = PolygonWeight::worst;
    int split;
    Vector normal;
};

class PolygonSearch {
public:
    PolygonSearch(ko::vector<Point> const& polygon, BitVector const* forbidden,
                  koUtil::Progress* progress)
        : polygon_(polygon.data()),
          n_(static_cast<int>(polygon.size())),
          forbidden_(forbidden),
          progress_(progress),
          areas_(n_),
          cosines_(n_),
          splits_(n_),
          normals_(n_) {}

    bool run();
    void collect(ko::vector<int>& triangles) const;

private:
    bool isForbidden(int from, int to) const;
    void storeEdge(int i, int j, Column& column);
    void storeChain(int i, int j, Column& column);
    void store(int i, int j, Column& column, Best const& best);
    Best searchSplits(int i, int j, Column const& column) const;
    void trySplit(int i, int m, int j, Column const& column, Best& best) const;
    bool countStep();

    Point const* polygon_;
    int n_;
    BitVector const* forbidden_;
    koUtil::Progress* progress_;
    std::int64_t numSteps_ = 0;
    double numSplits_ = 0.0;

    ko::vector<double> x_, y_, z_;
    ChainTable<double> areas_;
    ChainTable<double> cosines_;
    ChainTable<int> splits_;
    ChainTable<Vector> normals_;  // of the triangle at the closing edge; zero for a degenerate one
};

bool PolygonSearch::run() {
    for (int i = 0; i < n_; ++i) {
        x_.push_back(polygon_[i].x);
        y_.push_back(polygon_[i].y);
        z_.push_back(polygon_[i].z);
    }
    for (int span = 3; span < n_; ++span)
        numSplits_ += static_cast<double>(span - 1) * static_cast<double>(n_ - span);

    Column columns[columnsAtOnce];
    for (Column& column : columns) {
        column.areas.resize(x_.size());
        column.cosines.resize(x_.size());
    }
    for (int first = 1; first < n_; first += columnsAtOnce) {
        int const end = std::min(first + columnsAtOnce, n_);
        for (int i = end - 2; i >= 0; --i)
            for (int j = std::max(first, i + 1); j < end; ++j) {
                if (j == i + 1)
                    storeEdge(i, j, columns[j - first]);
                else
                    storeChain(i, j, columns[j - first]);
                if (j > i + 2 && !countStep())
                    return false;
            }
    }
    return true;
}

/// The first triangles are those of the lower part, then comes the chain's own, then the upper part. Without recursion:
/// a fan is as deep as the polygon is long.
void PolygonSearch::collect(ko::vector<int>& triangles) const {
    struct Chain {
        int i, m, j;
    };
    triangles.reserve(3 * static_cast<std::size_t>(n_ - 2));
    ko::vector<Chain> postponed;
    int i = 0;
    int j = n_ - 1;
    while (true) {
        int m = j;
        while (j - i >= 2) {
            m = splits_.row(i)[j];
            postponed.push_back({i, m, j});
            j = m;
        }
        if (postponed.empty())
            return;
        Chain const chain = postponed.back();
        postponed.pop_back();
        triangles.insert(triangles.end(), {chain.i, chain.m, chain.j});
        i = chain.m;
        j = chain.j;
    }
}

bool PolygonSearch::isForbidden(int from, int to) const {
    if (forbidden_ == nullptr)
        return false;
    std::int64_t const bit = std::int64_t(n_) * from + to;
    return bit < forbidden_->size && forbidden_->isBitSet(static_cast<int>(bit)) != 0;
}

void PolygonSearch::storeEdge(int i, int j, Column& column) {
    Best edge;
    edge.weight = PolygonWeight::zero;
    edge.split = -1;
    store(i, j, column, edge);
}

void PolygonSearch::storeChain(int i, int j, Column& column) {
    store(i, j, column, searchSplits(i, j, column));
}

void PolygonSearch::store(int i, int j, Column& column, Best const& best) {
    // From outside, the closing edge is run from i to j.
    double const cosine = isForbidden(i, j) ? blockedCosine : best.weight.cosine;
    areas_.row(i)[j] = best.weight.area;
    cosines_.row(i)[j] = cosine;
    splits_.row(i)[j] = best.split;
    normals_.row(i)[j] = best.normal;
    column.areas[static_cast<std::size_t>(i)] = best.weight.area;
    column.cosines[static_cast<std::size_t>(i)] = cosine;
}

/// Two splits at a time: which of them may be better than the best one so far.
class SplitFilter {
public:
    SplitFilter(double const* x, double const* y, double const* z, int i, int j)
        : x_(x),
          y_(y),
          z_(z),
          px_(_mm_set1_pd(x[i])),
          py_(_mm_set1_pd(y[i])),
          pz_(_mm_set1_pd(z[i])),
          wx_(_mm_set1_pd(0.5 * (x[i] - x[j]))),
          wy_(_mm_set1_pd(0.5 * (y[i] - y[j]))),
          wz_(_mm_set1_pd(0.5 * (z[i] - z[j]))) {}

    void setBest(PolygonWeight const& weight) {
        bestArea_ = _mm_set1_pd(weight.area);
        bestCosine_ = _mm_set1_pd(weight.cosine);
    }

    /// A bit for each of the splits m and m + 1.
    int test(int m, Chains const& lower, Chains const& upper) const {
        __m128d const cosine =
            _mm_min_pd(_mm_loadu_pd(lower.cosines + m), _mm_loadu_pd(upper.cosines + m));
        __m128d const flatter = _mm_cmpgt_pd(cosine, bestCosine_);
        __m128d const asFlat = _mm_cmpeq_pd(cosine, bestCosine_);
        int const candidates = _mm_movemask_pd(_mm_or_pd(flatter, asFlat));
        if (candidates == 0)
            return 0;

        __m128d const lowerArea = _mm_loadu_pd(lower.areas + m);
        __m128d const upperArea = _mm_loadu_pd(upper.areas + m);
        __m128d const area = _mm_add_pd(_mm_add_pd(triangleAreas(m), lowerArea), upperArea);
        __m128d const smaller = _mm_cmplt_pd(area, bestArea_);
        return _mm_movemask_pd(_mm_or_pd(flatter, _mm_and_pd(asFlat, smaller)));
    }

private:
    /// The operations of the full evaluation, but that one side is halved instead of the product: the same bits, except
    /// where that overflows and no comparison of areas succeeds.
    __m128d triangleAreas(int m) const {
        __m128d const vx = _mm_sub_pd(px_, _mm_loadu_pd(x_ + m));
        __m128d const vy = _mm_sub_pd(py_, _mm_loadu_pd(y_ + m));
        __m128d const vz = _mm_sub_pd(pz_, _mm_loadu_pd(z_ + m));
        __m128d const cx = _mm_sub_pd(_mm_mul_pd(vy, wz_), _mm_mul_pd(vz, wy_));
        __m128d const cy = _mm_sub_pd(_mm_mul_pd(vz, wx_), _mm_mul_pd(vx, wz_));
        __m128d const cz = _mm_sub_pd(_mm_mul_pd(vx, wy_), _mm_mul_pd(vy, wx_));
        __m128d const xy = _mm_add_pd(_mm_mul_pd(cx, cx), _mm_mul_pd(cy, cy));
        return _mm_sqrt_pd(_mm_add_pd(xy, _mm_mul_pd(cz, cz)));
    }

    double const *x_, *y_, *z_;
    __m128d px_, py_, pz_;  // point i
    __m128d wx_, wy_, wz_;  // half the way from j to i
    __m128d bestArea_, bestCosine_;
};

Best PolygonSearch::searchSplits(int i, int j, Column const& column) const {
    Best best;
    best.split = i + 1;
    if (isForbidden(j, i))
        return best;

    Chains const lower{areas_.row(i), cosines_.row(i)};
    Chains const upper{column.areas.data(), column.cosines.data()};
    SplitFilter filter(x_.data(), y_.data(), z_.data(), i, j);
    filter.setBest(best.weight);

    int m = i + 1;
    for (; m + 1 < j; m += 2) {
        int const left = filter.test(m, lower, upper);
        if (left == 0)
            continue;
        if ((left & 1) != 0)
            trySplit(i, m, j, column, best);
        if ((left & 2) != 0)
            trySplit(i, m + 1, j, column, best);
        filter.setBest(best.weight);
    }
    if (m < j)
        trySplit(i, m, j, column, best);
    return best;
}

/// Takes the split if it is better than the best so far.
void PolygonSearch::trySplit(int i, int m, int j, Column const& column, Best& best) const {
    PolygonWeight const lower(areas_.row(i)[m], cosines_.row(i)[m]);
    PolygonWeight const upper(column.areas[static_cast<std::size_t>(m)],
                              column.cosines[static_cast<std::size_t>(m)]);
    Vector const half = 0.5 * cross(polygon_[i] - polygon_[m], polygon_[i] - polygon_[j]);
    PolygonWeight triangle(half.length(), -1.0);
    Vector normal;
    if (!(triangle.area < epsilonTol)) {
        normal = Normal(half);
        triangle.cosine =
            std::min(dot(normal, normals_.row(i)[m]), dot(normal, normals_.row(m)[j]));
    }
    PolygonWeight const sum = triangle + lower + upper;
    if (sum.isBetterThan(best.weight)) {
        best.weight = sum;
        best.split = m;
        best.normal = normal;
    }
}

/// False when the caller's user asked to stop.
bool PolygonSearch::countStep() {
    ++numSteps_;
    if (progress_ == nullptr || numSteps_ % stepsPerReport != 0)
        return true;
    if (progress_->cancelled())
        return false;
    progress_->set(static_cast<double>(numSteps_) / numSplits_);
    return true;
}

}  // namespace

bool triangulatePolygon(ko::vector<Point> const& polygon, ko::vector<int>& triangles,
                        BitVector* forbidden, koUtil::Progress* progress) {
    triangles.clear();
    if (polygon.size() < 3)
        return true;

    PolygonSearch search(polygon, forbidden, progress);
    if (!search.run())
        return false;
    search.collect(triangles);
    return true;
}

}  // namespace koGeom
