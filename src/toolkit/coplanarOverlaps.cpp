// Overlaps of triangles in one plane. The triangles of a voxel are copied side by side with their normals and boxes, and compared each
// with each: on a curved surface the normals differ, on a flat one the boxes do. What is left is asked in double: the plane, and the
// width of what is shared in the directions across all six sides, since two convex figures that have nothing in common are parted by
// a line along a side of one of them.

#include "toolkit/detail/coplanarOverlaps.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::OctreeTris;
using koLinear::Point;
using koLinear::Vector;

constexpr double planeSteps = 4.0;
constexpr double widthSteps = 8.0;
constexpr double leastWidth = 1e-3;  // of the shorter of the longest sides
constexpr double floatSlack = 1e-6;  // of a cosine in floats
constexpr int crowd = 256;           // triangles in a voxel from which a hub is looked for

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

using Corners = std::array<Point, 3>;

Corners cornersOf(CompactMesh const& mesh, int triangle) {
    MeshTriangle const& c = mesh.getTriangles()[triangle];
    return {mesh.getVertices()[c[0]].asPoint(), mesh.getVertices()[c[1]].asPoint(),
            mesh.getVertices()[c[2]].asPoint()};
}

Vector areaVector(Corners const& c) {
    return cross(c[1] - c[0], c[2] - c[0]);
}

double longestSide(Corners const& c) {
    return std::sqrt(
        std::max({distance2(c[0], c[1]), distance2(c[1], c[2]), distance2(c[2], c[0])}));
}

/// Between floats of the size of the largest coordinate.
double floatStep(Corners const& c) {
    double largest = 0.0;
    for (Point const& p : c)
        largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    return largest * static_cast<double>(std::numeric_limits<float>::epsilon());
}

struct Point2d {
    double x;
    double y;
};

/// Along the axis in which the normal is longest.
class Projection {
public:
    Projection(Corners const& reference, Vector const& normal) : origin_(reference[0]) {
        double const parts[3] = {normal.x, normal.y, normal.z};
        for (int k = 1; k < 3; ++k)
            if (std::fabs(parts[k]) > std::fabs(parts[axis_]))
                axis_ = k;
        slopeU_ = parts[(axis_ + 1) % 3] / parts[axis_];
        slopeV_ = parts[(axis_ + 2) % 3] / parts[axis_];
    }

    Point2d operator()(Point const& p) const {
        double const parts[3] = {p.x - origin_.x, p.y - origin_.y, p.z - origin_.z};
        return {parts[(axis_ + 1) % 3], parts[(axis_ + 2) % 3]};
    }
    Point lift(Point2d const& p) const {
        double parts[3];
        parts[axis_] = -slopeU_ * p.x - slopeV_ * p.y;
        parts[(axis_ + 1) % 3] = p.x;
        parts[(axis_ + 2) % 3] = p.y;
        return origin_ + Vector(parts[0], parts[1], parts[2]);
    }
    double stretch() const { return std::sqrt(1.0 + slopeU_ * slopeU_ + slopeV_ * slopeV_); }

private:
    Point origin_;
    int axis_ = 0;
    double slopeU_ = 0.0;
    double slopeV_ = 0.0;
};

/// Counter-clockwise.
using Triangle2d = std::array<Point2d, 3>;

