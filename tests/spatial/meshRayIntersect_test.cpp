#include "queryScenes.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/spatial/lineFrustumIntersect.h"
#include "trimora/spatial/meshRayIntersect.h"
#include "trimora/spatial/octreeIterators.h"

#include <cmath>
#include <doctest/doctest.h>
#include <set>

using namespace koGeom;
using queryScenes::Scene;

namespace {

/// A box-shaped frustum that looks down -z: corners 0 to 3 on top.
Frustum shaft(double x, double y, double halfWidth, double top, double bottom) {
    double const w = halfWidth;
    Point const corners[8] = {{x - w, y - w, top},    {x + w, y - w, top},
                              {x + w, y + w, top},    {x - w, y + w, top},
                              {x - w, y - w, bottom}, {x + w, y - w, bottom},
                              {x + w, y + w, bottom}, {x - w, y + w, bottom}};
    return Frustum(corners);
}

/// The first triangle in the order of voxels, their vertices and the triangles around those; -1 for
/// none.
int firstMet(Scene const& scene, Frustum const& frustum, PointFlt& hit) {
    std::set<int> tried;
    for (OctreeIntersectIt voxels(scene.octree, frustum); voxels.valid(); voxels.next()) {
        OctreeNode const& node = *voxels.get().node;
        for (int i = node.firstPoint; i < node.endPoint; ++i) {
            int const vertex = scene.octree.pointIndices[static_cast<std::size_t>(i)];
            for (int k = 0; k < scene.adjTris.numTris(vertex); ++k) {
                int const triangle = scene.adjTris.triIndices(vertex)[k];
                if (tried.insert(triangle).second &&
                    meshRayTriIntersect(scene.mesh, triangle, frustum.getRay(), hit))
                    return triangle;
            }
        }
    }
    return -1;
}

}  // namespace

TEST_CASE("lineMeetsATriangleOnEitherSideOfItsOrigin") {
    CompactMesh const mesh = support::grid(1, 1);
    PointFlt hit(7, 7, 7);
    Point wide(7, 7, 7);
    Line const above(Point(0.75, 0.25, 2.0), Normal(0, 0, -1));
    CHECK(meshRayTriIntersect(mesh, 0, above, hit));
    CHECK(hit == PointFlt(0.75f, 0.25f, 0.0f));
    CHECK(meshRayTriIntersect(mesh, 0, Line(Point(0.75, 0.25, -2.0), Normal(0, 0, -1)),
                              wide));  // behind
    CHECK(wide == Point(0.75, 0.25, 0.0));
    hit = PointFlt(7, 7, 7);
    wide = Point(7, 7, 7);
    CHECK_FALSE(meshRayTriIntersect(mesh, 1, above, hit));
    CHECK_FALSE(meshRayTriIntersect(mesh, 1, above, wide));
    CHECK_FALSE(meshRayTriIntersect(mesh, 0, Line(Point(0.75, 0.25, 2.0), Normal(0, 0, 1)),
                                    hit));  // back, behind
    CHECK_FALSE(meshRayTriIntersect(mesh, 0, Line(Point(0.75, 0.25, 2.0), Normal()), hit));
    CHECK(hit == PointFlt(7, 7, 7));
    CHECK(wide == Point(7, 7, 7));
}

TEST_CASE("pickGivesTheFirstTriangleInTheOrderOfTheWalk") {
    support::Random random(1);
    int numHits = 0;
    for (Scene const& scene : queryScenes::scenes()) {
        for (int i = 0; i < 20; ++i) {
            double const w = random.real(0.0, 0.2) * scene.diagonal();
            Point const at = scene.at(random.real(0, 1), random.real(0, 1), 2.0);
            Frustum const frustum = shaft(at.x, at.y, w, at.z, scene.at(0, 0, -1).z);
            PointFlt expected(7, 7, 7), hit(7, 7, 7);
            int const triangle = firstMet(scene, frustum, expected);
            int found = -1;
            support::DebugCapture const capture;
            CHECK(meshRayIntersect(scene.mesh, scene.octree, scene.adjTris, frustum, hit, &found) ==
                  (triangle >= 0));
            CHECK(found == triangle);
            CHECK(hit == expected);
            CHECK(meshRayIntersect(scene.mesh, scene.octree, scene.adjTris, frustum, hit,
                                   nullptr) == (triangle >= 0));
            numHits += triangle >= 0;
            CHECK(capture.text().rfind(triangle >= 0 ? "meshRayIntersect:  ("
                                                     : "meshRayIntersect:  no intersection ",
                                       0) == 0);
        }
    }
    CHECK(numHits > 50);
}

