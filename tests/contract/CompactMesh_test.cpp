#include "support/builders.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"

#include <doctest/doctest.h>
#include <string>
#include <type_traits>
#include <vector>

using namespace koGeom;

namespace {

// A cube with something in every array that a modification can drop.
CompactMesh fullMesh() {
    CompactMesh mesh = support::cube();
    mesh.allocNormalArray();
    mesh.allocTriangleNormalArray();
    mesh.resizeLineArray(1);
    mesh.resizeLineStripArrays(2, 1);
    mesh.getLineStripLengths()[0] = 2;
    mesh.resizeTriStripArrays(3, 1);
    mesh.getTriStripLengths()[0] = 3;
    mesh.resizeTriFanArrays(3, 1);
    mesh.getTriFanLengths()[0] = 3;
    mesh.polys.resize(4, 1);
    mesh.polys.lengths[0] = 4;
    return mesh;
}

// Which of the arrays over the faces are there.
std::string contentsOf(CompactMesh const& mesh) {
    std::string contents;
    contents += mesh.getTriangleNormals() != nullptr ? "triangleNormals " : "";
    contents += mesh.getNumLines() > 0 ? "lines " : "";
    contents += mesh.getNumLineStrips() > 0 ? "lineStrips " : "";
    contents += mesh.getNumTriStrips() > 0 ? "strips " : "";
    contents += mesh.getNumTriFans() > 0 ? "fans " : "";
    contents += mesh.getNumPolys() > 0 ? "polys " : "";
    return contents;
}

template <class Mark>
std::string contentsAfter(MeshModification::Type type, Mark mark) {
    CompactMesh mesh = fullMesh();
    mesh.getSelectedTriangles().resize(12);
    mesh.getSelectedTriangles().setAllBits();
    support::ModificationCounter counter(mesh);
    MeshModification modification(&mesh, type, nullptr);
    mark(modification);
    mesh.modified(modification);
    CHECK(counter.total() == 1);
    CHECK(mesh.getNumTriangles() == 12);
    CHECK(mesh.getSelectedTriangles().count == 12);
    return contentsOf(mesh);
}

}  // namespace

TEST_CASE("theCountMakesTheVerticesAndNullsTheRestAbsent") {
    CompactMesh const mesh(3, nullptr, nullptr, nullptr, nullptr);
    CHECK(mesh.getNumVertices() == 3);
    CHECK(mesh.getVertices()[2].z == 0.0f);
    CHECK(mesh.getNormals() == nullptr);
    CHECK(mesh.getUVs() == nullptr);
    CHECK(mesh.getTriangles() == nullptr);
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(mesh.getNumAttributes() == 1);
}

TEST_CASE("theConstructorCopiesWhatItIsGiven") {
    MeshVertex const vertices[2] = {{1, 2, 3}, {4, 5, 6}};
    MeshNormal const normals[2] = {{0, 0, 1}, {0, 1, 0}};
    MeshUV const uvs[2] = {{0.25f, 0.5f}, {0.75f, 1.0f}};
    MeshColour const colours[2] = {{1, 0, 0, 1}, {0, 1, 0, 0.5f}};
    CompactMesh const mesh(2, vertices, normals, uvs, colours);
    CHECK(mesh.getVertices()[1].z == 6.0f);
    CHECK(mesh.getNormals()[1].y == 1.0f);
    CHECK(mesh.getUVs()[0].v == 0.5f);
    CHECK(mesh.getAttributes("colours")->asFloat4()[1].values[3] == 0.5f);
}

TEST_CASE("rawViewsShowTheSameBytes") {
    CompactMesh mesh = support::tetrahedron();
    CHECK(static_cast<void*>(mesh.getTrianglesRaw()) == mesh.getTriangles());
    CHECK(mesh.getTrianglesRaw()[4] == mesh.getTriangles()[1][1]);
    CHECK(mesh.getVerticesRaw()[5] == mesh.getVertices()[1].z);
}

