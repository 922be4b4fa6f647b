// Rays through the octree. The walk goes front to back, octant by octant, which is no sort by
// distance: in nearest-hit mode a voxel is passed over only when the ray enters it, widened, beyond
// the best hit. A triangle is listed in every voxel that it touches, so what a skipped voxel holds
// in front of the best hit is met in another one, as long as the tree holds the mesh; else nothing
// is passed over. The widening covers the rounding of the box test and of the triangle test: it is
// made in space, since a grazing ray turns a small distance into a large step of its parameter.

#include "trimora/spatial/RayTracer.h"

#include "trimora/connectivity/finiteBounds.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/meshLongestEdge.h"
#include "trimora/spatial/detail/OctreeRayFilter.h"
#include "trimora/spatial/detail/TriangleRayFilter.h"
#include "trimora/spatial/detail/rayTriangle.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace koGeom {

namespace {

constexpr float largestFloat = std::numeric_limits<float>::max();

/// From a float of this size to the next one up; infinite where there is none, and for NaN.
double floatStep(double size) {
    float const narrow = static_cast<float>(size);
    float const next = std::nextafter(narrow, std::numeric_limits<float>::infinity());
    double const step = static_cast<double>(next) - static_cast<double>(narrow);
    return step > 0.0 ? step : std::numeric_limits<double>::infinity();
}

/// How far the boxes are widened, in space.
///
/// By 8 float steps of the largest coordinate, for what is rounded to floats. And by how far a hit
/// can lie beside its triangle, or its parameter be off: weights and parameter are sums of products
/// in doubles, of the origin's distance, the direction and two edges, over a determinant that may be
/// as small as its tolerance. That part is nothing on fine meshes; on triangles of thousands of
/// units it grows to the size of the tree, and nothing is passed over.
double widening(Ray const& ray, double largest, double longestEdge) {
    double const product = ray.dir.length() * largest * longestEdge * longestEdge;
    return 8.0 * floatStep(largest) + 0x1p-45 / rayDeterminantTolerance * product;
}

/// As OctreeRayFilter, and leaves out what the ray enters beyond its best hit.
class NearestFilter {
public:
    /// An infinite widening leaves nothing out.
    NearestFilter(Ray const& ray, double widening)
        : ray_(ray),
          passing_(ray),
          originXY_(_mm_setr_pd(ray.origin.x, ray.origin.y)),
          originZ_(_mm_set1_pd(ray.origin.z)),
          inverseXY_(_mm_setr_pd(1.0 / ray.dir.x, 1.0 / ray.dir.y)),
          inverseZ_(_mm_set1_pd(1.0 / ray.dir.z)),
          towardsXY_(towardsOrigin(inverseXY_, widening)),
          towardsZ_(towardsOrigin(inverseZ_, widening)),
          backward_(lanesBelow0(inverseXY_, inverseZ_)) {}

    bool passes(OctreeCell const& cell) const { return passing_.passes(cell) && !isBeyond(cell); }

    unsigned children(OctreeSplit const& split) const {
        if (hasHit() && isBeyondHit(split.lower, split.upper))
            return 0;
        unsigned const passing = passing_.children(split);
        if (!hasHit() || passing == 0)
            return passing;
        // The farther half of an axis is entered through the cut, the nearer one where the node is.
        int const farBeyond = lanesBeyondHit(split.cut);
        return passing & OctreeSplit::childrenInHalves(7 & ~(farBeyond & backward_),
                                                       7 & ~(farBeyond & ~backward_));
    }

    bool isBeyond(OctreeCell const& cell) const {
        return hasHit() && isBeyondHit(cell.lower, cell.upper);
    }

private:
    static __m128d towardsOrigin(__m128d inverse, double widening) {
        __m128d const isBackward = _mm_cmplt_pd(inverse, _mm_setzero_pd());
        return _mm_or_pd(_mm_and_pd(isBackward, _mm_set1_pd(widening)),
                         _mm_andnot_pd(isBackward, _mm_set1_pd(-widening)));
    }
    static int lanesBelow0(__m128d xy, __m128d z) {
        return _mm_movemask_pd(_mm_cmplt_pd(xy, _mm_setzero_pd())) |
               (_mm_movemask_pd(_mm_cmplt_pd(z, _mm_setzero_pd())) & 1) << 2;
    }

    bool hasHit() const { return ray_.hitParam < static_cast<double>(largestFloat); }

    bool isBeyondHit(__m128 lower, __m128 upper) const {
        return (lanesBeyondHit(lower) & ~backward_) != 0 ||
               (lanesBeyondHit(upper) & backward_) != 0;
    }

