// Sections of meshes with planes: exact small cases, what counts as a section and what only touches, properties on closed
// surfaces.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/corpus.h"
#include "toolkit/planeSection.h"
#include "toolkit/readMesh.h"
#include "unwatched.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using koGeom::CompactMesh;
using koLinear::Point;
using trimora::SurfaceCurves;

namespace {

SurfaceCurves section(CompactMesh const& mesh, std::array<double, 4> const& numbers,
                      double tolerance = 1e-9) {
    trimora::SectionPlane plane;
    REQUIRE(plane.set(numbers));
    return unwatched::planeSection(mesh, plane, tolerance);
}

Point at(CompactMesh const& mesh, koGeom::MeshCoord const& coord) {
    return coord.evaluate(mesh.getVertices(), mesh.getTriangles());
}

bool isClosed(CompactMesh const& mesh, std::deque<koGeom::MeshCoord> const& curve) {
    return curve.size() > 3 && at(mesh, curve.front()) == at(mesh, curve.back());
}

double lengthOf(CompactMesh const& mesh, SurfaceCurves const& curves) {
    double length = 0.0;
    for (auto const& curve : curves) {
        for (std::size_t i = 1; i < curve.size(); ++i)
            length += distance(at(mesh, curve[i - 1]), at(mesh, curve[i]));
    }
    return length;
}

}  // namespace

//   2 - 3        the plane x = 0.25 crosses the lower edge,
//   | / |        the diagonal and the upper edge
//   0 - 1
TEST_CASE("aSquareIsCutInThreePoints") {
    CompactMesh const square = support::grid(1, 1);
    SurfaceCurves const curves = section(square, {1.0, 0.0, 0.0, -0.25});
    REQUIRE(curves.size() == 1);
    REQUIRE(curves[0].size() == 3);
    CHECK(at(square, curves[0][1]) == Point(0.25, 0.25, 0.0));
    CHECK(lengthOf(square, curves) == 1.0);
    // Within a triangle the later of its cut edges has the lower node, whatever the compiler.
    SurfaceCurves const single = section(support::triangle(), {1.0, 0.0, 0.0, -0.25});
    REQUIRE(single.size() == 1);
    CHECK(at(support::triangle(), single[0].front()) == Point(0.25, 0.75, 0.0));
    CHECK(at(support::triangle(), single[0].back()) == Point(0.25, 0.0, 0.0));
}

TEST_CASE("aPlaneThroughVerticesPassesThroughThem") {
    CompactMesh const sheet = support::grid(4, 2);
    SurfaceCurves const along = section(sheet, {1.0, 0.0, 0.0, -2.0});
    REQUIRE(along.size() == 1);
    REQUIRE(along[0].size() == 3);
    for (auto const& coord : along[0]) {
        int corner = -1;
        CHECK(coord.onVertex(sheet.getVerticesRaw(), sheet.getTrianglesRaw(), 0.0, &corner));
    }
    SurfaceCurves const across = section(sheet, {2.0, 2.0, 0.0, -4.0});  // against the diagonals
    REQUIRE(across.size() == 1);
    CHECK(across[0].size() == 5);
    CHECK(lengthOf(sheet, across) == doctest::Approx(2.0 * std::sqrt(2.0)));
}

TEST_CASE("whatOnlyTouchesIsNoSection") {
    CHECK(section(support::grid(3, 3), {1.0, 0.0, 0.0, 0.0}).empty());     // the border
    CHECK(section(support::grid(3, 3), {1.0, 1.0, 0.0, 0.0}).empty());     // a corner
    CHECK(section(support::grid(3, 3), {0.0, 0.0, 1.0, 0.0}).empty());     // all of it
    CHECK(section(support::octahedron(), {0.0, 0.0, 1.0, -1.0}).empty());  // the tip
    CompactMesh const ridge =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, -1, 0, -1, -1}, {0, 1, 2, 1, 0, 3});
    CHECK(section(ridge, {0.0, 0.0, 1.0, 0.0}).empty());
    CHECK(section(support::cube(), {1.0, 0.0, 0.0, 5.0}).empty());
    CHECK(section(CompactMesh(), {1.0, 0.0, 0.0, 0.0}).empty());
}