TEST_CASE("triangleNormalsKeepInStepWithTheTriangles") {
    CompactMesh mesh = support::cube();
    mesh.allocTriangleNormalArray();
    mesh.getTriangleNormals()[0] = MeshNormal{1, 2, 3};
    mesh.resizeTriangleArray(20);
    CHECK(mesh.getTriangleNormals()[0].z == 3.0f);
    CHECK(mesh.getTriangleNormals()[19].x == 0.0f);
    CHECK(mesh.getTriangles()[19][2] == 0);
    mesh.copyTriangles(2, mesh.getTrianglesRaw() + 3);
    CHECK(mesh.getTriangles()[0][0] == support::cube().getTriangles()[1][0]);
    mesh.resizeTriangleArray(0);
    CHECK(mesh.getTriangleNormals() == nullptr);
    mesh.resizeTriangleArray(2);
    CHECK(mesh.getTriangleNormals() == nullptr);
}

TEST_CASE("topologyDropsWhatIsNotMarked") {
    auto const type = MeshModification::Topology;
    CHECK(contentsAfter(type, [](MeshModification&) {}) == "");
    CHECK(contentsAfter(type, [](MeshModification& m) { m.triangleNormalsValid(); }) ==
          "triangleNormals ");
    CHECK(contentsAfter(type, [](MeshModification& m) { m.stripsAndFansModified(); }) ==
          "strips fans ");
    CHECK(contentsAfter(type, [](MeshModification& m) { m.polysModified(); }) == "polys ");
    CHECK(contentsAfter(type, [](MeshModification& m) {
              m.triangleNormalsModified();
              m.linesModified();
              m.lineStripsModified();
          }) == "triangleNormals lines lineStrips ");
}

TEST_CASE("geometryDropsTriangleNormalsAndAttributesDropNothing") {
    std::string const others = "lines lineStrips strips fans polys ";
    auto const nothing = [](MeshModification&) {};
    CHECK(contentsAfter(MeshModification::Geometry, nothing) == others);
    CHECK(contentsAfter(MeshModification::Geometry, [](MeshModification& m) {
              m.triangleNormalsModified();
          }) == "triangleNormals " + others);
    CHECK(contentsAfter(MeshModification::Attributes, nothing) == "triangleNormals " + others);
}

TEST_CASE("changeableStripsDropTheirStarts") {
    CompactMesh mesh = fullMesh();
    CompactMesh const& constant = mesh;
    CHECK(constant.getLineStripStarts()[0] == constant.getLineStripPoints());
    constant.getLineStripLengths();
    CHECK(mesh.lineStrips.starts.size() == 1);
    mesh.getLineStripLengths();
    CHECK(mesh.lineStrips.starts.size() == 0);
    constant.getLineStripStarts();
    mesh.getLineStripPoints();
    CHECK(mesh.lineStrips.starts.size() == 0);
}

TEST_CASE("copySwapAndMoveCarryEverything") {
    CompactMesh mesh = fullMesh();
    mesh.getSelectedTriangles().resize(12);
    mesh.getSelectedTriangles().setBit(5);
    std::string const contents = contentsOf(mesh);
    std::size_t const numBytes = mesh.getSizeInBytes();

    CompactMesh copy(mesh);
    CHECK(contentsOf(copy) == contents);
    CHECK(copy.getSizeInBytes() == numBytes);
    CHECK(copy.getTriangles() != mesh.getTriangles());
    CompactMesh other = support::triangle();
    other.swap(copy);
    CHECK(other.getSelectedTriangles().isBitSet(5));
    CHECK(copy.getNumVertices() == 3);
    CompactMesh const moved(std::move(other));
    CHECK(contentsOf(moved) == contents);
    CHECK(other.getNumVertices() == 0);
    CHECK(other.getNumAttributes() == 1);
    copy = moved;
    copy = *&copy;
    CHECK(contentsOf(copy) == contents);
    copy.clearSelection();
    CHECK(copy.getSelectedTriangles().count == 0);
    CHECK(copy.getSelectedTriangles().size == 12);
}

TEST_CASE("meshSizeCountsEveryArray") {
    CompactMesh const mesh = support::cube();
    CHECK(mesh.getSizeInBytes() == 8 * 12 + 12 * 12);
    CompactMesh full = fullMesh();
    full.getSelectedVertices().resize(33);
    CHECK(full.getSizeInBytes() == 8 * 12 + 12 * 12 + 8 * 12 + 12 * 12 + 8 + (2 + 1) * 4 +
                                       2 * (3 + 1) * 4 + (4 + 1) * 4 + 8);
}
