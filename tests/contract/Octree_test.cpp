#include "pointTreeChecks.h"
#include "support/captureBinding.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/Octree.h"

#include <doctest/doctest.h>
#include <limits>
#include <numeric>

using namespace koGeom;
using pointTrees::Cloud;

namespace {

std::string faultOf(Octree const& tree, Cloud const& cloud, int capacity) {
    return pointTrees::faultOf<3>(tree, cloud, capacity);
}

BoundingBox cubeOf(float side) {
    return {PointFlt(0.0f, 0.0f, 0.0f), PointFlt(side, side, side)};
}

}  // namespace

//    y                         z = 1 (lower half)      z = 7 (upper half)
//    8  +-------+-------+      child 2 | child 3       child 6 | child 7: point 3
//       |       |       |
//    4  +-------+-------+
//       |       |       |      0: points 0, 4 | 1: point 1     4: point 2 | child 5
//    0  +-------+-------+
//       0       4       8  x
TEST_CASE("numbersLeavesDepthFirstAndListsTheirPointsAscending") {
    Cloud const points = {1, 1, 1, 7, 1, 1, 1, 1, 7, 7, 7, 7, 4, 4, 4};
    Octree const tree(5, points.data(), cubeOf(8), true, 2);

    CHECK(tree.numVoxels == 8);
    CHECK(tree.maxDepth == 2);
    CHECK(std::vector<int>(tree.pointIndices.begin(), tree.pointIndices.end()) ==
          std::vector<int>{0, 4, 1, 2, 3});  // point 4 lies on all three cuts: the lower half
    int const begins[] = {0, 2, 3, 3, 3, 4, 4, 4, 5};
    for (int child = 0; child < 8; ++child) {
        OctreeIterator voxel = tree.getRoot();
        REQUIRE(voxel.descend(child));
        CHECK(voxel.node->isLeaf != 0);
        CHECK(voxel.node->voxelIndex == child);
        CHECK(voxel.node->firstPoint == begins[child]);
        CHECK(voxel.node->endPoint == begins[child + 1]);
        CHECK_FALSE(voxel.descend(0));
    }
    OctreeIterator corner = tree.getRoot();
    corner.descend(5);
    CHECK(corner.box == BoundingBox(PointFlt(4, 0, 4), PointFlt(8, 4, 8)));
}

TEST_CASE("treesAreSoundOverAllKindsOfClouds") {
    for (int const numPoints : {1, 2, 17, 300, 3000})
        for (auto const& [name, cloud] : pointTrees::clouds(numPoints, 7))
            for (int const capacity : {1, 16}) {
                CAPTURE_BINDING(name);
                CAPTURE(numPoints);
                CAPTURE(capacity);
                Octree const tree(numPoints, cloud.data(), pointTrees::boxOf(cloud), true,
                                  capacity);
                CHECK(faultOf(tree, cloud, capacity) == "");
            }
}

TEST_CASE("treeDoesNotDependOnThreads") {
    for (auto const& [name, cloud] : pointTrees::clouds(30000, 11)) {  // several parallel subtrees
        CAPTURE_BINDING(name);
        int const numPoints = pointTrees::numPointsOf(cloud);
        BoundingBox const box = pointTrees::boxOf(cloud);
        Octree const alone(numPoints, cloud.data(), box, false, 16);
        CHECK(faultOf(alone, cloud, 16) == "");
        std::vector<int> const expected = pointTrees::shapeOf(alone);
        float const* const points = cloud.data();
        support::withPools([&](int numThreads) {
            CAPTURE(numThreads);
            Octree const tree(numPoints, points, box, true, 16);
            CHECK(pointTrees::shapeOf(tree) == expected);
        });
    }
}

TEST_CASE("treeWithoutPointsHasNoVoxels") {
    float const point[3] = {};
    for (int const numPoints : {0, -1}) {
        Octree const tree(numPoints, point, cubeOf(1), true, 16);
        CHECK(tree.numVoxels == 0);
        CHECK(tree.maxDepth == 1);
        CHECK(tree.pointIndices.empty());
        OctreeIterator root = tree.getRoot();
        CHECK_FALSE(root.box.isValid());
        CHECK(root.node->isLeaf != 0);
        CHECK(root.node->voxelIndex == 0);
        CHECK(root.node->firstPoint == root.node->endPoint);
        CHECK_FALSE(root.descend(0));
    }
    Octree const nowhere(3, nullptr, cubeOf(1), true, 16);
    CHECK(nowhere.numVoxels == 0);
}

TEST_CASE("flatBoxIsPaddedByOneFloatStepAndFallsIntoTheLowerHalf") {
    Cloud const points = {0, 0, 2, 1, 0, 2, 0, 1, 2, 1, 1, 2};
    Octree const tree(4, points.data(), pointTrees::boxOf(points), true, 1);
    BoundingBox const root = tree.getRoot().box;
    CHECK(root.min(2) == 2.0f);
    CHECK(root.max(2) == std::nextafter(2.0f, 3.0f));
    CHECK(tree.numVoxels == 8);
    for (int child = 0; child < 8; ++child) {
        OctreeIterator voxel = tree.getRoot();
        voxel.descend(child);
        CHECK(voxel.node->endPoint - voxel.node->firstPoint == (child < 4 ? 1 : 0));
        CHECK(voxel.box.max(2) == root.max(2));
    }
}

TEST_CASE("coincidentPointsStayInOneLeaf") {
    Cloud const same = pointTrees::cloudOf(1000, [](int, int) { return 3.0f; });
    Octree const tree(1000, same.data(), cubeOf(8), true, 16);
    CHECK(tree.numVoxels == 1);
    CHECK(tree.maxDepth == 1);
    CHECK(tree.getRoot().node->endPoint == 1000);
}

TEST_CASE("pointsOutsideTheBoxAndBrokenBoxesDoNoHarm") {
    Cloud const cloud = pointTrees::clouds(500, 3).front().points;
    float const infinity = std::numeric_limits<float>::infinity();
    BoundingBox broken[4] = {BoundingBox(), cubeOf(0.1f), cubeOf(infinity), cubeOf(std::nanf(""))};
    for (BoundingBox const& box : broken) {
        Octree const tree(500, cloud.data(), box, true, 16);
        CHECK(faultOf(tree, cloud, 16) == "");
    }
    for (int const capacity : {0, -5})
        CHECK(faultOf(Octree(500, cloud.data(), cubeOf(1), true, capacity), cloud, 1) == "");
    CHECK(Octree(500, cloud.data(), cubeOf(1), true, std::numeric_limits<int>::max()).numVoxels ==
          1);
}

TEST_CASE("nodeOrderingFlipsTheBitsOfNegativeComponents") {
    int order[8];
    Octree::getNodeOrdering(Vector(1.0, 0.0, -0.0), order);
    for (int k = 0; k < 8; ++k)
        CHECK(order[k] == k);
    Octree::getNodeOrdering(Vector(-1.0, 2.0, -1e-300), order);
    for (int k = 0; k < 8; ++k)
        CHECK(order[k] == (k ^ 5));
    Octree::getNodeOrdering(Vector(std::nan(""), std::nan(""), -1.0), order);
    CHECK(order[0] == 4);
}

TEST_CASE("defaultIteratorHoldsNothing") {
    OctreeIterator nothing;
    CHECK_FALSE(cubeOf(1).isStrictlyInside(nothing.box));
    CHECK_FALSE(nothing.descend(0));
}
