#include "queryScenes.h"

#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/spatial/MeshClosestPtOnLine.h"

#include <cmath>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;
using queryScenes::Scene;

namespace {

// grid(4, 4): vertex (i, j) is 5 j + i; the path runs along j = 2:
//
//   j
//   4 +--+--+--+--+
//   3 +--+--+--+--+
//   2 10=11=12=13=14
//   1 +--+--+--+--+
//   0 +--+--+--+--+
//     0  1  2  3  4 i
MeshSequence const middleRow(ko::vector<ko::vector<int>>{{10, 11, 12, 13, 14}});

Point placeOf(Scene const& scene, MeshCoord const& coord) {
    return coord.evaluate(scene.mesh.getVertices(), scene.mesh.getTriangles());
}

double distanceToPath(Scene const& scene, MeshSequence const& path, Point const& p) {
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i + 1 < path.getNumPoints(); ++i) {
        ParamLine const edge(scene.vertex(path.points[i]), scene.vertex(path.points[i + 1]));
        least = std::min(least, distance(p, edge.eval(edge.projectBounded(p, 0.0, 1.0))));
    }
    return least;
}

}  // namespace

TEST_CASE("placeOnThePathIsOnTheNearestEdge") {
    Scene const scene(support::grid(4, 4));
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, middleRow);
    MeshCoord const coord = onPath({1.25, 2.5, 0.0});
    CHECK(placeOf(scene, coord) == Point(1.25, 2.0, 0.0));
    // the first triangle around 11 that has 12 too, its corners 6, 12, 11
    CHECK(coord.triangle == 11);
    CHECK(coord.weights[0] == 0.0);
    CHECK(coord.weights[1] == 0.25);
    CHECK(coord.weights[2] == 0.75);
    CHECK(placeOf(scene, onPath({-3.0, 2.5, 1.0})) == Point(0.0, 2.0, 0.0));
    MeshClosestPtOnLine copy(onPath);
    CHECK(placeOf(scene, copy({1.25, 2.5, 0.0})) == Point(1.25, 2.0, 0.0));
}

TEST_CASE("pointOnTheMeshGivesTheLastPathCornerOfItsTriangle") {
    Scene const scene(support::grid(4, 4));
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, middleRow);
    for (int const vertex : {10, 11, 12, 13, 14}) {
        MeshCoord const coord = onPath(scene.vertex(vertex));
        Point const place = placeOf(scene, coord);
        CHECK(place.y == 2.0);
        CHECK(std::abs(place.x - scene.vertex(vertex).x) <= 1.0);
        CHECK((coord.weights[0] == 1.0 || coord.weights[1] == 1.0 || coord.weights[2] == 1.0));
    }
    // (0.5, 2) lies on the edge of triangles 8 (corners 5, 11, 10) and 16 (10, 11, 16); the vertex
    // given is a corner
    Point const place = placeOf(scene, onPath({0.5, 2.0, 0.0}));
    CHECK((place == Point(0.0, 2.0, 0.0) || place == Point(1.0, 2.0, 0.0)));
}

TEST_CASE("placesOfAWavyPathAreTheNearestOnIt") {
    Scene const scene(support::terrain(12, 12, 3));
    ko::vector<ko::vector<int>> runs(1);
    for (int i = 0; i <= 12; ++i)
        runs[0].push_back(13 * 6 + i);
    MeshSequence const path(runs);
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, path);
    support::Random random(2);
    double const reach = 0.05 * scene.diagonal();
    for (int run = 0; run < 300; ++run) {
        Point p = scene.vertex(path.points[random.index(13)]);
        p += Vector(random.real(-reach, reach), random.real(-reach, reach),
                    random.real(-reach, reach));
        MeshCoord const coord = onPath(p);
        REQUIRE(coord.valid());
        // never nearer than the truth; and no farther when the box about p and the band holds it
        CHECK(distance(placeOf(scene, coord), p) >= distanceToPath(scene, path, p) - 1e-9);
        CHECK(distanceToPath(scene, path, placeOf(scene, coord)) < 1e-5);
    }
}

// Two parallel runs: the step from the end of one to the start of the next is no edge of the path.
TEST_CASE("runsAreNotJoined") {
    Scene const scene(support::grid(4, 4));
    MeshSequence const runs(ko::vector<ko::vector<int>>{{10, 11}, {12, 13}});
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, runs);
    Point const place = placeOf(scene, onPath({1.4, 2.0, 0.5}));
    CHECK(place == Point(1.0, 2.0, 0.0));
}

// Two vertices joined by an edge that is not in the sequence: the band has it, the path does not.
TEST_CASE("withoutAnEdgeOfThePathInReachTheAnswerIsTheCoordinateOnTheBand") {
    Scene const scene(support::grid(4, 4));
    MeshSequence const points(ko::vector<ko::vector<int>>{{10}, {11}});
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, points);
    MeshCoord const coord = onPath({0.25, 2.0, 1.0});
    CHECK(coord.valid());
    CHECK(coord.triangle < 2);  // of the two of the band
}

TEST_CASE("pathOnNoTriangleGivesAnInvalidCoordinate") {
    Scene const scene(support::grid(2, 2));
    for (MeshSequence const& path :
         {MeshSequence(), MeshSequence(ko::vector<ko::vector<int>>{{0}, {8}})}) {
        MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris, path);
        CHECK_FALSE(onPath({0, 0, 0}).valid());
    }
    Scene const empty{CompactMesh()};
    MeshClosestPtOnLine nothing(empty.mesh, empty.adjTris, MeshSequence());
    CHECK_FALSE(nothing({0, 0, 0}).valid());
    MeshClosestPtOnLine onPath(scene.mesh, scene.adjTris,
                               MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2}}));
    CHECK_FALSE(onPath({std::nan(""), 0, 0}).valid());
}
