#include "support/builders.h"

#include "trimora/assembly/meshConvertLine.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSequence.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("eachVertexBecomesACornerOfItsFirstTriangle") {
    CompactMesh mesh = support::cube();
    mesh.resizeVertexArray(9);  // the ninth is used by no triangle
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshSequence const sequence(ko::vector<ko::vector<int>>{{1}, {7, 0, 8, 3, 7}});
    ko::Reference<MeshCurve> const curve = meshConvertLine(mesh, adjTris, sequence, 1);

    CHECK(curve->closed);
    REQUIRE(curve->points.size() == 5);
    int const vertices[] = {7, 0, 8, 3, 7};
    for (std::size_t k = 0; k < 5; ++k) {
        MeshCoord const& coord = curve->points[k];
        if (vertices[k] == 8) {
            CHECK_FALSE(coord.valid());
            continue;
        }
        CHECK(coord.triangle == adjTris.triIndices(vertices[k])[0]);
        CHECK(coord.weights[0] + coord.weights[1] + coord.weights[2] == 1.0);
        CHECK(coord.evaluate(mesh.getVertices(), mesh.getTriangles()) ==
              mesh.getVertices()[vertices[k]].asPoint());
    }
}
