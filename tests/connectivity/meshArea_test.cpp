#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/connectivity/meshArea.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <cmath>
#include <doctest/doctest.h>
#include <numbers>

using namespace koGeom;

namespace {

AffineMatrixFlt scaled(float x, float y, float z) {
    AffineMatrixFlt matrix;
    matrix.m[0] = x;
    matrix.m[4] = y;
    matrix.m[8] = z;
    return matrix;
}

/// The grid with each vertex's x and y, halved, as UVs, and mirrored as STs.
CompactMesh texturedGrid() {
    CompactMesh mesh = support::grid(4, 2);
    mesh.allocUVArray();
    mesh.allocSTArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        mesh.getUVs()[v].set(0.5f * p.x, 0.5f * p.y);
        mesh.getSTs()[v].set(-p.x, p.y);
    }
    return mesh;
}

}  // namespace

TEST_CASE("areaIsThatOfTheChannel") {
    CompactMesh const mesh = texturedGrid();
    CHECK(meshArea(mesh, MeshChannelVertices) == 8.0f);
    CHECK(meshArea(mesh, MeshChannelUVs) == 2.0f);
    CHECK(meshArea(mesh, MeshChannelSTs) == 8.0f);  // mirrored triangles count as much
    CHECK(meshArea(mesh, MeshChannelNormals) == 0.0f);
    CHECK(meshArea(mesh, static_cast<MeshChannel>(7)) == 0.0f);
    CHECK(meshArea(support::grid(4, 2), MeshChannelUVs) == 0.0f);
    CHECK(meshArea(support::grid(4, 2), MeshChannelSTs) == 0.0f);
    CHECK(meshArea(CompactMesh(), MeshChannelVertices) == 0.0f);
}

TEST_CASE("placementScalesTheAreaInSpaceOnly") {
    CompactMesh const mesh = texturedGrid();
    MeshPlacement placement{scaled(2, 3, 5), &mesh};
    placement.matrix.m[9] = 100.0f;  // a shift does not count
    CHECK(meshArea(placement, MeshChannelVertices) == 48.0f);
    CHECK(meshArea(placement, MeshChannelUVs) == 2.0f);
    CHECK(meshArea(MeshPlacement{AffineMatrixFlt(), nullptr}, MeshChannelVertices) == 0.0f);
}

TEST_CASE("sphereAreaConvergesToFourPi") {
    double previous = 1.0;
    for (int levels = 2; levels <= 6; ++levels) {
        double const error =
            4.0 * std::numbers::pi -
            static_cast<double>(meshArea(support::sphere(levels), MeshChannelVertices));
        CHECK(error > 0.0);
        if (levels > 3)
            CHECK(previous / error == doctest::Approx(4.0).epsilon(0.05));  // second order
        previous = error;
    }
}

TEST_CASE("areaDependsOnTheNumberOfThreadsInItsLastBitsAtMost") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        double const expected = support::area(mesh);
        support::withPools([&, &surface = mesh](int) {
            CHECK(static_cast<double>(meshArea(surface, MeshChannelVertices)) ==
                  doctest::Approx(expected).epsilon(1e-6));
        });
    }
}

TEST_CASE("sharesOfSeveralMeshesAddUpToOne") {
    CompactMesh const mesh = texturedGrid();
    ko::list<MeshPlacement> placements{
        {scaled(1, 1, 1), &mesh}, {scaled(3, 1, 1), &mesh}, {scaled(1, 1, 1), nullptr}};
    ko::vector<float> shares{9.0f};
    CHECK(meshArea(placements, MeshChannelVertices, shares) == 32.0f);
    CHECK(shares == ko::vector<float>{0.25f, 0.75f, 0.0f});

    CHECK(meshArea(placements, MeshChannelNormals, shares) == 0.0f);
    CHECK(shares.empty());

    // a sum below the tolerance: the raw areas stay
    placements = {{scaled(1e-4f, 1e-4f, 1), &mesh}};
    CHECK(meshArea(placements, MeshChannelVertices, shares) == 0.0f);
    REQUIRE(shares.size() == 1);
    CHECK(shares[0] == doctest::Approx(8e-8));
}
