#include "queryOracles.h"
#include "queryScenes.h"
#include "support/checks.h"

#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/measure/meshLongestEdge.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/OctreeClosestIt.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <set>
#include <vector>

using namespace koGeom;
using queryScenes::Best;
using queryScenes::Found;
using queryScenes::largest;
using queryScenes::nearestPlaceInVoxels;
using queryScenes::nearestPlaceOfAll;
using queryScenes::Scene;
using queryScenes::squaredDistance;

namespace {

Found compute(MeshClosestPoint& query, Point const& p) {
    Found found;
    found.distance = query.compute(p, &found.coord);
    return found;
}

/// The search through vertices, row by row.
Found nearestThroughVertices(Scene const& scene, Point const& p, double longestEdge,
                             double maxDist2) {
    Best best;
    best.distance2 = maxDist2;
    double const reach2 = (longestEdge / 1.4142135623730951) * (longestEdge / 1.4142135623730951);
    std::set<int> met;
    PointFlt const narrow(p);
    for (OctreeClosestIt voxels(scene.octree, p); voxels.valid(); voxels.next()) {
        if (voxels.get().box.distance2(narrow) >= std::max(best.distance2, reach2))
            break;
        OctreeNode const& node = *voxels.get().node;
        for (int i = node.firstPoint; i < node.endPoint; ++i) {
            int const vertex = scene.octree.pointIndices[static_cast<std::size_t>(i)];
            BoundingBox box;
            for (int k = 0; k < 3 * scene.adjTris.numTris(vertex); ++k)
                box.extend(PointFlt(scene.corner(scene.adjTris.triIndices(vertex)[k / 3], k % 3)));
            if (!(best.distance2 > box.distance2(narrow)))
                continue;
            for (int k = 0; k < scene.adjTris.numTris(vertex); ++k)
                if (met.insert(scene.adjTris.triIndices(vertex)[k]).second)
                    best.consider(scene, scene.adjTris.triIndices(vertex)[k], p);
        }
    }
    return {std::sqrt(best.distance2), best.coord};
}

/// On corners, edges, faces and voxel planes, a hair beside them, near and far.
Point drawPoint(support::Random& random, Scene const& scene) {
    Point p = scene.at(random.real(-0.1, 1.1), random.real(-0.1, 1.1), random.real(-0.1, 1.1));
    int const numTriangles = scene.mesh.getNumTriangles();
    int const kind = random.index(8);
    if (kind == 0)
        return scene.at(random.real(-5, 5), random.real(-5, 5), random.real(-5, 5));
    if (kind == 1)
        return scene.at(random.index(17) / 16.0, random.index(17) / 16.0, random.index(17) / 16.0);
    if (kind < 6 && numTriangles > 0) {
        int const t = random.index(numTriangles);
        double const u = random.real(0, 1), v = random.real(0, 1) * (1.0 - u);
        p = kind == 2   ? scene.corner(t, 0)
            : kind == 3 ? combine(scene.corner(t, 0), scene.corner(t, 1))
                        : scene.corner(t, 0) + u * (scene.corner(t, 1) - scene.corner(t, 0)) +
                              v * (scene.corner(t, 2) - scene.corner(t, 0));
        double const size[] = {0.0, 1e-12, 1e-8, 1e-3};
        double const offset = size[random.index(4)] * scene.diagonal();
        p += Vector(random.real(-offset, offset), random.real(-offset, offset),
                    random.real(-offset, offset));
    }
    return p;
}

}  // namespace

// Nothing that is left out may change a bit of the answer, nor does the query before. The same
// object takes points that jump about and points that follow each other.
TEST_CASE("closestPointIsThatOfMeasuringEveryTriangleOfTheVoxels") {
    support::Random random(1);
    for (Scene const& scene : queryScenes::scenes()) {
        MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
        Point p;
        for (int i = 0; i < 400; ++i) {
            Vector const step = 1e-3 * scene.diagonal() *
                                Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
            p = random.index(2) == 0 ? drawPoint(random, scene) : p + step;
            Found const expected = nearestPlaceInVoxels(scene, p);
            REQUIRE(compute(query, p) == expected);
            REQUIRE(query.compute(p, nullptr) == expected.distance);
        }
    }
}

TEST_CASE("closestPointIsTheNearestOfAllTriangles") {
    support::Random random(2);
    for (CompactMesh const& mesh :
         {support::sphere(3), support::terrain(20, 15, 3), support::latticeSoup(300, 300, 4)}) {
        Scene const scene(mesh);
        MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
        for (int i = 0; i < 500; ++i) {
            Point const p = drawPoint(random, scene);
            double const rounding =
                1e-6 * (scene.diagonal() + distance(p, scene.at(0.5, 0.5, 0.5)));
            Found const found = compute(query, p);
            CHECK(std::abs(found.distance - nearestPlaceOfAll(scene, p).distance) <= rounding);
            CHECK(found.distance == std::sqrt(squaredDistance(scene, found.coord, p)));
        }
    }
}