    /// Axes, as bits, on which the ray meets a plane, moved towards its origin by the widening,
    /// beyond the best hit. NaN is not beyond.
    int lanesBeyondHit(__m128 planes) const {
        __m128d const hit = _mm_set1_pd(ray_.hitParam);
        __m128d const xy = _mm_add_pd(_mm_cvtps_pd(planes), towardsXY_);
        __m128d const z = _mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(planes, planes)), towardsZ_);
        __m128d const atXY = _mm_mul_pd(_mm_sub_pd(xy, originXY_), inverseXY_);
        __m128d const atZ = _mm_mul_pd(_mm_sub_pd(z, originZ_), inverseZ_);
        return _mm_movemask_pd(_mm_cmpgt_pd(atXY, hit)) |
               (_mm_movemask_pd(_mm_cmpgt_pd(atZ, hit)) & 1) << 2;
    }

    Ray const& ray_;
    detail::OctreeRayFilter passing_;
    __m128d originXY_;
    __m128d originZ_;
    __m128d inverseXY_;
    __m128d inverseZ_;
    __m128d towardsXY_;
    __m128d towardsZ_;
    int backward_;
};

struct EveryTriangle {
    bool mayHit(int) const { return true; }
    void prefetch(int const*, int) const {}
};

}  // namespace

RayTracer::RayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
    : walk_(octree),
      visited_(mesh != nullptr ? mesh->getNumTriangles() : 0),
      octreeTris_(&octreeTris),
      mesh_(mesh),
      vertices_(mesh != nullptr ? mesh->getVerticesRaw() : nullptr),
      triangles_(mesh != nullptr ? mesh->getTrianglesRaw() : nullptr),
      largest_(std::numeric_limits<double>::infinity()),
      nearestDist_(static_cast<double>(largestFloat)) {
    assert(mesh == nullptr || detail::isTableOf(octreeTris, octree, *mesh));
    BoundingBox const box = octree.getRoot().box;
    if (mesh != nullptr && holds(box, finiteBounds(*mesh)))
        largest_ = largestCoordinate(box);
}

void RayTracer::setFindNearestHit(bool findNearestHit) {
    findNearestHit_ = findNearestHit;
    if (findNearestHit && longestEdge_ < 0.0)
        longestEdge_ = mesh_ != nullptr ? meshLongestEdge(*mesh_) : 0.0;
}

bool RayTracer::intersect(PointFlt const& origin, Vector const& dir) {
    if (visited_.size() == 0)
        return false;
    Ray const ray(origin, dir);
    nearestDist_ = static_cast<double>(largestFloat);
    double largest = largest_;
    for (float const coordinate : {origin.x, origin.y, origin.z})
        largest = std::max(largest, std::abs(static_cast<double>(coordinate)));
    bool const hit = findNearestHit_ ? walkNearest(ray, largest) : walkAny(ray, largest);
    visited_.nextQuery();
    return hit;
}

bool RayTracer::walkNearest(Ray const& ray, double largest) {
    detail::TriangleRayFilter const triangles(vertices_, triangles_, ray, largest);
    NearestFilter const nodes(ray, widening(ray, largest, longestEdge_));
    bool hit = false;
    for (walk_.start(nodes, ray.direction()); walk_.valid(); walk_.next(nodes)) {
        OctreeCell const& voxel = walk_.top();
        if (!nodes.isBeyond(voxel) && testVoxel(ray, voxel.node->voxelIndex, triangles))
            hit = true;
    }
    return hit;
}

bool RayTracer::walkAny(Ray const& ray, double largest) {
    detail::TriangleRayFilter const triangles(vertices_, triangles_, ray, largest);
    detail::OctreeRayFilter const nodes(ray);
    for (walk_.start(nodes, ray.direction()); walk_.valid(); walk_.next(nodes)) {
        if (testVoxel(ray, walk_.top().node->voxelIndex, triangles))
            return true;
    }
    return false;
}

bool RayTracer::intersectVoxel(Ray const& ray, int voxel) {
    return testVoxel(ray, voxel, EveryTriangle());
}

/// A triangle that the filter leaves out is not marked: it would be left out again.
template <class Filter>
bool RayTracer::testVoxel(Ray const& ray, int voxel, Filter const& filter) {
    int const numTris = octreeTris_->numTris(voxel);
    int const* const tris = octreeTris_->firstTri(voxel);
    filter.prefetch(tris, numTris);
    bool isNearer = false;
    for (int i = 0; i < numTris; ++i) {
        if (!filter.mayHit(tris[i]) || !visited_.meet(tris[i]) || !testTriangle(ray, tris[i]))
            continue;
        if (!findNearestHit_)
            return true;
        if (nearestDist_ > ray.hitParam) {
            nearestDist_ = ray.hitParam;
            isNearer = true;
        }
    }
    return isNearer;
}

bool RayTracer::testTriangle(Ray const& ray, int triangle) const {
    int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
    double t = 0.0;
    double u = 0.0;
    double v = 0.0;
    bool const hit =
        detail::rayTriangle(&ray.dir.x, &ray.origin.x, positionOf(corners[0]),
                            positionOf(corners[1]), positionOf(corners[2]), false, t, u, v);
    if (!hit || !(t > static_cast<double>(epsilonTolFlt)))
        return false;
    if (t < ray.hitParam) {
        ray.hitParam = t;
        ray.hitBaryU = u;
        ray.hitBaryV = v;
    }
    return true;
}

}  // namespace koGeom
