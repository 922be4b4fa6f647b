#include "contract/pointTreeChecks.h"
#include "support/captureBinding.h"

#include "trimora/spatial/OctreeClosestIt.h"
#include "trimora/spatial/octreeIterators.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;
using pointTrees::Cloud;

namespace {

std::vector<Point> queriesFor(BoundingBox const& box) {
    double const infinity = std::numeric_limits<double>::infinity();
    std::vector<Point> queries = {
        {0, 0, 0}, {0.5, 0.5, 0.5}, {infinity, 0, 0}, {NAN, 0.5, 0.5}, {1e300, 0, 0}};
    queries.push_back(Point(box.minPt()));
    queries.push_back(Point(box.center()));
    queries.push_back(Point(box.maxPt()) + Vector(1, 2, 3));
    return queries;
}

/// The distances to all leaves, in order.
std::vector<double> sortedDistances(Octree const& octree, Point const& point) {
    std::vector<double> distances;
    for (OctreeLeafIterator leaves(octree); leaves.valid(); leaves.next())
        distances.push_back(leaves.get().box.distance2(PointFlt(point)));
    std::sort(distances.begin(), distances.end());
    return distances;
}

}  // namespace

TEST_CASE("deliversEveryLeafOnceByDistance") {
    OctreeClosestIt walk;
    CHECK_FALSE(walk.valid());
    for (auto const& [name, cloud] : pointTrees::clouds(300, 12)) {
        CAPTURE_BINDING(name);
        Octree const octree(300, cloud.data(), pointTrees::boxOf(cloud), true, 4);
        for (Point const& point : queriesFor(octree.getRoot().box)) {
            std::vector<double> distances;
            std::vector<bool> met(static_cast<std::size_t>(octree.numVoxels), false);
            for (walk.reset(octree, point); walk.valid(); walk.next()) {
                OctreeIterator const voxel = walk.get();
                REQUIRE(voxel.node->isLeaf != 0);
                CHECK_FALSE(met[static_cast<std::size_t>(voxel.node->voxelIndex)]);
                met[static_cast<std::size_t>(voxel.node->voxelIndex)] = true;
                CHECK(walk.getDistance2() == voxel.box.distance2(PointFlt(point)));
                distances.push_back(walk.getDistance2());
            }
            CHECK(distances == sortedDistances(octree, point));
            walk.next();
            CHECK_FALSE(walk.valid());
        }
    }
}

TEST_CASE("limitLeavesOutNothingNearer") {
    Cloud const cloud = pointTrees::clouds(1000, 13).front().points;
    Octree const octree(1000, cloud.data(), pointTrees::boxOf(cloud), true, 4);
    support::Random random(1);
    OctreeClosestIt walk;
    for (int run = 0; run < 100; ++run) {
        Point const point(random.real(-2, 2), random.real(-2, 2), random.real(-2, 2));
        std::vector<double> expected = sortedDistances(octree, point);
        double const limit2 = expected[static_cast<std::size_t>(random.index(200))];
        expected.erase(std::lower_bound(expected.begin(), expected.end(), limit2), expected.end());
        std::vector<double> distances;
        for (walk.reset(octree, point); walk.valid() && walk.getDistance2() < limit2;
             walk.next(limit2))
            distances.push_back(walk.getDistance2());
        CHECK(distances == expected);
    }
}

// A walk without some of the leaves delivers the others as the walk with all does; on a lattice, where many are equally near.
TEST_CASE("leavingOutLeavesDoesNotChangeTheOrderOfTheOthers") {
    support::Random random(3);
    Cloud cloud;
    for (int i = 0; i < 3 * 600; ++i)
        cloud.push_back(static_cast<float>(random.index(17)));
    Octree const octree(600, cloud.data(), BoundingBox(PointFlt(0, 0, 0), PointFlt(16, 16, 16)),
                        true, 2);
    OctreeNode const* const root = octree.getRoot().node;
    std::vector<std::uint8_t> wanted(static_cast<std::size_t>(octree.numVoxels / 7));
    for (int run = 0; run < 200; ++run) {
        OctreeNode const* node = root + 1;
        for (std::uint8_t& set : wanted)
            for (set = 0; (node - root - 1) / 8 == &set - wanted.data(); ++node)
                if (node->isLeaf == 0 || random.index(2) == 0)
                    set |= static_cast<std::uint8_t>(1u << ((node - root - 1) % 8));
        auto const isWanted = [&](OctreeNode const* leaf) {
            auto const place = static_cast<std::size_t>(leaf - root - 1);
            return (wanted[place / 8] >> place % 8 & 1) != 0;
        };
        Point const p(random.index(49) - 16, random.index(33) * 0.5, random.index(17));
        double const limit2 = run % 2 == 0 ? 1e9 : random.index(300);
        std::vector<OctreeNode const*> expected, found;
        OctreeClosestIt walk;
        for (walk.reset(octree, p); walk.valid() && walk.getDistance2() < limit2; walk.next(limit2))
            if (isWanted(walk.get().node))
                expected.push_back(walk.get().node);
        for (walk.reset(octree, p, wanted.data()); walk.valid() && walk.getDistance2() < limit2;
             walk.next(limit2))
            found.push_back(walk.get().node);
        CHECK(found == expected);
    }
}

TEST_CASE("pointInsideTheTreeStartsAtDistanceZero") {
    Cloud const cloud = pointTrees::clouds(100, 14).front().points;
    Octree const octree(100, cloud.data(), pointTrees::boxOf(cloud), true, 4);
    OctreeClosestIt const walk(octree, Point(octree.getRoot().box.center()));
    REQUIRE(walk.valid());
    CHECK(walk.getDistance2() == 0.0);
}

TEST_CASE("leafRootIsDeliveredOnce") {
    Cloud const cloud = {1, 2, 3};
    Octree const one(1, cloud.data(), pointTrees::boxOf(cloud), true, 4);
    Octree const none(0, nullptr, BoundingBox(), true, 4);
    for (Octree const* octree : {&one, &none}) {
        OctreeClosestIt walk(*octree, Point(9, 2, 3));
        REQUIRE(walk.valid());
        CHECK(walk.get().node == octree->getRoot().node);
        CHECK((octree == &none || walk.getDistance2() > 63.99));
        walk.next();
        CHECK_FALSE(walk.valid());
    }
}
