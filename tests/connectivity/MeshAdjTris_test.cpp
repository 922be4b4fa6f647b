#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "tables.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/getSharedEdgeAdjacentTriangle.h"
#include "trimora/connectivity/sortAdjTris.h"

#include <algorithm>
#include <doctest/doctest.h>

using namespace koGeom;
using tables::Sets;

namespace {

Sets bruteForce(CompactMesh const& mesh) {
    Sets sets(static_cast<std::size_t>(mesh.getNumVertices()));
    std::vector<int> const corners = support::trianglesOf(mesh);
    for (std::size_t i = 0; i < corners.size(); ++i)
        sets[static_cast<std::size_t>(corners[i])].push_back(static_cast<int>(i / 3));
    return sets;
}

/// The fan order by its definition, one search for each place.
std::vector<int> bruteForceFan(int vertex, std::vector<int> tris, MeshTriangle const* triangles) {
    for (std::size_t i = 0; i + 1 < tris.size(); ++i) {
        MeshTriangle const& triangle = triangles[tris[i]];
        int const corner = triangle[0] == vertex ? 0 : triangle[1] == vertex ? 1 : 2;
        int const before = triangle[(corner + 2) % 3];
        std::size_t found = 0;
        for (std::size_t j = tris.size(); j-- > i + 1;)
            for (int c = 0; c < 3; ++c)
                if (triangles[tris[j]][c] == vertex && triangles[tris[j]][(c + 1) % 3] == before)
                    found = j;
        if (found != 0)
            std::swap(tris[i + 1], tris[found]);
    }
    return tris;
}

/// The neighbour across an edge by a search over the set of the edge's start.
std::pair<int, int> bruteForceAcross(int triangle, int edge, CompactMesh const& mesh,
                                     MeshAdjTris const& adjTris) {
    MeshTriangle const* const triangles = mesh.getTriangles();
    int const from = triangles[triangle][edge];
    for (int i = 0; i < adjTris.numTris(from); ++i) {
        int const t = adjTris.triIndices(from)[i];
        for (int corner = 0; corner < 3 && t != triangle; ++corner)
            if (triangles[t][corner] == triangles[triangle][(edge + 1) % 3])
                return {t, corner};
    }
    return {-1, -1};
}

}  // namespace

//   3---4---5
//   |1/ |3/ |      vertex (i, j) has number 3j + i
//   | / | / |
//   |/ 0|/ 2|
//   0---1---2
TEST_CASE("listsTheTrianglesAroundEachVertexInAscendingOrder") {
    MeshAdjTris table;
    meshAdjTris(support::grid(2, 1), table);
    CHECK(tables::setsOf(table.getData()) == Sets{{0, 1}, {0, 2, 3}, {2}, {1}, {0, 1, 3}, {2, 3}});
    CHECK(table.numTris(1) == 3);
    CHECK(table.triIndices(1)[2] == 3);

    int corners[9];
    table.copyTriangles(1, corners, support::grid(2, 1).getTrianglesRaw());
    CHECK(std::vector<int>(corners, corners + 9) == std::vector<int>{0, 1, 4, 1, 2, 5, 1, 5, 4});
}

TEST_CASE("listsADegenerateTriangleOnceForEachCorner") {
    MeshAdjTris table;
    meshAdjTris(support::meshOf(std::vector<float>(12), {1, 1, 2}), table);
    CHECK(tables::setsOf(table.getData()) == Sets{{}, {0, 0}, {0}, {}});
}

TEST_CASE("adjTrisOfTheZooAgreeWithBruteForceOnAnyNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        Sets const expected = bruteForce(mesh);
        support::withPools([&, &surface = mesh](int numThreads) {
            CAPTURE(numThreads);
            MeshAdjTris table;
            meshAdjTris(surface, table);
            CHECK(tables::setsOf(table.getData()) == expected);
            CHECK(table.getData().items.size() == 3 * surface.getNumTriangles());
        });
    }
}

TEST_CASE("adjTrisReplaceAnOlderTableAndSayHowLongItTook") {
    MeshAdjTris table;
    meshAdjTris(support::sphere(2), table);
    support::DebugCapture capture;
    meshAdjTris(support::triangle(), table);
    CHECK(tables::setsOf(table.getData()) == Sets{{0}, {0}, {0}});
    CHECK(capture.text().starts_with("MeshAdjTris: 3 vertices 1 triangles 0."));

    ArrayOfSets sets;
    MeshAdjTris taken(sets);
    taken.swap(table);
    CHECK(taken.getData().getNumSets() == 3);
    CHECK(table.getData().getNumSets() == 0);
}

