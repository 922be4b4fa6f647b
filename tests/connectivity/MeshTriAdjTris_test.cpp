#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "tables.h"

#include "trimora/connectivity/MeshTriAdjTris.h"

#include <doctest/doctest.h>
#include <new>

using namespace koGeom;
using tables::Sets;

namespace {

/// By edge, ascending across one edge: what the table of all edges says about each edge of each triangle.
Sets bruteForce(CompactMesh const& mesh) {
    auto const edges = support::edgeTable(mesh);
    Sets sets(static_cast<std::size_t>(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int edge = 0; edge < 3; ++edge) {
            int const a = mesh.getTriangles()[t][edge];
            int const b = mesh.getTriangles()[t][(edge + 1) % 3];
            for (int const other : edges.at({std::min(a, b), std::max(a, b)}))
                if (other != t)
                    sets[static_cast<std::size_t>(t)].push_back(other);
        }
    return sets;
}

Sets triAdjTrisOf(CompactMesh const& mesh) {
    MeshTriAdjTris table;
    meshTriAdjTris(mesh, table);
    return tables::setsOf(table.getData());
}

}  // namespace

//   3---4---5
//   |1/ |3/ |      0 is (0, 1, 4), 1 is (0, 4, 3), 2 is (1, 2, 5), 3 is (1, 5, 4)
//   | / | / |
//   |/ 0|/ 2|
//   0---1---2
TEST_CASE("listsNeighboursByEdgeWithoutHoldingAPlaceForOpenOnes") {
    CHECK(triAdjTrisOf(support::grid(2, 1)) == Sets{{3, 1}, {0}, {3}, {2, 0}});
}

TEST_CASE("listsAllOthersOnACrowdedEdge") {
    CHECK(triAdjTrisOf(support::threeOnAnEdge()) == Sets{{1, 2}, {0, 2}, {0, 1}});
}

TEST_CASE("listsATriangleWithTheSameVerticesThreeTimes") {
    CHECK(triAdjTrisOf(support::meshOf(std::vector<float>(9), {0, 1, 2, 2, 1, 0})) ==
          Sets{{1, 1, 1}, {0, 0, 0}});
}

//   a degenerate triangle (a, b, b) holds the edge a-b twice and the edge b-b once
TEST_CASE("aDegenerateTriangleIsNotItsOwnNeighbourAndIsListedForEachOfItsEdges") {
    CHECK(triAdjTrisOf(support::meshOf(std::vector<float>(9), {0, 1, 1})) == Sets{{}});
    CHECK(triAdjTrisOf(support::meshOf(std::vector<float>(9), {0, 1, 1, 0, 1, 2})) ==
          Sets{{1, 1}, {0, 0}});
    CHECK(triAdjTrisOf(support::meshOf(std::vector<float>(9), {1, 1, 1, 1, 1, 1})) ==
          Sets{{1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 0, 0, 0, 0, 0, 0, 0, 0}});
}

TEST_CASE("triAdjTrisOfTheZooAgreeWithBruteForceOnAnyNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        Sets const expected = bruteForce(mesh);
        support::withPools([&, &surface = mesh](int numThreads) {
            CAPTURE(numThreads);
            CHECK(triAdjTrisOf(surface) == expected);
        });
    }
}

TEST_CASE("triAdjTrisReplaceAnOlderTableAndSayHowLongItTook") {
    MeshTriAdjTris table;
    meshTriAdjTris(support::sphere(2), table);
    support::DebugCapture capture;
    meshTriAdjTris(support::triangle(), table);
    CHECK(tables::setsOf(table.getData()) == Sets{{}});
    CHECK(table.numTris(0) == 0);
    CHECK(capture.text().starts_with("MeshTriAdjTris: 3 vertices 1 triangles 0."));
}

TEST_CASE("refusesATableThatIndicesCannotCount") {
    constexpr int numTriangles = 47000;  // on one edge: 47000 x 46999 items are more than 2^31
    std::vector<int> corners;
    for (int t = 0; t < numTriangles; ++t)
        corners.insert(corners.end(), {0, 1, 2 + t});
    CompactMesh const mesh = support::meshOf(std::vector<float>(3 * (numTriangles + 2)), corners);
    MeshTriAdjTris table;
    meshTriAdjTris(support::grid(2, 1), table);
    CHECK_THROWS_AS(meshTriAdjTris(mesh, table), std::bad_alloc);
    CHECK(tables::setsOf(table.getData()) == Sets{{3, 1}, {0}, {3}, {2, 0}});
}
