#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/meshSwap.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("bothMeshesHearOnceAndKeepAllThatTheyGot") {
    CompactMesh first = support::cube();
    first.allocNormalArray();
    first.allocTriangleNormalArray();
    first.allocAttributes("weights", 1);
    first.setNormalsComputed(true);
    first.resizeLineArray(1);
    first.resizeLineStripArrays(2, 1);
    first.resizeTriStripArrays(3, 1);
    first.polys.resize(4, 1);
    CompactMesh second = support::grid(1, 1);
    second.allocUVArray();
    second.resizeTriFanArrays(3, 1);

    support::ModificationCounter firstCounter(first);
    support::ModificationCounter secondCounter(second);
    meshSwap(first, second);
    CHECK(firstCounter.total() == 1);
    CHECK(secondCounter.total() == 1);
    CHECK(firstCounter.type(0) == MeshModification::Topology);
    CHECK(secondCounter.type(0) == MeshModification::Topology);

    CHECK(first.getNumTriangles() == 2);
    CHECK(first.getUVs() != nullptr);
    CHECK(first.getNumTriFans() == 1);
    CHECK(second.getNumTriangles() == 12);
    CHECK(second.getNormals() != nullptr);
    CHECK(second.getNormalsComputed());
    CHECK(second.getTriangleNormals() != nullptr);
    CHECK(second.getAttributes("weights") != nullptr);
    CHECK(second.getNumLines() == 1);
    CHECK(second.getNumLineStrips() == 1);
    CHECK(second.getNumTriStrips() == 1);
    CHECK(second.getNumPolys() == 1);
}

TEST_CASE("aMeshSwappedWithItselfKeepsItsContents") {
    CompactMesh mesh = support::cube();
    meshSwap(mesh, mesh);
    CHECK(mesh.getNumTriangles() == 12);
}
