#include "support/builders.h"

#include "trimora/assembly/meshCoordInterpolate.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;

namespace {

struct Scene {
    CompactMesh mesh;
    MeshAdjTris adjTris;

    explicit Scene(CompactMesh const& source) : mesh(source) { meshAdjTris(mesh, adjTris); }
    MeshCoord between(MeshCoord const& a, MeshCoord const& b, double t = 0.5) const {
        return meshCoordInterpolate(mesh, adjTris, 1.0 - t, a, t, b, 1e-9);
    }
    Point positionOf(MeshCoord const& coord) const {
        return coord.evaluate(mesh.getVertices(), mesh.getTriangles());
    }
};

}  // namespace

//   8---9--10--11
//   | / | / | / |     grid(3, 2): triangle 0 is (0 1 5), triangle 1 is (0 5 4)
//   4---5---6---7
//   | / | / | / |
//   0---1---2---3
TEST_CASE("pointsOfOneTriangleMeetInIt") {
    Scene const scene(support::grid(3, 2));
    MeshCoord const a(0, 0.6, 0.2, 0.2);
    MeshCoord const b(0, 0.2, 0.6, 0.2);
    MeshCoord const middle = scene.between(a, b, 0.25);
    CHECK(middle.triangle == 0);
    CHECK(middle.weights[0] == doctest::Approx(0.5));
    CHECK(middle.weights[1] == doctest::Approx(0.3));
}

TEST_CASE("aPointOnASharedElementMeetsInTheOthersTriangle") {
    Scene const scene(support::grid(3, 2));
    MeshCoord const onSharedEdge(0, 0.5, 0.0, 0.5);
    MeshCoord const inNeighbour(1, 0.2, 0.2, 0.6);
    MeshCoord const middle = scene.between(onSharedEdge, inNeighbour);
    CHECK(middle.triangle == 1);
    CHECK(distance(scene.positionOf(middle),
                   combine(scene.positionOf(onSharedEdge), scene.positionOf(inNeighbour))) < 1e-12);

    MeshCoord const onVertex5(1, 0.0, 1.0, 0.0);
    MeshCoord const acrossVertex5(9, 0.2, 0.2, 0.6);
    CHECK(scene.between(onVertex5, acrossVertex5).triangle == 9);
}

TEST_CASE("pointsWithoutACommonTriangleGiveNone") {
    Scene const scene(support::grid(3, 2));
    MeshCoord const a(0, 0.4, 0.3, 0.3);
    for (MeshCoord const& b :
         {MeshCoord(1, 0.4, 0.3, 0.3), MeshCoord(5, 0.4, 0.3, 0.3), MeshCoord()}) {
        MeshCoord const none = scene.between(a, b);
        CHECK(none.triangle == -1);
        CHECK(none.weights[0] == 0.0);
        CHECK_FALSE(none.valid());
    }
}

TEST_CASE("degenerateAndNonManifoldNeighboursAreHarmless") {
    for (support::NamedMesh const& named : support::zoo()) {
        Scene const scene(named.mesh);
        for (int t = 0; t + 1 < named.mesh.getNumTriangles() && t < 20; ++t) {
            MeshCoord const a(t, 0.4, 0.3, 0.3);
            INFO(named.name);
            CHECK(scene.between(a, MeshCoord(t, 0.2, 0.4, 0.4)).triangle >= -1);
            CHECK(scene.between(a, MeshCoord(t + 1, 1.0, 0.0, 0.0)).triangle >= -1);
        }
    }
}
