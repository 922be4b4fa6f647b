#include "bridges.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "support/topoBuilders.h"

#include "trimora/topology/MeshConvertRep.h"

#include <doctest/doctest.h>
#include <memory>

using namespace koGeom;
using bridges::allOf;
using bridges::bitsOf;
using bridges::tableOf;
using support::faultOf;

//   6---7---8
//   | / | / |      grid(2, 2): square s holds triangles 2s (lower right) and 2s + 1
//   3---4---5
//   | / | / |
//   0---1---2
TEST_CASE("extractsTheRegionInTheOrderOfTheMesh") {
    CompactMesh const mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    MeshConvertRep rep(mesh, bitsOf(8, {1, 4, 7}), bitsOf(9, {0, 3, 4, 7, 8}), adjTris);
    CHECK_FALSE(rep.getTopoMeshVertex(4));

    support::DebugCapture debug;
    TopoMesh& topo = rep.extract();
    std::string const text = debug.text();
    CHECK(text.rfind("meshTwin: 5 vertices: ", 0) == 0);
    CHECK(text.find("\nMeshConvertRep::extract: 0.0") != std::string::npos);

    // Vertices 0, 3, 4, 7, 8 are 0 to 4 of the half-edge mesh.
    CHECK(support::facesOf(topo) == "0 2 1, 1 2 3, 2 4 3");
    CHECK(support::numOpenEdges(topo) == 5);
    CHECK(faultOf(topo) == "");
    CHECK(rep.getTopoMeshVertex(7).point() == Point(1, 2, 0));
    for (int const outside : {1, 2, 5, 6, 9, 1000000, -1})
        CHECK_FALSE(rep.getTopoMeshVertex(outside));
    CHECK(&rep.extract() == &topo);
    CHECK(topo.numFaces() == 3);
}

TEST_CASE("coordinatesKeepTheirWeightsInTheFaceOfTheirTriangle") {
    CompactMesh const mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    MeshConvertRep rep(mesh, bitsOf(8, {1, 4}), allOf(9), adjTris);
    TopoMesh& topo = rep.extract();

    MeshCoord const inside(4, 0.5, 0.125, 0.375);
    TopoMeshCoord const copied = rep.copy(inside);
    CHECK(copied.face == topo.firstFace().nextInList());
    CHECK(copied.weights[1] == 0.125);
    CHECK(copied.evaluate() == inside.evaluate(mesh.getVertices(), mesh.getTriangles()));

    for (int const triangle : {0, 5, 8, -1, 1 << 30}) {
        TopoMeshCoord out = copied;
        rep.copy(out, MeshCoord(triangle, 0.5, 0.25, 0.25));
        CHECK_FALSE(out.face);
        for (double const weight : out.weights)
            CHECK(weight == 0.0);
    }
}

TEST_CASE("theShortFormTakesTheBitsOfTheTrianglesForTheVerticesToo") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.getSelectedTriangles() = bitsOf(8, {0, 1, 4});
    mesh.getSelectedVertices() = allOf(9);  // not asked
    MeshAdjTris const adjTris = tableOf(mesh);
    MeshConvertRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();

    CHECK(topo.numVertices() == 3);  // 0, 1 and 4
    CHECK(rep.getTopoMeshVertex(1));
    CHECK_FALSE(rep.getTopoMeshVertex(3));
    CHECK(support::facesOf(topo) == "0 1 2");  // triangles 1 (0 4 3) and 4 (3 4 7) lack vertex 3
    CHECK(rep.copy(MeshCoord(0, 1.0, 0.0, 0.0)).face);
    CHECK_FALSE(rep.copy(MeshCoord(1, 1.0, 0.0, 0.0)).face);
    CHECK_FALSE(rep.copy(MeshCoord(4, 1.0, 0.0, 0.0)).face);
    CHECK(faultOf(topo) == "");

    // Bits beyond the last vertex name none.
    CompactMesh closed = support::octahedron();
    closed.getSelectedTriangles() = allOf(8);
    MeshAdjTris const closedTable = tableOf(closed);
    MeshConvertRep whole(closed, closedTable);
    CHECK(whole.extract().numVertices() == 6);
    CHECK(whole.extract().numFaces() == 8);
}

TEST_CASE("selectionsOfAnotherLengthCountAsCutOrFilledUp") {
    CompactMesh const mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    MeshConvertRep tooLong(mesh, allOf(1000), allOf(1000), adjTris);
    CHECK(tooLong.extract().numFaces() == 8);
    CHECK(tooLong.extract().numVertices() == 9);
    MeshConvertRep tooShort(mesh, allOf(2), allOf(5), adjTris);
    CHECK(support::facesOf(tooShort.extract()) == "0 1 4, 0 4 3");
    MeshConvertRep onlyVertices(mesh, BitVector(), bitsOf(9, {2, 8}), adjTris);
    CHECK(onlyVertices.extract().numVertices() == 2);
    CHECK(onlyVertices.getTopoMeshVertex(8).point() == Point(2, 2, 0));
    MeshConvertRep nothing(mesh, BitVector(), BitVector(), adjTris);
    CHECK(nothing.extract().numVertices() == 0);
}

TEST_CASE("aWholeMeshGoesThroughAndComesBackTheSame") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        CompactMesh const& mesh = named.mesh;
        MeshAdjTris const adjTris = tableOf(mesh);
        MeshConvertRep rep(mesh, allOf(mesh.getNumTriangles()), allOf(mesh.getNumVertices()),
                           adjTris);
        TopoMesh& topo = rep.extract();
        CHECK(faultOf(topo) == "");
        std::unique_ptr<CompactMesh> const back(meshConvertRep(topo));
        CHECK(support::coordinatesOf(*back) == support::coordinatesOf(mesh));
        CHECK(support::trianglesOf(*back) == support::trianglesOf(mesh));
    }
}

//   4---3
//   |     \          a pentagon and a triangle below it; vertex 5 stands alone and vertex 6 goes
//   |       2
//   |     /
//   0---1
//     \ |
//       7
TEST_CASE("facesBecomeFansFromTheirFirstVertex") {
    TopoMesh topo;
    std::vector<TopoMeshVertex> v;
    for (Point const& p : {Point(0, 0, 0), Point(1, 0, 0), Point(2, 1, 0), Point(1, 2, 0),
                           Point(0, 2, 0), Point(9, 9, 9), Point(8, 8, 8), Point(1, -1, 0.1)})
        v.push_back(topo.allocVertex(p));
    topo.allocFace({v[0], v[1], v[2], v[3], v[4]});
    topo.allocTriangle(v[0], v[7], v[1]);
    REQUIRE_FALSE(topo.deleteVertex(v[6]));
    REQUIRE(topo.numVertices() == 7);

    std::unique_ptr<CompactMesh> const mesh(meshConvertRep(topo));
    CHECK(support::trianglesOf(*mesh) == std::vector<int>{0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 6, 1});
    CHECK(mesh->getNumVertices() == 7);
    CHECK(mesh->getVertices()[5].x == 9.0f);
    CHECK(mesh->getVertices()[6].z == 0.1f);
    CHECK(mesh->getNormals() == nullptr);

    TopoMesh empty;
    std::unique_ptr<CompactMesh> const none(meshConvertRep(empty));
    CHECK(none->getNumVertices() == 0);
    CHECK(none->getNumTriangles() == 0);
}
