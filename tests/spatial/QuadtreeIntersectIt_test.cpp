#include "contract/pointTreeChecks.h"
#include "support/captureBinding.h"

#include "trimora/spatial/QuadtreeIntersectIt.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;
using pointTrees::Cloud;

namespace {

void expectedLeaves(QuadtreeIterator const& place, BoundingBox const& query,
                    std::vector<int>& leaves) {
    if (!query.intersects2D(place.box))
        return;
    if (place.node->isLeaf != 0)
        leaves.push_back(place.node->voxelIndex);
    QuadtreeIterator child = place;
    for (int k = 0; child.descend(k); child = place, ++k)
        expectedLeaves(child, query, leaves);
}

}  // namespace

TEST_CASE("quadtreeWalkDeliversTheLeavesThatTouchTheBoxInXAndY") {
    support::Random random(1);
    QuadtreeIntersectIt walk;
    CHECK_FALSE(walk.valid());
    for (auto const& [name, cloud] : pointTrees::clouds(500, 17)) {
        CAPTURE_BINDING(name);
        BoundingBox const box = pointTrees::boxOf(cloud);
        Quadtree const quadtree(500, cloud.data(), box, true, 4);
        for (int run = 0; run < 50; ++run) {
            BoundingBox query(&cloud[static_cast<std::size_t>(3 * random.index(500))],
                              static_cast<float>(random.real(0, 0.2)));
            query.bounds[2] = query.bounds[5] = 1e9f;  // z does not count
            std::vector<int> expected;
            expectedLeaves(quadtree.getRoot(), query, expected);
            std::vector<int> leaves;
            for (walk.reset(quadtree, query); walk.valid(); walk.next())
                leaves.push_back(walk.get().node->voxelIndex);
            CHECK(leaves == expected);
            walk.next();
            CHECK_FALSE(walk.valid());
        }
    }
}

TEST_CASE("quadtreeWalkThatMissesTheRootIsNotValid") {
    Cloud const cloud = {0, 0, 0, 1, 1, 1};
    Quadtree const quadtree(2, cloud.data(), pointTrees::boxOf(cloud), true, 4);
    CHECK_FALSE(
        QuadtreeIntersectIt(quadtree, BoundingBox(PointFlt(2, 0, 0), PointFlt(3, 1, 1))).valid());
    CHECK(QuadtreeIntersectIt(quadtree, BoundingBox(PointFlt(1, 1, 9), PointFlt(3, 2, 9))).valid());
    Quadtree const none(0, nullptr, BoundingBox(), true, 4);
    CHECK_FALSE(
        QuadtreeIntersectIt(none, BoundingBox(PointFlt(0, 0, 0), PointFlt(3, 1, 1))).valid());
}
