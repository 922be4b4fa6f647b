#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

void select(CompactMesh& mesh, std::vector<int> const& triangles,
            std::vector<int> const& vertices) {
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedTriangles().setBits(static_cast<int>(triangles.size()), triangles.data());
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedVertices().setBits(static_cast<int>(vertices.size()), vertices.data());
}

std::vector<int> tableOf(Remap const& remap) {
    return {remap.table.begin(), remap.table.end()};
}

// Keeps what a listener can learn of a deletion.
struct RemapListener {
    std::vector<int> vertices;
    std::vector<int> triangles;
    bool hadRemap = false;

    explicit RemapListener(CompactMesh& mesh) {
        using Callback = koRTB::FunctionArgMember<EntityModification&, RemapListener>;
        mesh.modificationSignal().addCallback(new Callback(this, &RemapListener::onChange));
    }
    void onChange(EntityModification& modification) {
        MeshRemap const* const remap = static_cast<MeshModification&>(modification).getRemap();
        hadRemap = remap != nullptr;
        if (hadRemap) {
            vertices = tableOf(*remap->vertices);
            triangles = tableOf(*remap->triangles);
        }
    }
};

}  // namespace

//   6---7---8
//   | / | / |      grid(2, 2): square s holds triangles 2s (lower right) and 2s + 1
//   3---4---5
//   | / | / |
//   0---1---2
TEST_CASE("aSelectedVertexThatAnotherTriangleUsesStays") {
    CompactMesh mesh = support::grid(2, 2);
    select(mesh, {0, 1}, {0, 1, 3, 4});
    RemapListener listener(mesh);
    MeshDeleteSelected deleteSelected(mesh);
    CHECK_FALSE(deleteSelected.getVertexMap());
    deleteSelected();

    CHECK(mesh.getNumTriangles() == 6);
    CHECK(tableOf(*deleteSelected.getVertexMap()) == std::vector<int>{-1, 0, 1, 2, 3, 4, 5, 6, 7});
    CHECK(listener.vertices == std::vector<int>{-1, 0, 1, 2, 3, 4, 5, 6, 7});
    CHECK(listener.triangles == std::vector<int>{-1, -1, 0, 1, 2, 3, 4, 5});
    CHECK(mesh.getVertices()[0].x == 1.0f);
    CHECK(mesh.getSelectedTriangles().size == 0);
    CHECK(mesh.getSelectedVertices().size == 0);
    CHECK(support::faultOf(mesh) == "");
}

TEST_CASE("anUnselectedVertexStaysThoughNoTriangleUsesIt") {
    CompactMesh mesh = support::grid(2, 2);
    select(mesh, {0, 1}, {});
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    CHECK(mesh.getNumTriangles() == 6);
    CHECK(mesh.getNumVertices() == 9);
    CHECK(deleteSelected.getVertexMap()->rangeSize == 9);
}

TEST_CASE("withoutASelectedTriangleNothingHappens") {
    CompactMesh mesh = support::grid(2, 2);
    support::DebugCapture capture;
    support::ModificationCounter counter(mesh);
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    select(mesh, {}, {0, 1, 2});
    deleteSelected();
    CHECK(mesh.getNumVertices() == 9);
    CHECK(mesh.getSelectedVertices().count == 3);
    CHECK(counter.total() == 0);
    CHECK(capture.text() == "");
    CHECK_FALSE(deleteSelected.getVertexMap());
}

TEST_CASE("allTrianglesSelectedEmptiesTheMeshWithoutARemap") {
    CompactMesh mesh = support::cube();
    mesh.getSelectedTriangles().resize(12);
    mesh.getSelectedTriangles().setAllBits();
    RemapListener listener(mesh);
    support::ModificationCounter counter(mesh);
    support::DebugCapture capture;
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    CHECK(mesh.getNumVertices() == 0);
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(mesh.getSelectedTriangles().size == 0);
    CHECK_FALSE(deleteSelected.getVertexMap());
    CHECK_FALSE(listener.hadRemap);
    CHECK(counter.total() == 1);
    CHECK(capture.text() == "meshDeleteSelected:  deleting all vertices(8) and triangles(12)\n");
}