/// Twice the area to the left of a-b; positive counter-clockwise.
double leftOf(Point2d const& a, Point2d const& b, Point2d const& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

Triangle2d projected(Projection const& projection, Corners const& c) {
    Triangle2d flat = {projection(c[0]), projection(c[1]), projection(c[2])};
    if (leftOf(flat[0], flat[1], flat[2]) < 0.0)
        std::swap(flat[1], flat[2]);
    return flat;
}

/// Across the sides of one triangle, the least width of what both cover.
double sharedWidth(Triangle2d const& of, Triangle2d const& other) {
    double least = HUGE_VAL;
    for (std::size_t k = 0; k < 3; ++k) {
        Point2d const& a = of[k];
        Point2d const& b = of[(k + 1) % 3];
        double const length = std::hypot(b.x - a.x, b.y - a.y);
        double const own = leftOf(a, b, of[(k + 2) % 3]);
        double low = HUGE_VAL;
        double high = -HUGE_VAL;
        for (Point2d const& p : other) {
            low = std::min(low, leftOf(a, b, p));
            high = std::max(high, leftOf(a, b, p));
        }
        least = std::min(least, (std::min(own, high) - std::max(0.0, low)) / length);
    }
    return least;
}

/// What is left of the figure to the left of a-b.
std::vector<Point2d> clipped(std::vector<Point2d> const& figure, Point2d const& a,
                             Point2d const& b) {
    std::vector<Point2d> rest;
    for (std::size_t i = 0; i < figure.size(); ++i) {
        Point2d const& p = figure[i];
        Point2d const& q = figure[(i + 1) % figure.size()];
        double const sideP = leftOf(a, b, p);
        double const sideQ = leftOf(a, b, q);
        if (sideP >= 0.0)
            rest.push_back(p);
        if ((sideP > 0.0 && sideQ < 0.0) || (sideP < 0.0 && sideQ > 0.0)) {
            double const t = sideP / (sideP - sideQ);
            rest.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
        }
    }
    return rest;
}

struct Shared {
    Point2d centre;
    double area;
};

Shared sharedPart(Triangle2d const& a, Triangle2d const& b) {
    std::vector<Point2d> figure(a.begin(), a.end());
    for (std::size_t k = 0; k < 3; ++k)
        figure = clipped(figure, b[k], b[(k + 1) % 3]);
    Shared shared{{0.0, 0.0}, 0.0};
    for (Point2d const& p : figure) {
        shared.centre.x += p.x / static_cast<double>(figure.size());
        shared.centre.y += p.y / static_cast<double>(figure.size());
    }
    for (std::size_t i = 2; i < figure.size(); ++i)
        shared.area += 0.5 * leftOf(figure[0], figure[i - 1], figure[i]);
    return shared;
}

bool liesInPlane(Corners const& c, Corners const& of, Vector const& normal, double most) {
    double const length = normal.length();
    return std::all_of(c.begin(), c.end(), [&](Point const& p) {
        return std::fabs(dot(p - of[0], normal)) <= most * length;
    });
}

bool shareVertex(MeshTriangle const& a, MeshTriangle const& b) {
    return std::any_of(a.vertices, a.vertices + 3,
                       [&b](int v) { return v == b[0] || v == b[1] || v == b[2]; });
}

/// The triangles of one voxel.
class VoxelPairs {
public:
    VoxelPairs(CompactMesh const& mesh, OverlapTest const& test) : mesh_(mesh), test_(test) {}

    void find(int const* triangles, int count, std::vector<CoplanarOverlap>& overlaps);

private:
    void moveHubToEnd(int count);
    void compare(std::size_t one, std::size_t begin, std::vector<CoplanarOverlap>& overlaps) const;

    CompactMesh const& mesh_;
    OverlapTest const& test_;
    std::vector<int> members_;
    std::size_t numAsking_ = 0;  // the rest share one vertex, and are only compared with these
    std::vector<OverlapTest::Outline> outlines_;
    std::vector<int> corners_;
};

void VoxelPairs::find(int const* triangles, int count, std::vector<CoplanarOverlap>& overlaps) {
    members_.assign(triangles, triangles + count);
    numAsking_ = members_.size();
    if (count >= crowd)
        moveHubToEnd(count);
    outlines_.clear();
    for (int const t : members_)
        outlines_.push_back(test_.outlineOf(t));
    for (std::size_t i = 0; i < numAsking_; ++i)
        compare(i, i + 1, overlaps);
}

/// The fan of a vertex that more than half of the triangles have goes to the end: two of a fan are none of the pairs looked for, and
/// huge fans have too many of them.
void VoxelPairs::moveHubToEnd(int count) {
    corners_.clear();
    for (int const t : members_) {
        int const* const c = mesh_.getTriangles()[t].vertices;
        corners_.insert(corners_.end(), c, c + 3);
    }
    std::sort(corners_.begin(), corners_.end());
    auto const half = static_cast<std::size_t>(count / 2);
    for (std::size_t i = 0; i < corners_.size(); i += half + 1) {  // none so frequent is missed
        int const vertex = corners_[i];
        auto const range = std::equal_range(corners_.begin(), corners_.end(), vertex);
        if (range.second - range.first <= static_cast<std::ptrdiff_t>(half))
            continue;
        auto const fan =
            std::stable_partition(members_.begin(), members_.end(), [this, vertex](int t) {
                MeshTriangle const& c = mesh_.getTriangles()[t];
                return c[0] != vertex && c[1] != vertex && c[2] != vertex;
            });
        numAsking_ = static_cast<std::size_t>(fan - members_.begin());
        return;
    }
}

void VoxelPairs::compare(std::size_t one, std::size_t begin,
                         std::vector<CoplanarOverlap>& overlaps) const {
    OverlapTest::Outline const own = outlines_[one];
    int const a = members_[one];
    for (std::size_t i = begin; i < outlines_.size(); ++i) {
        int const b = members_[i];
        if (own.mayOverlap(outlines_[i]) &&
            !shareVertex(mesh_.getTriangles()[a], mesh_.getTriangles()[b]))
            if (auto const overlap = test_.find(a, b))
                overlaps.push_back(*overlap);
    }
}

class OverlapAlg : public koUtil::ThreadedChunkAlg {
public:
    OverlapAlg(CompactMesh const& mesh, OctreeTris const& octreeTris, OverlapTest const& test)
        : mesh_(mesh), octreeTris_(octreeTris), test_(test) {}

    void initialize(int numThreads) override { slots_.resize(at(numThreads)); }

    void executeChunk(int chunk, int thread) override {
        if (cancelled(thread))
            return;
        VoxelPairs pairs(mesh_, test_);
        int const numVoxels = octreeTris_.getData().getNumSets();
        int const end = getBeginIndex(chunk + 1, numChunks, numVoxels);
        for (int voxel = getBeginIndex(chunk, numChunks, numVoxels); voxel < end; ++voxel)
            pairs.find(octreeTris_.firstTri(voxel), octreeTris_.numTris(voxel), slots_[at(thread)]);
        updateProgress(thread, static_cast<double>(chunk) / static_cast<double>(numChunks));
    }

    std::vector<CoplanarOverlap> all() const {
        std::vector<CoplanarOverlap> overlaps;
        for (auto const& slot : slots_)
            overlaps.insert(overlaps.end(), slot.begin(), slot.end());
        return overlaps;
    }

private:
    CompactMesh const& mesh_;
    OctreeTris const& octreeTris_;
    OverlapTest const& test_;
    std::vector<std::vector<CoplanarOverlap>> slots_;  // one a thread
};

}  // namespace

