#include "trimora/spatial/octreeIterators.h"

#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/spatial/detail/OctreeRayFilter.h"
#include "trimora/spatial/intersects.h"

#include <cmath>

// The filters of the walks. Where the eight boxes of a node share their planes, a filter tests the
// planes once instead of eight boxes; the answers are those of the test of one box, bit for bit.

namespace koGeom {

namespace {

struct FrustumFilter {
    Frustum const& query;

    bool passes(OctreeCell const& cell) const { return intersects(cell.box(), query); }
    unsigned children(OctreeSplit const& split) const {
        unsigned passing = 0;
        for (int child = 0; child < 8; ++child)
            passing |= static_cast<unsigned>(passes(split.child(child))) << child;
        return passing;
    }
};

struct SphereFilter {
    Sphere const& query;

    bool passes(OctreeCell const& cell) const { return intersects(cell.box(), query); }
    unsigned children(OctreeSplit const& split) const {
        double distance2[8];
        split.distances2(PointFlt(query.center), distance2);
        unsigned passing = 0;
        for (int child = 0; child < 8; ++child)
            passing |= static_cast<unsigned>(query.radius >= std::sqrt(distance2[child])) << child;
        return passing;
    }
};

}  // namespace

void OctreeIntersectIt::reset(Frustum const& query) {
    query_ = &query;
    walk_.start(FrustumFilter{query}, query.getVector());
}

void OctreeIntersectIt::next() {
    if (valid())
        walk_.next(FrustumFilter{*query_});
}

void OctreeBBoxIntersectIt::reset(BoundingBox const& query) {
    query_ = &query;
    walk_.start(OctreeBoxFilter(query), Vector::xAxis);
}

void OctreeBBoxIntersectIt::next() {
    if (valid())
        walk_.next(OctreeBoxFilter(*query_));
}

void OctreeRayIntersectIt::reset(Ray const& query) {
    query_ = &query;
    walk_.start(detail::OctreeRayFilter(query), query.direction());
}

void OctreeRayIntersectIt::next() {
    if (valid())
        walk_.next(detail::OctreeRayFilter(*query_));
}

void OctreeSphereIntersectIt::reset(Sphere const& query) {
    query_ = &query;
    walk_.start(SphereFilter{query}, Vector::xAxis);
}

void OctreeSphereIntersectIt::next() {
    if (valid())
        walk_.next(SphereFilter{*query_});
}

void OctreeLeafIterator::reset(Octree const& octree) {
    stack_.clear();
    stack_.reserve(static_cast<std::size_t>(octree.maxDepth));
    stack_.push_back(octree.getRoot());
    expandToLeaf();
}

void OctreeLeafIterator::next() {
    if (!valid())
        return;
    stack_.pop_back();
    expandToLeaf();
}

void OctreeLeafIterator::expandToLeaf() {
    while (valid() && stack_.back().node->isLeaf == 0) {
        OctreeIterator const node = stack_.back();
        stack_.pop_back();
        for (int child = 0; child < 8; ++child) {
            stack_.push_back(node);
            stack_.back().descend(child);
        }
    }
}

}  // namespace koGeom
