#include "contract/pointTreeChecks.h"

#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/spatial/Ray.h"
#include "trimora/spatial/detail/OctreeRayFilter.h"
#include "trimora/spatial/intersects.h"
#include "trimora/spatial/octreeIterators.h"

#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <list>
#include <vector>

using namespace koGeom;
using pointTrees::Cloud;

namespace {

constexpr float largestFloat = std::numeric_limits<float>::max();

struct Tree {
    Cloud cloud;
    Octree octree;

    explicit Tree(Cloud const& points, int capacity = 4)
        : cloud(points),
          octree(pointTrees::numPointsOf(cloud), cloud.data(), pointTrees::boxOf(cloud), true,
                 capacity) {}
};

/// What a walk has to deliver: the leaves that one box test lets through, front to back.
template <class Test>
void expectedLeaves(OctreeIterator const& place, int const order[8], Test const& test,
                    std::vector<int>& leaves) {
    if (!test(place.box))
        return;
    if (place.node->isLeaf != 0)
        leaves.push_back(place.node->voxelIndex);
    OctreeIterator child = place;
    for (int k = 0; k < 8; ++k, child = place)
        if (child.descend(order[k]))
            expectedLeaves(child, order, test, leaves);
}

template <class Test>
std::vector<int> expectedLeaves(Octree const& octree, Vector const& direction, Test const& test) {
    int order[8];
    Octree::getNodeOrdering(direction, order);
    std::vector<int> leaves;
    expectedLeaves(octree.getRoot(), order, test, leaves);
    return leaves;
}

template <class Walk>
std::vector<int> leavesOf(Walk& walk) {
    std::vector<int> leaves;
    for (; walk.valid(); walk.next())
        leaves.push_back(walk.get().node->voxelIndex);
    walk.next();  // past the end nothing happens
    CHECK_FALSE(walk.valid());
    return leaves;
}

/// Positions on, in and around a box, often on cuts, sometimes broken.
float drawCoordinate(support::Random& random, BoundingBox const& box, int axis) {
    float const infinity = std::numeric_limits<float>::infinity();
    float const odd[] = {0.0f, -0.0f, infinity, -infinity, std::nanf(""), largestFloat, 1e-45f};
    double const low = static_cast<double>(box.min(axis));
    double const size = static_cast<double>(box.max(axis)) - low;
    switch (random.index(8)) {
    case 0:
        return odd[random.index(7)];
    case 1:
    case 2:
    case 3:
        return static_cast<float>(low + size * random.index(9) / 8.0);
    default:
        return static_cast<float>(low + size * random.real(-0.5, 1.5));
    }
}

PointFlt drawPoint(support::Random& random, BoundingBox const& box) {
    return {drawCoordinate(random, box, 0), drawCoordinate(random, box, 1),
            drawCoordinate(random, box, 2)};
}

Vector drawDirection(support::Random& random) {
    double const odd[] = {0.0, -0.0, 1.0, -1.0, 1e-300, INFINITY, NAN};
    double component[3];
    for (double& value : component)
        value = random.index(3) == 0 ? odd[random.index(random.index(4) == 0 ? 7 : 4)]
                                     : random.real(-1, 1);
    return {component[0], component[1], component[2]};
}

std::list<Tree> trees() {
    std::list<Tree> all;
    for (auto const& [name, cloud] : pointTrees::clouds(400, 2))
        all.emplace_back(cloud);
    for (auto const& [name, cloud] : pointTrees::clouds(1, 2))
        all.emplace_back(cloud);
    all.emplace_back(Cloud{});
    return all;
}

}  // namespace