TEST_CASE("trianglesInThePlaneAreOutlined") {
    CompactMesh const cube = support::cube();
    SurfaceCurves const curves = section(cube, {0.0, 0.0, 1.0, -1.0});  // its top
    REQUIRE(curves.size() == 1);
    CHECK(isClosed(cube, curves[0]));
    CHECK(curves[0].size() == 5);
    CHECK(lengthOf(cube, curves) == 4.0);
}

TEST_CASE("curvesMeetWhereASaddleLiesInThePlane") {
    //  1 + 8 vertices round a saddle: up on the axes, down on the diagonals, four times each
    std::vector<float> coordinates = {0, 0, 0};
    std::vector<int> triangles;
    for (int i = 0; i < 8; ++i) {
        float const angle = static_cast<float>(i) * 0.785398f;
        coordinates.insert(coordinates.end(),
                           {std::cos(angle), std::sin(angle), i % 4 < 2 ? 0.3f : -0.3f});
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % 8});
    }
    CompactMesh const saddle = support::meshOf(coordinates, triangles);
    SurfaceCurves const curves = section(saddle, {0.0, 0.0, 1.0, 0.0});
    REQUIRE(curves.size() == 4);
    for (auto const& curve : curves) {
        bool const startsOrEnds =
            at(saddle, curve.front()) == Point() || at(saddle, curve.back()) == Point();
        CHECK(startsOrEnds);
    }
}

TEST_CASE("closedSurfacesHaveClosedSections") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        if (name.find("grid") != std::string::npos || mesh.getNumTriangles() < 4)
            continue;
        CAPTURE_BINDING(name);
        for (double const offset : {0.013, -0.21, 0.4}) {
            SurfaceCurves const curves = section(mesh, {0.3, -0.2, 1.0, offset});
            for (auto const& curve : curves) {
                for (auto const& coord : curve) {
                    Point const p = at(mesh, coord);
                    CHECK(std::abs(0.3 * p.x - 0.2 * p.y + p.z + offset) < 1e-5);
                }
            }
        }
    }
    CompactMesh const sphere = support::sphere(5);
    SurfaceCurves const equator = section(sphere, {0.1, 0.2, 1.0, 0.0});
    REQUIRE(equator.size() == 1);
    CHECK(isClosed(sphere, equator[0]));
    CHECK(lengthOf(sphere, equator) == doctest::Approx(2.0 * 3.14159265).epsilon(2e-3));
    CompactMesh const torus = support::torus(40, 20);
    SurfaceCurves const rings = section(torus, {0.01, 0.02, 1.0, 0.0});
    CHECK(rings.size() == 2);
    CHECK(section(torus, {1.0, 0.01, 0.02, 0.0}).size() == 2);
}

TEST_CASE("duplicatesFinsAndDegenerateTrianglesAreSurvived") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (double const offset : {0.0, 0.5, 0.123}) {
            for (auto const& curve : section(mesh, {1.0, 0.5, 0.25, -offset}, 1e-6))
                CHECK(curve.size() >= 2);
        }
    }
    CompactMesh mesh = support::grid(2, 2);
    mesh.getVertices()[4].x = std::numeric_limits<float>::quiet_NaN();
    for (auto const& curve : section(mesh, {1.0, 0.0, 0.0, -0.5}))
        for (auto const& coord : curve)
            CHECK(std::isfinite(at(mesh, coord).x));
}

TEST_CASE("planesWithoutANormalAreRefused") {
    trimora::SectionPlane plane;
    CHECK_FALSE(plane.set({0.0, 0.0, 0.0, 1.0}));
    CHECK_FALSE(plane.set({std::nan(""), 0.0, 0.0, 1.0}));
    CHECK_FALSE(plane.set({1.0, 0.0, 0.0, HUGE_VAL}));
    CHECK(plane.set({0.0, -4.0, 0.0, 2.0}));
    CHECK(plane.coefficients == std::array<double, 4>{0.0, -1.0, 0.0, 0.5});
}
