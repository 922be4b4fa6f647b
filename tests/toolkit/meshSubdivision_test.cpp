// Subdivision of files with polygons, and the verification of the half-edge form.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshVerification.h"
#include "toolkit/readMesh.h"
#include "unwatched.h"

#include <doctest/doctest.h>

using koGeom::CompactMesh;

namespace {

constexpr char quadCube[] =
    "v -1 -1 -1\nv 1 -1 -1\nv 1 1 -1\nv -1 1 -1\nv -1 -1 1\nv 1 -1 1\nv 1 1 1\n"
    "v -1 1 1\nf 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n";

struct Read {
    CompactMesh mesh;
    trimora::ReadReport report;
};

void read(char const* text, Read& result) {
    REQUIRE(trimora::readMeshText(text, "text.obj", result.mesh, result.report));
}

std::vector<std::string> failedChecks(CompactMesh const& mesh,
                                      std::vector<int> const& trianglePolygon = {}) {
    std::vector<std::string> names;
    for (auto const& check : unwatched::verifyMesh(mesh, trianglePolygon).checks) {
        if (!check.passed)
            names.push_back(check.name);
    }
    return names;
}

using Names = std::vector<std::string>;

}  // namespace

TEST_CASE("polygonsAreSubdividedAsPolygons") {
    Read cube;
    read(quadCube, cube);
    CompactMesh const once = unwatched::subdivideMesh(cube.mesh, cube.report.trianglePolygon, 1);
    CHECK(once.getNumVertices() == 26);
    CHECK(once.getNumTriangles() == 0);
    REQUIRE(once.getNumPolys() == 24);
    for (int const length : once.polys.lengths)
        CHECK(length == 4);
    // The rule of Catmull and Clark moves a corner of this cube to 5/9 of where it was.
    CHECK(once.getVertices()[18].x == doctest::Approx(-5.0 / 9.0));
    CHECK(support::faultOf(once).empty());

    CompactMesh const triangles = unwatched::subdivideMesh(cube.mesh, {}, 1);
    CHECK(triangles.getNumPolys() == 36);
}

TEST_CASE("mixedPolygonsKeepTheirSides") {
    Read house;  // a square, a triangle and a pentagon side by side
    read("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv .5 2 0\nv 2 0 0\nv 3 .5 0\nv 2 1 0\n"
         "f 1 2 3 4\nf 4 3 5\nf 2 6 7 8 3\n",
         house);
    koGeom::TopoMesh topoMesh;
    CHECK(trimora::fillTopoMesh(topoMesh, house.mesh, house.report.trianglePolygon) == 3);
    CompactMesh const polygons = trimora::polygonMesh(topoMesh);
    CHECK(polygons.polys.lengths[0] == 4);
    CHECK(polygons.polys.lengths[1] == 3);
    CHECK(polygons.polys.lengths[2] == 5);
    CHECK(polygons.polys.points[8] == 5);
    CompactMesh const once = unwatched::subdivideMesh(house.mesh, house.report.trianglePolygon, 1);
    CHECK(once.getNumPolys() == 12);
    CHECK(trimora::numSubdividedQuads(house.mesh.getNumTriangles(), 3, 1) == 12.0);
    CHECK(trimora::numSubdividedQuads(house.mesh.getNumTriangles(), 3, 3) == 192.0);
}

TEST_CASE("numbersOfQuadsAreForeseen") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (int levels = 1; levels <= 2; ++levels) {
            CompactMesh const result = unwatched::subdivideMesh(mesh, {}, levels);
            CHECK(result.getNumPolys() == trimora::numSubdividedQuads(mesh.getNumTriangles(),
                                                                      mesh.getNumTriangles(),
                                                                      levels));
            CHECK(support::faultOf(result).empty());
        }
    }
}

TEST_CASE("subdivisionConvergesToASmoothSurface") {
    CompactMesh const result = unwatched::subdivideMesh(support::sphere(2), {}, 3);
    double low = 2.0;
    double high = 0.0;
    for (int v = 0; v < result.getNumVertices(); ++v) {
        double const radius = result.getVertices()[v].asPoint().asVector().length();
        low = std::min(low, radius);
        high = std::max(high, radius);
    }
    CHECK(high - low < 0.06);
}

TEST_CASE("soundMeshesPassAllFiveChecks") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        CAPTURE_BINDING(name);
        CHECK(unwatched::verifyMesh(mesh, {}).passed);
    }
    Read cube;
    read(quadCube, cube);
    trimora::VerifyOutcome const outcome =
        unwatched::verifyMesh(cube.mesh, cube.report.trianglePolygon);
    CHECK(outcome.passed);
    CHECK(outcome.faces == 6);
    CHECK(outcome.halfEdges == 24);
    CHECK(outcome.openEdges == 0);
    CHECK(unwatched::verifyMesh(CompactMesh(), {}).passed);
    CHECK(unwatched::verifyMesh(support::grid(2, 2), {}).openEdges == 8);
}

TEST_CASE("eachCheckFailsWhereItShould") {
    CHECK(failedChecks(support::bowTie()) == Names{"vertexFans", "vertexEdges"});
    Names const three = failedChecks(support::threeOnAnEdge());
    CHECK(std::find(three.begin(), three.end(), "directedEdges") != three.end());
    CompactMesh const closedCorner = support::meshOf({0, 0, 0, 2, 0, 0, 1, 0, 0}, {0, 1, 2});
    CHECK(failedChecks(closedCorner) == Names{"corners"});
    Names const repeated = failedChecks(support::meshOf({0, 0, 0, 1, 0, 0}, {0, 1, 1}));
    CHECK(std::find(repeated.begin(), repeated.end(), "faceRings") != repeated.end());
    Names const turned = failedChecks(support::flipped(support::grid(5, 5), 0.5, 1));
    CHECK(std::find(turned.begin(), turned.end(), "directedEdges") != turned.end());
}