TEST_CASE("boxWalkDeliversTheLeavesThatTouchTheBox") {
    support::Random random(1);
    for (Tree const& tree : trees()) {
        OctreeBBoxIntersectIt walk(tree.octree);
        CHECK_FALSE(walk.valid());
        for (int run = 0; run < 100; ++run) {
            BoundingBox query;
            query.extend(drawPoint(random, tree.octree.getRoot().box));
            query.extend(drawPoint(random, tree.octree.getRoot().box));
            walk.reset(query);
            std::vector<int> const leaves = leavesOf(walk);
            CHECK(leaves == expectedLeaves(tree.octree, Vector::xAxis, [&](BoundingBox const& box) {
                      return box.intersects(query);
                  }));
            CHECK(std::is_sorted(leaves.begin(), leaves.end()));
        }
    }
}

// Brute force over all boxes, and the voxel of every point is met.
TEST_CASE("boxWalkAgreesWithAFlatListOfLeaves") {
    support::Random random(6);
    Tree const tree(pointTrees::clouds(500, 3).front().points);
    std::vector<OctreeIterator> leaves;
    for (OctreeLeafIterator all(tree.octree); all.valid(); all.next())
        leaves.push_back(all.get());
    for (int run = 0; run < 200; ++run) {
        BoundingBox const query(&tree.cloud[static_cast<std::size_t>(3 * random.index(500))],
                                static_cast<float>(random.real(0, 0.3)));
        std::vector<int> expected;
        for (OctreeIterator const& leaf : leaves)
            if (leaf.box.intersects(query))
                expected.insert(expected.begin(), leaf.node->voxelIndex);
        OctreeBBoxIntersectIt walk(tree.octree, query);
        CHECK(leavesOf(walk) == expected);
    }
}

TEST_CASE("sphereWalkDeliversTheLeavesThatTouchTheBall") {
    support::Random random(2);
    for (Tree const& tree : trees()) {
        OctreeSphereIntersectIt walk(tree.octree);
        for (int run = 0; run < 100; ++run) {
            BoundingBox const root = tree.octree.getRoot().box;
            double const radii[] = {0.0,
                                    -1.0,
                                    NAN,
                                    INFINITY,
                                    0.25,
                                    0.5,
                                    static_cast<double>(root.diagonalLength()) * random.real(0, 1)};
            Sphere const query{Point(drawPoint(random, root)), radii[random.index(7)]};
            walk.reset(query);
            CHECK(leavesOf(walk) ==
                  expectedLeaves(tree.octree, Vector::xAxis,
                                 [&](BoundingBox const& box) { return intersects(box, query); }));
        }
    }
}

TEST_CASE("rayWalkDeliversTheLeavesOfTheHalfLineFrontToBack") {
    support::Random random(3);
    for (Tree const& tree : trees()) {
        OctreeRayIntersectIt walk(tree.octree);
        for (int run = 0; run < 200; ++run) {
            Ray const query(drawPoint(random, tree.octree.getRoot().box), drawDirection(random));
            walk.reset(query);
            CHECK(leavesOf(walk) ==
                  expectedLeaves(tree.octree, query.direction(), [&](BoundingBox const& box) {
                      return query.intersects(box, 0.0f, largestFloat);
                  }));
        }
    }
}

TEST_CASE("frustumWalkDeliversTheLeavesThatItMeets") {
    support::Random random(4);
    for (Tree const& tree : trees()) {
        OctreeIntersectIt walk(tree.octree);
        for (int run = 0; run < 50; ++run) {
            Point corners[8];
            for (Point& corner : corners)
                corner = Point(drawPoint(random, tree.octree.getRoot().box));
            Frustum const query(corners);
            walk.reset(query);
            CHECK(leavesOf(walk) ==
                  expectedLeaves(tree.octree, query.getVector(),
                                 [&](BoundingBox const& box) { return intersects(box, query); }));
        }
    }
}

