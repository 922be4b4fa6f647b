#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

// A mesh with its table and the selections under test.
struct Scene {
    CompactMesh mesh;
    MeshAdjTris adjTris;
    BitVector triangles;
    BitVector vertices;

    explicit Scene(CompactMesh const& source) : mesh(source) { meshAdjTris(mesh, adjTris); }
    MeshSelect select() { return MeshSelect(mesh, adjTris, triangles, vertices); }
};

std::vector<int> bitsOf(BitVector const& bits) {
    std::vector<int> indices;
    for (int i = 0; i < bits.size; ++i) {
        if (bits.isBitSet(i))
            indices.push_back(i);
    }
    return indices;
}

int numSelectedCorners(Scene const& scene, int triangle) {
    int count = 0;
    for (int const vertex : scene.mesh.getTriangles()[triangle].vertices)
        count += scene.vertices.isBitSet(vertex);
    return count;
}

}  // namespace

TEST_CASE("selectionsOfAnotherSizeAreResizedFirst") {
    Scene scene(support::grid(2, 2));
    scene.vertices.resize(3);
    scene.vertices.setAllBits();
    scene.triangles.resize(8);
    scene.triangles.setAllBits();
    MeshSelect select = scene.select();
    CHECK(select.getSelectedVertices().size == 9);
    CHECK(select.getSelectedVertices().count == 0);
    CHECK(select.getSelectedTriangles().count == 8);
    CHECK(&select.getSelectedTriangles() == &scene.triangles);

    MeshSelect onMesh(scene.mesh, scene.adjTris);
    CHECK(&onMesh.getSelectedVertices() == &scene.mesh.getSelectedVertices());
    CHECK(scene.mesh.getSelectedVertices().size == 9);
}

TEST_CASE("trianglesAreSelectedByTheirCountOfSelectedCorners") {
    Scene scene(support::latticeSoup(30, 60, 8));
    MeshSelect select = scene.select();
    for (int v = 0; v < 30; v += 2)
        select.getSelectedVertices().setBit(v);
    for (int const numCorners : {-1, 0, 1, 2, 3, 4}) {
        select.selectTrianglesFromVertices(numCorners);
        for (int t = 0; t < 60; ++t)
            CHECK(scene.triangles.isBitSet(t) == (numSelectedCorners(scene, t) >= numCorners));
    }
    select.selectAllTrianglesFromVertices();
    for (int t = 0; t < 60; ++t)
        CHECK(scene.triangles.isBitSet(t) == (numSelectedCorners(scene, t) > 0));
}

TEST_CASE("verticesFromTrianglesReplaceTheVertexSelection") {
    Scene scene(support::grid(1, 1));
    MeshSelect select = scene.select();
    select.getSelectedVertices().setBit(2);
    select.getSelectedTriangles().setBit(0);
    select.selectVerticesFromTriangles();
    CHECK(bitsOf(scene.vertices) == std::vector<int>{0, 1, 3});
}

//   8---9--10--11
//   | / | / | / |     grid(3, 2): the triangles of the first row of squares are 0 to 5
//   4---5---6---7
//   | / | / | / |
//   0---1---2---3
TEST_CASE("oneRingStopsAtTheTrianglesRoundTheStart") {
    Scene scene(support::grid(3, 2));
    MeshSelect select = scene.select();
    select.getSelectedTriangles().setBit(0);  // corners 0, 1, 5
    select.selectTrianglesRecursive(true);
    CHECK(bitsOf(scene.triangles) == std::vector<int>{0, 1, 2, 3, 6, 8, 9});
}

TEST_CASE("floodingTakesWholeComponents") {
    CompactMesh const cube = support::cube();
    Scene scene(support::joined(support::grid(20, 20), support::joined(cube, cube, 5.0f), 0, 0, 9));
    MeshSelect select = scene.select();
    select.getSelectedTriangles().setBit(805);
    select.selectTrianglesRecursive(false);
    CHECK(scene.triangles.count == 12);
    CHECK(scene.triangles.isBitSet(800));
    select.getSelectedTriangles().setBit(399);
    select.selectTrianglesRecursive(false);
    CHECK(scene.triangles.count == 812);
    CHECK_FALSE(scene.triangles.isBitSet(812));
}

TEST_CASE("floodingFromNothingSelectsNothing") {
    Scene scene(support::cube());
    support::DebugCapture capture;
    scene.select().selectTrianglesRecursive(false);
    CHECK(scene.triangles.count == 0);
    CHECK(capture.text().substr(0, 45) == "MeshSelect::selectTrianglesRecursive()\n   0.0");
}

TEST_CASE("invertingFlipsEveryBitAndKeepsTheCount") {
    for (int const numSquares : {1, 16, 37}) {
        Scene scene(support::grid(numSquares, 1));
        MeshSelect select = scene.select();
        select.getSelectedTriangles().setBit(1);
        select.invertTriangleSelection();
        CHECK(scene.triangles.count == 2 * numSquares - 1);
        CHECK_FALSE(scene.triangles.isBitSet(1));
        select.invertTriangleSelection();
        CHECK(bitsOf(scene.triangles) == std::vector<int>{1});
    }
}