TEST_CASE("distanceToASphereIsThatToItsRadius") {
    Scene const scene(support::sphere(5));
    MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
    for (double const radius : {0.0, 0.5, 0.9, 1.5, 100.0}) {
        Vector const direction = Vector(1, 2, 3).normalized();
        CHECK(query.compute(Point::origin + radius * direction, nullptr) ==
              doctest::Approx(std::abs(1.0 - radius)).epsilon(0.002));
    }
}

// A corner belongs to several triangles; in one voxel the lowest number is met first.
TEST_CASE("tieGoesToTheTriangleMetFirst") {
    Scene const scene(support::grid(2, 2), 16);
    REQUIRE(scene.octree.numVoxels == 1);
    MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
    for (int repeat = 0; repeat < 2; ++repeat) {
        Found const middle = compute(query, {1, 1, 0});
        CHECK(middle.distance == 0.0);
        CHECK(middle.coord.triangle == 0);
        Found const above = compute(query, {2, 2, 3});
        CHECK(above.distance == 3.0);
        CHECK(above.coord.triangle == 6);  // moves the query's memory away
    }
}

TEST_CASE("nothingIsFoundOnAMeshWithoutTriangles") {
    for (CompactMesh const& mesh : {CompactMesh(), support::meshOf({0, 0, 0, 1, 1, 1}, {})}) {
        Scene const scene(mesh);
        MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
        MeshCoord coord(5, 0.25, 0.5, 0.25);
        CHECK(query.compute({1, 2, 3}, &coord) == std::sqrt(largest));
        CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, {1, 2, 3}, &coord) ==
              std::sqrt(largest));
        CHECK(coord.triangle == 5);
        CHECK(coord.weights[1] == 0.5);
        CHECK(meshRayClosestPt(scene.mesh, 1.0, scene.octree, scene.adjTris, Line(), Point())
                  .triangle == -1);
    }
}

TEST_CASE("brokenPointsFindNothingOrWhatTheVoxelsHold") {
    double const nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    double const values[] = {0.0, 0.5, nan, infinity, -infinity, 1e300, -1e300, 3e38, 1e-300};
    support::Random random(6);
    auto const draw = [&] { return values[random.index(9)]; };
    for (Scene const& scene : queryScenes::scenes()) {
        MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
        for (int i = 0; i < 30; ++i) {
            Point const p(draw(), draw(), draw());
            CHECK(compute(query, p) == nearestPlaceInVoxels(scene, p));
            MeshCoord coord;
            double const vertexDistance =
                meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, &coord);
            CHECK(vertexDistance ==
                  nearestThroughVertices(scene, p, meshLongestEdge(scene.mesh), largest).distance);
        }
    }
}

TEST_CASE("copyUsesTheMemoryOfItsSource") {
    Scene const scene(support::sphere(2));
    MeshClosestPoint source(scene.mesh, scene.octree, scene.octreeTris);
    MeshClosestPoint copy(source);
    support::Random random(3);
    for (int i = 0; i < 100; ++i) {
        Point const p = drawPoint(random, scene);
        Found const expected = nearestPlaceInVoxels(scene, p);
        CHECK(compute(i % 2 == 0 ? source : copy, p) == expected);
    }
}

TEST_CASE("vertexSearchIsTheWrittenOutOne") {
    support::Random random(5);
    for (Scene const& scene : queryScenes::scenes()) {
        if (scene.mesh.getNumVertices() > 700)
            continue;
        double const longestEdge = meshLongestEdge(scene.mesh);
        std::vector<BoundingBox> boxes(static_cast<std::size_t>(scene.mesh.getNumVertices()));
        for (int v = 0; v < scene.mesh.getNumVertices(); ++v)
            for (int k = 0; k < 3 * scene.adjTris.numTris(v); ++k)
                boxes[static_cast<std::size_t>(v)].extend(
                    PointFlt(scene.corner(scene.adjTris.triIndices(v)[k / 3], k % 3)));
        for (int i = 0; i < 60; ++i) {
            Point const p = drawPoint(random, scene);
            double const edge = random.index(3) == 0 ? 0.1 * longestEdge : longestEdge;
            double const bound =
                random.index(3) == 0 ? random.real(0, 0.1) * scene.diagonal() : largest;
            Found const expected = nearestThroughVertices(scene, p, edge, bound);
            Found found, boxed;
            found.distance = meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, edge,
                                              bound, nullptr, &found.coord);
            boxed.distance = meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, edge,
                                              bound, boxes.data(), &boxed.coord);
            REQUIRE(found == expected);
            REQUIRE(boxed == expected);
            Found whole;
            whole.distance =
                meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, &whole.coord);
            REQUIRE(whole == nearestThroughVertices(scene, p, longestEdge, largest));
        }
    }
}

