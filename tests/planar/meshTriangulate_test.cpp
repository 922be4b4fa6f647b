#include "support/builders.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/Remap.h"
#include "trimora/planar/meshTriangulate.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

CompactMesh polygonMesh(int numVertices, ko::vector<ko::vector<int>> const& polygons) {
    CompactMesh mesh;
    mesh.resizeVertexArray(numVertices);
    mesh.polys = MeshSequence(polygons);
    return mesh;
}

std::vector<int> imagesOf(Remap const& remap) {
    return {remap.table.begin(), remap.table.begin() + remap.table.size()};
}

}  // namespace

TEST_CASE("cutsPolygonsIntoFansFromTheirFirstPoint") {
    //   3 --- 2 ------ 6
    //   |     |        |
    //   4     |        |
    //    \    |        |
    //      0 - 1 ------ 5
    CompactMesh mesh = polygonMesh(7, {{0, 1, 2, 3, 4}, {6, 2, 1}, {1, 5, 6, 2}});
    support::ModificationCounter counter(mesh);
    Remap remap;
    meshTriangulate(mesh, remap);
    CHECK(support::trianglesOf(mesh) ==
          std::vector<int>{0, 1, 2, 0, 2, 3, 0, 3, 4, 6, 2, 1, 1, 5, 6, 1, 6, 2});
    CHECK(imagesOf(remap) == std::vector<int>{0, 0, 0, 1, 2, 2});
    CHECK(remap.rangeSize == 3);
    CHECK(mesh.getNumPolys() == 3);
    CHECK(counter.total() == 0);
    CHECK(support::faultOf(mesh) == "");

    CompactMesh plain = polygonMesh(7, {{0, 1, 2, 3, 4}, {6, 2, 1}, {1, 5, 6, 2}});
    meshTriangulate(plain);
    CHECK(support::trianglesOf(plain) == support::trianglesOf(mesh));
}

TEST_CASE("leavesMeshesWithTrianglesOrWithoutPolygonsAsTheyAre") {
    Remap remap(2, 9);
    remap.set(0, 5);
    CompactMesh both = support::cube();
    both.polys = MeshSequence({{0, 1, 2, 3}});
    CompactMesh neither;
    for (CompactMesh* mesh : {&both, &neither}) {
        std::vector<int> const before = support::trianglesOf(*mesh);
        meshTriangulate(*mesh, remap);
        meshTriangulate(*mesh);
        CHECK(support::trianglesOf(*mesh) == before);
    }
    CHECK(imagesOf(remap) == std::vector<int>{5, -1});
    CHECK(remap.rangeSize == 9);
}

TEST_CASE("runsTooShortForATriangleGiveNone") {
    CompactMesh mesh = polygonMesh(5, {{0, 1}, {0, 1, 2, 3}, {}, {4}, {2, 3, 4}});
    Remap remap;
    meshTriangulate(mesh, remap);
    CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 1, 2, 0, 2, 3, 2, 3, 4});
    CHECK(imagesOf(remap) == std::vector<int>{1, 1, 4});

    CompactMesh none = polygonMesh(2, {{0, 1}});
    meshTriangulate(none, remap);
    CHECK(none.getNumTriangles() == 0);
    CHECK(remap.getDomainSize() == 0);
}