TEST_CASE("queryThatMissesTheRootFindsNothingAndAResetStartsAnew") {
    Tree const tree(Cloud{0, 0, 0, 1, 1, 1, 2, 2, 2});
    BoundingBox const outside(PointFlt(5, 5, 5), PointFlt(6, 6, 6));
    BoundingBox const inside(PointFlt(0, 0, 0), PointFlt(1, 1, 1));
    OctreeBBoxIntersectIt boxes(tree.octree, outside);
    CHECK_FALSE(boxes.valid());
    for (int again = 0; again < 2; ++again) {
        boxes.reset(inside);
        REQUIRE(boxes.valid());
        CHECK(boxes.get().node == tree.octree.getRoot().node);  // a lone root is a leaf
        CHECK(boxes.get().box == tree.octree.getRoot().box);
    }
    boxes.next();
    CHECK_FALSE(boxes.valid());

    Sphere const ball{Point(9, 9, 9), 1.0};
    CHECK_FALSE(OctreeSphereIntersectIt(tree.octree, ball).valid());
    Ray const away(PointFlt(3, 3, 3), Vector(1, 1, 1));
    CHECK_FALSE(OctreeRayIntersectIt(tree.octree, away).valid());
}

// A query that shrinks on the way is looked at as it then is.
TEST_CASE("walksReadTheirQueryAtEveryStep") {
    Tree const tree(pointTrees::clouds(400, 2).front().points);
    BoundingBox query = tree.octree.getRoot().box;
    OctreeBBoxIntersectIt walk(tree.octree, query);
    REQUIRE(walk.valid());
    query.setInvalid();
    int numLeft = 0;
    for (walk.next(); walk.valid(); walk.next())
        ++numLeft;
    CHECK(numLeft < 64);  // what stood on the stack, nothing below it
    CHECK(tree.octree.numVoxels > 200);
}

TEST_CASE("leafWalkDeliversAllLeavesLastChildFirst") {
    for (Tree const& tree : trees()) {
        OctreeLeafIterator walk(tree.octree);
        int const count =
            std::max(tree.octree.numVoxels, 1);  // an empty tree has a root all the same
        OctreeLeafIterator copy = walk;
        for (int voxel = count - 1; voxel >= 0; --voxel, walk.next()) {
            REQUIRE(walk.valid());
            CHECK(walk.get().node->voxelIndex == voxel);
        }
        CHECK_FALSE(walk.valid());
        REQUIRE(copy.valid());
        CHECK(copy.get().node->voxelIndex == count - 1);
        walk.reset(tree.octree);
        CHECK(walk.valid());
    }
}

TEST_CASE("splitInPacketsEqualsItsScalarTwins") {
    support::Random random(5);
    float const infinity = std::numeric_limits<float>::infinity();
    float const odd[] = {0.0f,      -0.0f, 1.0f,         -1.0f,         infinity,
                         -infinity, NAN,   largestFloat, -largestFloat, 1e-45f};
    OctreeNode nodes[9];
    nodes[0].isLeaf = 0;
    nodes[0].childOffset = 1;
    for (int run = 0; run < 20000; ++run) {
        OctreeIterator place;
        place.node = nodes;
        for (float& bound : place.box.bounds)
            bound = random.index(2) == 0 ? odd[random.index(10)]
                                         : static_cast<float>(random.real(-2, 2));
        PointFlt const point =
            drawPoint(random, BoundingBox(PointFlt(-1, -1, -1), PointFlt(1, 1, 1)));
        Ray const ray(drawPoint(random, BoundingBox(PointFlt(-1, -1, -1), PointFlt(1, 1, 1))),
                      drawDirection(random));

        OctreeSplit const split{OctreeCell(place)};
        double distances2[8];
        split.distances2(point, distances2);
        unsigned const met = detail::OctreeRayFilter(ray).children(split);
        for (int child = 0; child < 8; ++child) {
            OctreeIterator below = place;
            REQUIRE(below.descend(child));
            OctreeIterator const packed = split.child(child);
            CHECK(packed.node == below.node);
            CHECK(std::memcmp(packed.box.bounds, below.box.bounds, sizeof below.box.bounds) == 0);
            CHECK(distances2[child] == below.box.distance2(point));
            CHECK((met >> child & 1) ==
                  static_cast<unsigned>(ray.intersects(below.box, 0.0f, largestFloat)));
        }
    }
}