TEST_CASE("affectedTrianglesDependOnVertexEdgeOrInside") {
    Scene scene(support::grid(3, 2));
    MeshSelect select = scene.select();
    auto const affected = [&](MeshCoord const& coord, double tolerance) {
        select.getSelectedTriangles().clearBits();
        select.selectAffectedTriangles({MeshCoord(), coord}, tolerance);
        return bitsOf(scene.triangles);
    };
    CHECK(affected(MeshCoord(), 1.0).empty());
    // Triangle 0 has the corners 0, 1, 5.
    CHECK(affected(MeshCoord(0, 1, 0, 0), 1e-6) == std::vector<int>{0, 1});
    CHECK(affected(MeshCoord(0, 0.5, 0.5, 0), 1e-6) == std::vector<int>{0, 1, 2, 3});
    CHECK(affected(MeshCoord(0, 0.4, 0.3, 0.3), 1e-6) == std::vector<int>{0, 1, 2, 3, 6, 8, 9});
    CHECK(affected(MeshCoord(0, 0.9, 0.05, 0.05), 0.2) == std::vector<int>{0, 1});

    BitVector around(12);
    select.selectTrisAdjacentToVert(3, around);
    CHECK(bitsOf(around) == std::vector<int>{4});
}

TEST_CASE("aScreenPolygonSelectsWhatProjectsIntoIt") {
    Scene scene(support::grid(4, 4));
    MeshSelect select = scene.select();
    select.getSelectedVertices().setBit(24);
    ko::vector<Point> const polygon = {{0.5, 0.5, 7}, {2.5, 0.5, -3}, {2.5, 1.5, 0}, {0.5, 1.5, 0}};
    select.selectVertices(ProjMatrix(), polygon);
    CHECK(bitsOf(scene.vertices) == std::vector<int>{6, 7, 24});

    // Halves x and y through w, and moves along both.
    ProjMatrix matrix;
    matrix.m[15] = 2.0;
    matrix.m[12] = matrix.m[13] = 0.5;
    select.getSelectedVertices().clearBits();
    select.selectVertices(matrix, polygon);
    CHECK(bitsOf(scene.vertices) == std::vector<int>{6, 7, 8, 9, 11, 12, 13, 14});

    select.getSelectedVertices().clearBits();
    select.selectVertices(matrix, {});
    select.selectVertices(matrix, {{0, 0, 0}, {9, 9, 0}});
    matrix.m[15] = 0.0;
    select.selectVertices(matrix, polygon);
    CHECK(scene.vertices.count == 0);
}

TEST_CASE("everySelectionTellsItsNameAndCount") {
    Scene scene(support::grid(1, 1));
    MeshSelect select = scene.select();
    auto const startsWith = [](std::string const& text, std::string const& start) {
        return text.substr(0, start.size()) == start;
    };
    {
        support::DebugCapture capture;
        select.selectVertices(ProjMatrix(), {{-1, -1, 0}, {5, -1, 0}, {5, 0.5, 0}, {-1, 0.5, 0}});
        CHECK(startsWith(capture.text(), "MeshSelect::selectVertices: vertices(4) triangles(2)\n"
                                         "  selected vertices(2): 0."));
    }
    {
        support::DebugCapture capture;
        select.selectTrianglesFromVertices(2);
        CHECK(startsWith(capture.text(), "MeshSelect::selectedTrianglesFromVertices()\n"
                                         "  selected triangles(1): 0."));
    }
    {
        support::DebugCapture capture;
        select.selectAllTrianglesFromVertices();
        CHECK(startsWith(capture.text(), "MeshSelect::selectAllTrianglesFromVertices()\n"
                                         "  selected triangles(2): 0."));
    }
    {
        support::DebugCapture capture;
        select.selectVerticesFromTriangles();
        CHECK(startsWith(capture.text(), "MeshSelect::selectVerticesFromTriangles()\n"
                                         "  selected vertices(4): 0."));
    }
}

TEST_CASE("selectionCallsAreSafeOverTheZoo") {
    for (support::NamedMesh const& named : support::zoo()) {
        Scene scene(named.mesh);
        MeshSelect select = scene.select();
        if (named.mesh.getNumTriangles() > 0)
            select.getSelectedTriangles().setBit(0);
        int const before = select.getSelectedTriangles().count;
        select.selectTrianglesRecursive(true);
        int const oneRing = scene.triangles.count;
        select.selectTrianglesRecursive(false);
        INFO(named.name);
        CHECK(before <= oneRing);
        CHECK(oneRing <= scene.triangles.count);
        if (before > 0 && support::numComponents(named.mesh) == 1)
            CHECK(scene.triangles.count == named.mesh.getNumTriangles());
        select.selectVerticesFromTriangles();
        select.selectTrianglesFromVertices(3);
        select.invertTriangleSelection();
    }
}