OverlapTest::OverlapTest(CompactMesh const& mesh, std::vector<char> const& isFlat) : mesh_(mesh) {
    outlines_.resize(at(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Outline& outline = outlines_[at(t)];
        Corners const c = cornersOf(mesh, t);
        if (isFlat[at(t)] != 0) {
            std::fill(outline.normal, outline.normal + 3, 0.0f);
            outline.slant = -1.0f;
            std::fill(outline.low, outline.low + 3, std::numeric_limits<float>::infinity());
            std::fill(outline.high, outline.high + 3, -std::numeric_limits<float>::infinity());
            continue;
        }
        double const margin = planeSteps * floatStep(c);
        Vector const normal = areaVector(c);
        double const length = normal.length();
        double const sine = 2.0 * margin / (length / longestSide(c));
        outline.slant = static_cast<float>(std::min(2.0, sine * sine + floatSlack));
        double const parts[3][4] = {{normal.x, c[0].x, c[1].x, c[2].x},
                                    {normal.y, c[0].y, c[1].y, c[2].y},
                                    {normal.z, c[0].z, c[1].z, c[2].z}};
        for (std::size_t k = 0; k < 3; ++k) {
            outline.normal[k] = static_cast<float>(parts[k][0] / length);
            auto const [low, high] = std::minmax({parts[k][1], parts[k][2], parts[k][3]});
            outline.low[k] = static_cast<float>(low - margin);
            outline.high[k] = static_cast<float>(high + margin);
        }
    }
}

std::optional<CoplanarOverlap> OverlapTest::find(int a, int b) const {
    auto const [low, high] = std::minmax({a, b});
    Corners const p = cornersOf(mesh_, low);
    Corners const q = cornersOf(mesh_, high);
    double const step = std::max(floatStep(p), floatStep(q));
    Vector const normalP = areaVector(p);
    Vector const normalQ = areaVector(q);
    bool const isOnP = liesInPlane(q, p, normalP, planeSteps * step);
    if (!isOnP && !liesInPlane(p, q, normalQ, planeSteps * step))
        return std::nullopt;
    Projection const projection(isOnP ? p : q, isOnP ? normalP : normalQ);
    Triangle2d const flatP = projected(projection, p);
    Triangle2d const flatQ = projected(projection, q);
    double const least =
        std::max(widthSteps * step, leastWidth * std::min(longestSide(p), longestSide(q)));
    if (!(sharedWidth(flatP, flatQ) > least && sharedWidth(flatQ, flatP) > least))
        return std::nullopt;
    Shared const shared = sharedPart(flatP, flatQ);
    return CoplanarOverlap{low, high, projection.lift(shared.centre),
                           shared.area * projection.stretch()};
}

std::vector<CoplanarOverlap> findCoplanarOverlaps(CompactMesh const& mesh,
                                                  OctreeTris const& octreeTris,
                                                  OverlapTest const& test,
                                                  koUtil::Progress& progress) {
    OverlapAlg alg(mesh, octreeTris, test);
    alg.setProgress(&progress);
    koUtil::ThreadPool::get().run(alg);
    std::vector<CoplanarOverlap> overlaps = alg.all();
    sortOverlaps(overlaps);
    return overlaps;
}

void sortOverlaps(std::vector<CoplanarOverlap>& overlaps) {
    std::sort(overlaps.begin(), overlaps.end(),
              [](CoplanarOverlap const& a, CoplanarOverlap const& b) {
                  return a.other != b.other ? a.other < b.other : a.triangle < b.triangle;
              });
    overlaps.erase(std::unique(overlaps.begin(), overlaps.end(),
                               [](CoplanarOverlap const& a, CoplanarOverlap const& b) {
                                   return a.other == b.other && a.triangle == b.triangle;
                               }),
                   overlaps.end());
}

}  // namespace trimora