// Callers know it: a narrow frustum through the middle of a big triangle meets no voxel with a
// corner.
TEST_CASE("pickMissesATriangleWhoseCornersLieInOtherVoxels") {
    std::vector<float> coordinates = {-9, -9, 0, 9, -9, 0, 0, 9, 0};
    for (int i = 0; i < 361; ++i)  // lone vertices that cut the tree
        coordinates.insert(coordinates.end(),
                           {static_cast<float>(i % 19 - 9), static_cast<float>(i / 19 - 9), 0});
    Scene const scene(support::meshOf(coordinates, {0, 1, 2}), 1);
    PointFlt hit;
    CHECK_FALSE(meshRayIntersect(scene.mesh, scene.octree, scene.adjTris,
                                 shaft(-1, -1, 0.01, 5, -5), hit, nullptr));
    CHECK(meshRayIntersect(scene.mesh, scene.octree, scene.adjTris, shaft(-1, -1, 20, 5, -5), hit,
                           nullptr));
}

//      +--------+  z = 1      segments a -> b against the box -1..1
//   a--|------- |--b
//      |  a     |             inside: a itself
//      +--------+  z = -1
TEST_CASE("segmentMeetsAFrustumAtAnEndInsideOrWhereItEnters") {
    Frustum const frustum = shaft(0, 0, 1, 1, -1);
    PointFlt point(7, 7, 7);
    CHECK(lineFrustumIntersect({0, 0, 0}, {0.5f, 0, 0}, frustum, point));
    CHECK(point == PointFlt(0, 0, 0));
    CHECK(lineFrustumIntersect({0.25f, 0, 0}, {9, 0, 0}, frustum, point));
    CHECK(point == PointFlt(0.25f, 0, 0));
    CHECK(lineFrustumIntersect({9, 0, 0}, {0.25f, 0, 0}, frustum, point));
    CHECK(point == PointFlt(9, 0, 0));  // the first end, though only the second is inside
    CHECK(lineFrustumIntersect({1, 1, 1}, {1, 1, 1}, frustum, point));  // the surface is inside
    CHECK(point == PointFlt(1, 1, 1));

    CHECK(lineFrustumIntersect({-3, 0.25f, 0.5f}, {3, 0.25f, 0.5f}, frustum, point));
    CHECK(std::abs(point.x) == 1.0f);
    CHECK(point.y == 0.25f);
    CHECK(lineFrustumIntersect({-3, 0.25f, 0.5f}, {3, 0.25f, 0.5f}, frustum));
    CHECK(lineFrustumIntersect({-1.5f, 0.1f, 0}, {0.1f, 1.5f, 0}, frustum));

    point = PointFlt(7, 7, 7);
    CHECK_FALSE(lineFrustumIntersect({-3, 2, 0}, {3, 2, 0}, frustum, point));  // above one plane
    CHECK_FALSE(
        lineFrustumIntersect({-3, 0.9f, 0}, {-0.9f, 3, 0}, frustum, point));  // past an edge
    CHECK_FALSE(lineFrustumIntersect({2, 2, 2}, {2, 2, 2}, frustum, point));
    CHECK(point == PointFlt(7, 7, 7));
}

// Of several faces the first of the list counts: here the end quad 0123, then the side on edge 01.
TEST_CASE("pointIsThatOfTheFirstFaceInTheListNotTheNearest") {
    Frustum const frustum = shaft(0, 0, 1, 1, -1);
    PointFlt point;
    CHECK(lineFrustumIntersect({0.25f, 0.5f, -3}, {0.25f, 0.5f, 3}, frustum, point));
    CHECK(point == PointFlt(0.25f, 0.5f, 1.0f));
    CHECK(lineFrustumIntersect({0.25f, 3, 0.5f}, {0.25f, -3, 0.5f}, frustum, point));
    CHECK(point == PointFlt(0.25f, -1.0f, 0.5f));
}

TEST_CASE("segmentAgainstBoxAgreesWithClipping") {
    Frustum const frustum = shaft(0, 0, 1, 1, -1);
    support::Random random(3);
    for (int run = 0; run < 5000; ++run) {
        float const from[3] = {static_cast<float>(random.real(-3, 3)),
                               static_cast<float>(random.real(-3, 3)),
                               static_cast<float>(random.real(-3, 3))};
        float const to[3] = {static_cast<float>(random.real(-3, 3)),
                             static_cast<float>(random.real(-3, 3)),
                             static_cast<float>(random.real(-3, 3))};
        double first = 0.0, last = 1.0;
        for (int axis = 0; axis < 3; ++axis) {
            double const step = static_cast<double>(to[axis]) - static_cast<double>(from[axis]);
            double const at0 = (-1.0 - static_cast<double>(from[axis])) / step,
                         at1 = (1.0 - static_cast<double>(from[axis])) / step;
            first = std::max(first, std::min(at0, at1));
            last = std::min(last, std::max(at0, at1));
        }
        if (std::abs(last - first) > 1e-4)
            CHECK(lineFrustumIntersect({from[0], from[1], from[2]}, {to[0], to[1], to[2]},
                                       frustum) == (first < last));
    }
}