//        3---2
//       / \1/ \        the fan round 0, numbered 0, 2, 1, 3 anticlockwise
//      4--- 0---1
TEST_CASE("sortsAFanFromItsFirstTriangle") {
    std::vector<int> const corners{0, 1, 2, 3, 4, 0, 2, 3, 0, 0, 4, 5};
    CompactMesh const mesh = support::meshOf(std::vector<float>(18), corners);
    std::vector<int> const tris{0, 1, 2, 3};
    ko::vector<int> out{7};
    sortAdjTris(0, 4, tris.data(), mesh.getTriangles(), out);
    CHECK(out == ko::vector<int>{0, 2, 1, 3});

    // from the middle the chain runs to the fan's end, what is left keeps the order that it then has
    std::vector<int> const middle{2, 0, 3, 1};
    sortAdjTris(0, 4, middle.data(), mesh.getTriangles(), out);
    CHECK(out == ko::vector<int>{2, 1, 3, 0});

    sortAdjTris(0, 3, out.data() + 1, mesh.getTriangles(), out);  // in and out may be one
    CHECK(out == ko::vector<int>{1, 3, 0});
    sortAdjTris(0, 1, middle.data(), mesh.getTriangles(), out);
    CHECK(out == ko::vector<int>{2});
    sortAdjTris(0, 0, nullptr, mesh.getTriangles(), out);
    CHECK(out.empty());
}

TEST_CASE("fanOrderAgreesWithItsDefinitionForShortAndLongFans") {
    std::vector<support::NamedMesh> meshes = support::zoo();
    meshes.push_back({"shuffled fan", tables::shuffledFan(700)});
    for (int const numVertices : {2, 3, 6, 12})
        meshes.push_back({"crowded lattice soup", support::latticeSoup(numVertices, 500, 8)});
    for (auto const& [name, mesh] : meshes) {
        CAPTURE_BINDING(name);
        MeshAdjTris table;
        meshAdjTris(mesh, table);
        Sets const sets = tables::setsOf(table.getData());
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            std::vector<int> const& tris = sets[static_cast<std::size_t>(v)];
            ko::vector<int> out;
            sortAdjTris(v, static_cast<int>(tris.size()), tris.data(), mesh.getTriangles(), out);
            CHECK(out == bruteForceFan(v, tris, mesh.getTriangles()));
        }
    }
}

// Two piles, wound against each other, on the edge 0-1: each triangle has thousands of candidates to follow it.
TEST_CASE("fansOfManyTrianglesOnOneEdgeAreSortedInGoodTime") {
    int const half = 100000;
    std::vector<int> corners;
    std::vector<int> tris;
    for (int i = 0; i < 2 * half; ++i) {
        int const other = i < half ? 1 : 2;
        corners.insert(corners.end(), {0, other, 3 - other});
        tris.push_back(i);
    }
    CompactMesh const mesh = support::meshOf(std::vector<float>(9), corners);
    ko::vector<int> out;
    sortAdjTris(0, 2 * half, tris.data(), mesh.getTriangles(), out);
    int numAlike = 0;
    for (std::size_t i = 1; i < out.size(); ++i)
        numAlike += (out[i] < half) == (out[i - 1] < half);
    CHECK(numAlike == 0);
    std::sort(out.begin(), out.end());
    CHECK(std::equal(out.begin(), out.end(), tris.begin(), tris.end()));
}

TEST_CASE("findsTheLowestOtherTriangleAcrossAnEdge") {
    CompactMesh const mesh = support::threeOnAnEdge();
    MeshAdjTris table;
    meshAdjTris(mesh, table);
    int triangle = 2;
    int edge = 9;
    int const sharedEdge = bruteForceAcross(2, 0, mesh, table).first == 0 ? 0 : 1;
    CHECK(getSharedEdgeAdjacentTriangle(2, sharedEdge, mesh.getTriangles(), table, triangle, edge));
    CHECK(triangle == 0);

    // nothing across: the triangle stays, the edge is -1; the same variable may go in and out
    CompactMesh const single = support::triangle();
    meshAdjTris(single, table);
    CHECK_FALSE(
        getSharedEdgeAdjacentTriangle(triangle, 1, single.getTriangles(), table, triangle, edge));
    CHECK(triangle == 0);
    CHECK(edge == -1);
}

TEST_CASE("sharedEdgesOfTheZooAgreeWithASearchFromTheEdgesStart") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        if (name == "large fan")
            continue;  // the search is quadratic there, which is what the routine avoids
        CAPTURE_BINDING(name);
        MeshAdjTris table;
        meshAdjTris(mesh, table);
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            for (int edge = 0; edge < 3; ++edge) {
                auto const [expectedTriangle, expectedEdge] =
                    bruteForceAcross(t, edge, mesh, table);
                int triangle = -1;
                int across = 9;
                bool const found = getSharedEdgeAdjacentTriangle(t, edge, mesh.getTriangles(),
                                                                 table, triangle, across);
                bool const agrees = found == (expectedTriangle >= 0) &&
                                    triangle == expectedTriangle && across == expectedEdge;
                CHECK_MESSAGE(agrees, "triangle ", t, " edge ", edge);
            }
        }
    }
}
