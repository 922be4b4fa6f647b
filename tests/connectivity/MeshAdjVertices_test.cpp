#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "tables.h"

#include "trimora/connectivity/MeshAdjVertices.h"

#include <algorithm>
#include <doctest/doctest.h>

using namespace koGeom;
using tables::Sets;

namespace {

/// Neighbours in the order of first meeting.
Sets bruteForce(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
    Sets sets(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        std::vector<int>& neighbours = sets[static_cast<std::size_t>(v)];
        std::vector<bool> met(sets.size());
        for (int i = 0; i < adjTris.numTris(v); ++i)
            for (int const w : mesh.getTriangles()[adjTris.triIndices(v)[i]].vertices)
                if (w != v && !met[static_cast<std::size_t>(w)]) {
                    met[static_cast<std::size_t>(w)] = true;
                    neighbours.push_back(w);
                }
    }
    return sets;
}

}  // namespace

//   3---4---5
//   |1/ |3/ |
//   | / | / |
//   |/ 0|/ 2|
//   0---1---2
TEST_CASE("listsNeighboursInTheOrderOfFirstMeeting") {
    CompactMesh const mesh = support::grid(2, 1);
    tables::VertexTables const of(mesh);
    CHECK(tables::setsOf(of.vertices) ==
          Sets{{1, 4, 3}, {0, 4, 2, 5}, {1, 5}, {0, 4}, {0, 1, 3, 5}, {1, 2, 4}});
    CHECK(of.vertices.maxValence == 4);
    // records one after the other: the count, then the neighbours
    CHECK(std::vector<int>(of.vertices.offsets, of.vertices.offsets + 6) ==
          std::vector<int>{0, 4, 9, 12, 15, 20});
    CHECK(std::vector<int>(of.vertices.data, of.vertices.data + 6) ==
          std::vector<int>{3, 1, 4, 3, 4, 0});
}

TEST_CASE("aVertexIsNotItsOwnNeighbourInADegenerateTriangle") {
    tables::VertexTables const of(support::meshOf(std::vector<float>(12), {1, 1, 2}));
    CHECK(tables::setsOf(of.vertices) == Sets{{}, {2}, {1}, {}});
    CHECK(of.vertices.maxValence == 1);
}

TEST_CASE("adjVerticesOfTheZooAgreeWithBruteForceOnAnyNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        MeshAdjTris adjTris;
        meshAdjTris(mesh, adjTris);
        Sets const expected = bruteForce(mesh, adjTris);
        std::size_t largest = 0;
        for (auto const& set : expected)
            largest = std::max(largest, set.size());
        support::withPools([&, &surface = mesh](int numThreads) {
            CAPTURE(numThreads);
            MeshAdjVertices table;
            meshAdjVertices(surface, adjTris, table);
            CHECK(tables::setsOf(table) == expected);
            CHECK(table.maxValence == static_cast<int>(largest));
        });
    }
}

TEST_CASE("adjVerticesReplaceAnOlderTableAndSayHowLongItTook") {
    MeshAdjTris adjTris;
    MeshAdjVertices table;
    meshAdjTris(support::triangle(), adjTris);
    meshAdjVertices(support::triangle(), adjTris, table);

    support::DebugCapture capture;
    meshAdjTris(CompactMesh(), adjTris);
    meshAdjVertices(CompactMesh(), adjTris, table);
    CHECK(table.numVertices == 0);
    CHECK(table.maxValence == 0);
    CHECK(capture.text().find("MeshAdjVertices: 0 vertices, 0 triangles: 0.") != std::string::npos);
    CHECK(capture.text().ends_with(" s\n"));
}

TEST_CASE("aTableTakesOverArraysThatItIsGiven") {
    MeshAdjVertices table(2, 1, new int[2]{0, 2}, new int[4]{1, 1, 1, 0});
    MeshAdjVertices other;
    other.swap(table);
    CHECK(tables::setsOf(other) == Sets{{1}, {0}});
    CHECK(table.offsets == nullptr);
}