// The corners of the big triangle lie in voxels far away, the small one is near, but not as near:
//
//      3 +--+--/\--+--+       lone vertices all over cut the tree into small voxels
//        |  |  |  |  |
//      1 |  |  p  |  |
//      0 +==+==+==+==+        the big one, x from -8 to 8
TEST_CASE("vertexSearchGoesOnWithinTheReachOfTheLongestEdge") {
    std::vector<float> coordinates = {-8, -8, 0, 8,    -8, 0, 0, 8,    0,
                                      0,  0,  3, 0.1f, 0,  3, 0, 0.1f, 3};
    for (int i = 0; i < 34 * 17; ++i)
        coordinates.insert(coordinates.end(),
                           {static_cast<float>(i % 17 - 8), static_cast<float>(i / 17 % 17 - 8),
                            i < 289 ? 0.0f : 3.0f});
    Scene const scene(support::meshOf(coordinates, {0, 1, 2, 3, 4, 5}), 1);
    Point const p(0.0, 0.0, 1.0);
    MeshCoord coord;
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, 18.0, largest, nullptr,
                           &coord) == 1.0);
    CHECK(coord.triangle == 0);
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, 0.0, largest, nullptr,
                           &coord) == 2.0);
    CHECK(coord.triangle == 1);
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, p, &coord) == 1.0);
}

TEST_CASE("boundOfNothingIsNeverBeaten") {
    Scene const scene(support::sphere(2));
    MeshCoord coord;
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, scene.vertex(3), 1.0, 0.0,
                           nullptr, &coord) == 0.0);
    CHECK(coord.triangle == -1);
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, {9, 0, 0}, 1.0, 4.0, nullptr,
                           &coord) == 2.0);
    CHECK(coord.triangle == -1);
    CHECK(meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, {3, 0, 0}, 1.0, 4.5, nullptr,
                           nullptr) == 2.0);
}

TEST_CASE("closestVertexIsTheNearestOfAllVertices") {
    support::Random random(7);
    for (Scene const& scene : queryScenes::scenes()) {
        if (!(scene.box == Scene::boxOf(scene.mesh)))
            continue;  // vertices outside the tree's box lie in voxels that are no measure for them
        for (int i = 0; i < 20; ++i) {
            Point const p = drawPoint(random, scene);
            double expected = largest;
            for (int v = 0; v < scene.mesh.getNumVertices(); ++v)
                expected = std::min(expected, distance2(scene.vertex(v), p));
            support::DebugCapture const capture;
            double const found = meshClosestVertex2(scene.mesh, scene.octree, p);
            CHECK(std::sqrt(found) == doctest::Approx(std::sqrt(expected)).epsilon(1e-6));
            CHECK(capture.text().rfind("   meshClosestVertex: ", 0) == 0);
        }
    }
    Scene const empty{CompactMesh()};
    CHECK(meshClosestVertex2(empty.mesh, empty.octree, Point()) == largest);
}

TEST_CASE("closestPointToARayIsThatToTheFootOfThePoint") {
    Scene const scene(support::grid(4, 4));
    double const edge = meshLongestEdge(scene.mesh);
    Line const line(Point(1.25, 2.5, 9.0), Normal(0, 0, -1));
    MeshCoord const coord =
        meshRayClosestPt(scene.mesh, edge, scene.octree, scene.adjTris, line, Point(7, 7, 2));
    CHECK(coord.evaluate(scene.mesh.getVertices(), scene.mesh.getTriangles()) ==
          Point(1.25, 2.5, 0.0));
    // a line without direction stays at its origin
    MeshCoord const still = meshRayClosestPt(scene.mesh, edge, scene.octree, scene.adjTris,
                                             Line(Point(1.25, 2.5, 9.0), Normal()), Point(7, 7, 2));
    CHECK(still.evaluate(scene.mesh.getVertices(), scene.mesh.getTriangles()) ==
          Point(1.25, 2.5, 0.0));
}

TEST_CASE("closestPointsDoNotDependOnTheThreadsThatAsk") {
    struct Ask : koUtil::ThreadedAlg {
        Ask(Scene const& all, std::vector<Point> const& list)
            : scene(all), points(list), answers(list.size()) {}
        void execute(int thread, int numThreads) override {
            MeshClosestPoint query(scene.mesh, scene.octree, scene.octreeTris);
            int const count = static_cast<int>(points.size());
            for (int i = getBeginIndex(thread, numThreads, count);
                 i < getBeginIndex(thread + 1, numThreads, count); ++i) {
                auto const k = static_cast<std::size_t>(i);
                answers[k] = compute(query, points[k]);
                MeshCoord ignored;
                meshClosestPoint(scene.mesh, scene.octree, scene.adjTris, points[k], &ignored);
            }
        }
        Scene const& scene;
        std::vector<Point> const& points;
        std::vector<Found> answers;
    };
    Scene const scene(support::latticeSoup(300, 500, 2));
    support::Random random(8);
    std::vector<Point> points;
    for (int i = 0; i < 1000; ++i)
        points.push_back(drawPoint(random, scene));
    std::vector<Found> expected;
    support::withPools([&](int) {
        Ask alg(scene, points);
        koUtil::ThreadPool::get().run(alg);
        if (expected.empty())
            expected = alg.answers;
        CHECK(alg.answers == expected);
    });
}
