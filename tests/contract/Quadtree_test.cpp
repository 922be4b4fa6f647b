#include "pointTreeChecks.h"
#include "support/captureBinding.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/Quadtree.h"

#include <doctest/doctest.h>

using namespace koGeom;
using pointTrees::Cloud;

TEST_CASE("quadtreeSplitsInXAndYAlone") {
    Cloud const points = {1, 1, 9, 7, 1, -9, 1, 7, 0, 7, 7, 5};
    Quadtree const tree(4, points.data(), pointTrees::boxOf(points), true, 1);
    CHECK(tree.numVoxels == 4);
    CHECK(tree.maxDepth == 2);
    for (int child = 0; child < 4; ++child) {
        QuadtreeIterator voxel = tree.getRoot();
        REQUIRE(voxel.descend(child));
        CHECK(voxel.node->voxelIndex == child);
        CHECK(tree.pointIndices[static_cast<std::size_t>(voxel.node->firstPoint)] == child);
        CHECK(voxel.box.min(2) == -9.0f);
        CHECK(voxel.box.max(2) == 9.0f);
    }
}

TEST_CASE("quadtreesAreSoundOverAllKindsOfCloudsAndThreads") {
    for (int const numPoints : {1, 40, 3000, 30000})
        for (auto const& [name, cloud] : pointTrees::clouds(numPoints, 5)) {
            CAPTURE_BINDING(name);
            CAPTURE(numPoints);
            BoundingBox const box = pointTrees::boxOf(cloud);
            Quadtree const alone(numPoints, cloud.data(), box, false, 4);
            CHECK(pointTrees::faultOf<2>(alone, cloud, 4) == "");
            support::withPools([&, &points = cloud](int) {
                Quadtree const tree(numPoints, points.data(), box, true, 4);
                CHECK(pointTrees::shapeOf(tree) == pointTrees::shapeOf(alone));
            });
        }
}

TEST_CASE("quadtreeWithoutPointsHasNoVoxels") {
    Quadtree const tree(0, nullptr, BoundingBox(), true, 16);
    CHECK(tree.numVoxels == 0);
    QuadtreeIterator root = tree.getRoot();
    CHECK(root.node->isLeaf != 0);
    CHECK_FALSE(root.descend(0));
    CHECK_FALSE(QuadtreeIterator().descend(0));
}