TEST_CASE("selectionsOfAnotherSizeThanTheMeshAreSafe") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.getSelectedTriangles().resize(2);
    mesh.getSelectedTriangles().setAllBits();
    mesh.getSelectedVertices().resize(1);
    mesh.getSelectedVertices().setAllBits();
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    CHECK(mesh.getNumTriangles() == 6);
    CHECK(mesh.getNumVertices() == 8);

    mesh.getSelectedTriangles().resize(500);
    mesh.getSelectedTriangles().setBit(400);
    deleteSelected();
    CHECK(mesh.getNumTriangles() == 6);
    mesh.getSelectedTriangles().setAllBits();
    deleteSelected();
    CHECK(mesh.getNumVertices() == 0);
}

TEST_CASE("uvsFollowTheirVerticesAndOtherSetsGo") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.allocUVArray();
    mesh.allocNormalArray();
    for (int v = 0; v < 9; ++v)
        mesh.getUVs()[v].set(static_cast<float>(v), 0.0f);
    select(mesh, {0, 1, 2, 3}, {0, 1, 2});
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    REQUIRE(mesh.getNumVertices() == 6);
    REQUIRE(mesh.getUVs() != nullptr);
    for (int v = 0; v < 6; ++v)
        CHECK(mesh.getUVs()[v].u == static_cast<float>(v + 3));
    CHECK(mesh.getNormals() == nullptr);
}

TEST_CASE("messagesCountTheSelectedOnes") {
    CompactMesh mesh = support::grid(2, 2);
    select(mesh, {0, 1}, {0, 1, 3, 4});
    support::DebugCapture capture;
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    std::string const expected = "meshDeleteSelected:  vertices 4(9)  triangles 2(8)\n"
                                 "  delete vertices: ";
    CHECK(capture.text().substr(0, expected.size()) == expected);
    CHECK(capture.text().find(" s\n  delete triangles: ") != std::string::npos);
}

TEST_CASE("aListOfTrianglesTakesItsCornersAlong") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.getSelectedTriangles().resize(3);
    mesh.getSelectedTriangles().setAllBits();
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected(adjTris, ko::vector<int>{0, 1, 0});
    CHECK(mesh.getNumTriangles() == 6);
    CHECK(mesh.getNumVertices() == 8);
    MeshDeleteSelected const copy(deleteSelected);
    CHECK(copy.getVertexMap() == deleteSelected.getVertexMap());
}

TEST_CASE("deletionAgreesWithAFilteredSurface") {
    support::Random random(6);
    for (support::NamedMesh const& named : support::zoo()) {
        CompactMesh mesh = named.mesh;
        std::vector<int> triangles;
        std::vector<int> vertices;
        std::vector<bool> isUsed(static_cast<std::size_t>(mesh.getNumVertices()), false);
        std::vector<float> expected;
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            if (random.index(2) == 0) {
                triangles.push_back(t);
                continue;
            }
            for (int const v : mesh.getTriangles()[t].vertices) {
                isUsed[static_cast<std::size_t>(v)] = true;
                float const* const xyz = mesh.getVerticesRaw() + 3 * v;
                expected.insert(expected.end(), xyz, xyz + 3);
            }
        }
        int numKept = 0;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            bool const isSelected = random.index(2) == 0;
            if (isSelected)
                vertices.push_back(v);
            numKept += !isSelected || isUsed[static_cast<std::size_t>(v)];
        }
        if (triangles.empty() || static_cast<int>(triangles.size()) == mesh.getNumTriangles())
            continue;

        select(mesh, triangles, vertices);
        support::ModificationCounter counter(mesh);
        MeshDeleteSelected deleteSelected(mesh);
        deleteSelected();
        INFO(named.name);
        CHECK(counter.total() == 1);
        CHECK(mesh.getNumVertices() == numKept);
        CHECK(support::faultOf(mesh) == "");
        CHECK(support::coordinatesOf(support::soup(mesh)) == expected);
    }
}
