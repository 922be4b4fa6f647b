// Rays through the octree. The walk goes front to back, octant by octant, which is no sort by distance: in nearest-hit mode a voxel is
// passed over only when the ray enters it, widened, beyond the best hit. A triangle is listed in every voxel that it touches, so what a
// skipped voxel holds in front of the best hit is met in another one. The widening covers the rounding of the box test and of
// the triangle test: it is made in space, since a grazing ray turns a small distance into a large step of its parameter.

#include "trimora/spatial/RayTracer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/detail/rayTriangle.h"

namespace koGeom {

namespace {

constexpr float largestFloat = std::numeric_limits<float>::max();

// One ray against the planes of a node: where it meets the three planes of each axis serves all eight children.
class SlabFilter {
  public:
    explicit SlabFilter(Ray const& ray) : ray_(ray), origin_{ray.origin.x, ray.origin.y, ray.origin.z} {
        for (int axis = 0; axis < 3; ++axis)
            backward_[axis] = ray.slabIndex[2 * axis] > 2;
    }

    bool passes(BoundingBox const& box) const { return ray_.intersects(box, 0.0f, largestFloat); }

    unsigned children(OctreeSplit const& split) const {
        float slabs[3][2][2];  // axis, lower or upper half, near and far plane
        for (int axis = 0; axis < 3; ++axis) {
            float const low = parameter(split.lower[axis], axis);
            float const cut = parameter(split.cut[axis], axis);
            float const high = parameter(split.upper[axis], axis);
            bool const backward = backward_[axis];
            slabs[axis][0][0] = backward ? cut : low;
            slabs[axis][0][1] = backward ? low : cut;
            slabs[axis][1][0] = backward ? high : cut;
            slabs[axis][1][1] = backward ? cut : high;
        }
        unsigned passing = 0;
        for (unsigned child = 0; child < 8; ++child) {
            bool const passes = Ray::slabsOverlap(slabs[0][child & 1], slabs[1][child >> 1 & 1],
                                                  slabs[2][child >> 2], 0.0f, largestFloat);
            passing |= static_cast<unsigned>(passes) << child;
        }
        return passing;
    }

  private:
    float parameter(float plane, int axis) const { return (plane - origin_[axis]) * ray_.invDir[axis]; }

    Ray const& ray_;
    float origin_[3];
    bool backward_[3];
};

// As SlabFilter, and leaves out what the ray enters beyond its best hit.
class NearestFilter {
  public:
    NearestFilter(Ray const& ray, BoundingBox const& rootBox)
        : ray_(ray), slabs_(ray), origin_{ray.origin.x, ray.origin.y, ray.origin.z},
          inverse_{1.0 / ray.dir.x, 1.0 / ray.dir.y, 1.0 / ray.dir.z} {
        float largest = 0.0f;
        for (float const bound : rootBox.bounds)
            largest = std::max(largest, std::abs(bound));
        for (double const coordinate : origin_)
            largest = std::max(largest, static_cast<float>(std::abs(coordinate)));
        double const step = static_cast<double>(std::nextafter(largest, largestFloat)) - static_cast<double>(largest);
        widening_ = step > 0.0 ? 8.0 * step : std::numeric_limits<double>::infinity();  // without bound: skips nothing
    }

    bool passes(BoundingBox const& box) const { return slabs_.passes(box) && !isBeyondHit(box); }

    unsigned children(OctreeSplit const& split) const {
        unsigned passing = slabs_.children(split);
        if (!hasHit())
            return passing;
        for (int axis = 0; axis < 3; ++axis) {
            bool const backward = inverse_[axis] < 0.0;
            unsigned const lower = OctreeSplit::lowerHalf[axis];
            if (isBeyondHit(backward ? split.cut[axis] : split.lower[axis], axis))
                passing &= ~lower;
            if (isBeyondHit(backward ? split.upper[axis] : split.cut[axis], axis))
                passing &= lower;
        }
        return passing;
    }

    bool isBeyondHit(BoundingBox const& box) const {
        if (!hasHit())
            return false;
        for (int axis = 0; axis < 3; ++axis) {
            if (isBeyondHit(box.bounds[inverse_[axis] < 0.0 ? axis + 3 : axis], axis))
                return true;
        }
        return false;
    }

  private:
    bool hasHit() const { return ray_.hitParam < static_cast<double>(largestFloat); }

    // The plane through which the ray enters a slab, moved towards its origin by the widening. A NaN is not beyond.
    bool isBeyondHit(float plane, int axis) const {
        double const away = inverse_[axis] < 0.0 ? widening_ : -widening_;
        double const entry = ((static_cast<double>(plane) + away) - origin_[axis]) * inverse_[axis];
        return entry > ray_.hitParam;
    }

    Ray const& ray_;
    SlabFilter slabs_;
    double origin_[3];
    double inverse_[3];
    double widening_;
};

}  // namespace

RayTracer::RayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
    : walk_(octree), rootBox_(octree.getRoot().box), visited_(mesh != nullptr ? mesh->getNumTriangles() : 0),
      octreeTris_(&octreeTris), vertices_(mesh != nullptr ? mesh->getVerticesRaw() : nullptr),
      triangles_(mesh != nullptr ? mesh->getTrianglesRaw() : nullptr),
      nearestDist_(static_cast<double>(largestFloat)) {}

bool RayTracer::intersect(PointFlt const& origin, Vector const& dir) {
    if (visited_.size() == 0)
        return false;
    Ray const ray(origin, dir);
    nearestDist_ = static_cast<double>(largestFloat);
    bool const hit = findNearestHit_ ? walkNearest(ray) : walkAny(ray);
    visited_.nextQuery();
    return hit;
}

bool RayTracer::walkNearest(Ray const& ray) {
    NearestFilter const filter(ray, rootBox_);
    bool hit = false;
    for (walk_.start(filter, ray.direction()); walk_.valid(); walk_.next(filter)) {
        OctreeIterator const& voxel = walk_.top();
        if (!filter.isBeyondHit(voxel.box) && intersectVoxel(ray, voxel.node->voxelIndex))
            hit = true;
    }
    return hit;
}

bool RayTracer::walkAny(Ray const& ray) {
    SlabFilter const filter(ray);
    for (walk_.start(filter, ray.direction()); walk_.valid(); walk_.next(filter)) {
        if (intersectVoxel(ray, walk_.top().node->voxelIndex))
            return true;
    }
    return false;
}

bool RayTracer::intersectVoxel(Ray const& ray, int voxel) {
    int const numTris = octreeTris_->numTris(voxel);
    int const* const tris = octreeTris_->firstTri(voxel);
    bool isNearer = false;
    for (int i = 0; i < numTris; ++i) {
        if (!visited_.meet(tris[i]))
            continue;
        int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(tris[i]);
        double t = 0.0;
        double u = 0.0;
        double v = 0.0;
        bool const hit = detail::rayTriangle(&ray.dir.x, &ray.origin.x, positionOf(corners[0]), positionOf(corners[1]),
                                             positionOf(corners[2]), false, t, u, v);
        if (!hit || !(t > static_cast<double>(epsilonTolFlt)))
            continue;
        if (t < ray.hitParam) {
            ray.hitParam = t;
            ray.hitBaryU = u;
            ray.hitBaryV = v;
        }
        if (!findNearestHit_)
            return true;
        if (nearestDist_ > ray.hitParam) {
            nearestDist_ = ray.hitParam;
            isNearer = true;
        }
    }
    return isNearer;
}

}  // namespace koGeom
