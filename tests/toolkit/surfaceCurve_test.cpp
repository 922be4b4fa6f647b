// Polylines from files, and how they are laid on surfaces.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "toolkit/surfaceCurve.h"

#include "trimora/connectivity/SimpleMeshCache.h"

#include <cmath>
#include <doctest/doctest.h>

using koGeom::CompactMesh;
using koGeom::MeshCoord;
using koLinear::Point;
using trimora::LaidCurves;
using trimora::Polyline;

namespace {

LaidCurves lay(CompactMesh const& mesh, std::vector<Polyline> const& polylines,
               double tolerance = 1e-6) {
    koGeom::SimpleMeshCache cache;
    koUtil::Progress progress;
    return trimora::laySurfaceCurves(mesh, cache, polylines, tolerance, progress);
}

std::vector<Point> pointsOf(CompactMesh const& mesh, std::deque<MeshCoord> const& curve) {
    std::vector<Point> points;
    for (MeshCoord const& coord : curve)
        points.push_back(coord.evaluate(mesh.getVertices(), mesh.getTriangles()));
    return points;
}

// A corner of the triangle that bears none of the point's weight is not needed to hold it.
bool holds(CompactMesh const& mesh, int triangle, MeshCoord const& coord) {
    for (int k = 0; k < 3; ++k) {
        int const vertex = mesh.getTriangles()[coord.triangle][k];
        int const* const corners = mesh.getTriangles()[triangle].vertices;
        if (std::abs(coord.weights[k]) > 1e-9 &&
            std::find(corners, corners + 3, vertex) == corners + 3)
            return false;
    }
    return true;
}

bool shareATriangle(CompactMesh const& mesh, MeshCoord const& a, MeshCoord const& b) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (holds(mesh, t, a) && holds(mesh, t, b))
            return true;
    }
    return false;
}

std::string problemOf(std::string const& text) {
    std::vector<Polyline> polylines;
    trimora::FileOutcome const outcome = trimora::readPolylinesText(text, "c", polylines);
    CHECK(bool(outcome) == outcome.message.empty());
    return outcome.message;
}

}  // namespace

TEST_CASE("plainPointsAreReadAsPolylines") {
    std::vector<Polyline> polylines;
    REQUIRE(
        trimora::readPolylinesText("# a curve\n0 0 0\r\n1,2,3\n# in between\n+1e1\t-2.5 .5\n\n\n"
                                   "4 5 6\n7 8 9",
                                   "c", polylines));
    REQUIRE(polylines.size() == 2);
    CHECK(polylines[0] == Polyline{{0, 0, 0}, {1, 2, 3}, {10, -2.5, 0.5}});
    CHECK(polylines[1] == Polyline{{4, 5, 6}, {7, 8, 9}});
}

TEST_CASE("linesOfAnObjFileAreReadAsPolylines") {
    std::vector<Polyline> polylines;
    REQUIRE(trimora::readPolylinesText("o x\nv 0 0 0\nv 1 0 0\nvn 0 0 1\nl 1/1 2/2\nv 2 0 0 1\n"
                                       "l -1 -2 1 -1\nf 1 2 3\n",
                                       "c", polylines));
    REQUIRE(polylines.size() == 2);
    CHECK(polylines[0] == Polyline{{0, 0, 0}, {1, 0, 0}});
    CHECK(polylines[1] == Polyline{{2, 0, 0}, {1, 0, 0}, {0, 0, 0}, {2, 0, 0}});
}

TEST_CASE("badCurveFilesAreRefusedWithTheirLine") {
    CHECK(problemOf("").find("holds no curve") != std::string::npos);
    CHECK(problemOf("v 0 0 0\nv 1 1 1\n").find("holds no curve") != std::string::npos);
    CHECK(problemOf("0 0 0\n1 1\n").find("line 2") != std::string::npos);
    CHECK(problemOf("0 0 0\n1 1 nan\n").find("line 2") != std::string::npos);
    // Words were once passed over, and with them what a person had meant.
    CHECK(problemOf("0 0 0\n1 1 1\npoint 2 2 2\n")
              .find("line 3: takes three finite numbers x y z, not "
                    "'point'") != std::string::npos);
    CHECK(problemOf("V 0 0 0\nv 1 1 1\nl 1 2\n").find("line 1") != std::string::npos);
    CHECK(problemOf("mtllib a.mtl\ng a\nusemtl b\ns off\nv 0 0 0\nv 1 1 1\nl 1 2\n").empty());
    CHECK(problemOf("0 0 0\n\n1 1 1\n2 2 2\n").find("line 2") != std::string::npos);
    CHECK(problemOf("v 0 0 0\nl 1 2\n").find("there is no vertex 2") != std::string::npos);
    CHECK(problemOf("v 0 0 0\nl 1 x\n").find("'x'") != std::string::npos);
    CHECK(problemOf("v 0 0 0\nl 1\n").find("2 points") != std::string::npos);
    CHECK(problemOf("v 0 0 0\nl 99999999999999999999 1\n").find("line 2") != std::string::npos);
}

//   o---o---o---o
//   | / | / | / |       one stretch over three squares, straight
//   x---|-/-|---x
//   o---o---o---o
TEST_CASE("aStretchCrossesEveryEdgeOnItsWay") {
    CompactMesh const sheet = support::grid(3, 1);
    LaidCurves const laid = lay(sheet, {{{0.0, 0.25, 0.0}, {3.0, 0.25, 0.0}}});
    REQUIRE(laid.refusal.empty());
    auto const points = pointsOf(sheet, laid.curves.at(0));
    REQUIRE(points.size() == 7);  // two ends, two upright edges, three diagonals
    for (std::size_t i = 0; i < points.size(); ++i) {
        CHECK(points[i].y == doctest::Approx(0.25));
        CHECK((i == 0 || points[i].x > points[i - 1].x));
    }
}

TEST_CASE("aStretchAlongEdgesStaysOnThem") {
    CompactMesh const sheet = support::grid(4, 4);
    for (Polyline const& polyline : {Polyline{{0, 2, 0}, {4, 2, 0}}, Polyline{{0, 0, 0}, {4, 4, 0}},
                                     Polyline{{2, 0.5, 0}, {2, 3.5, 0}}}) {
        LaidCurves const laid = lay(sheet, {polyline});
        REQUIRE(laid.refusal.empty());
        auto const& curve = laid.curves.at(0);
        for (std::size_t i = 1; i < curve.size(); ++i)
            CHECK(shareATriangle(sheet, curve[i - 1], curve[i]));
        for (MeshCoord const& coord : curve) {
            int edge = -1;
            CHECK(coord.onEdge(sheet.getVerticesRaw(), sheet.getTrianglesRaw(), 1e-9, &edge));
        }
    }
}

TEST_CASE("pointsOffTheSurfaceAreMovedOntoIt") {
    CompactMesh const sheet = support::grid(2, 2);
    LaidCurves const laid = lay(sheet, {{{-1.0, 1.3, 0.0}, {1.0, 1.3, 2.0}, {3.0, 1.3, 0.0}}});
    REQUIRE(laid.refusal.empty());
    CHECK(laid.farthest == 2.0);
    auto const points = pointsOf(sheet, laid.curves.at(0));
    CHECK(points.front().x == 0.0);
    CHECK(points.back().x == 2.0);
}

TEST_CASE("neighbouringPointsShareATriangleOnAnySurface") {
    support::Random random(11);
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        CAPTURE_BINDING(name);
        for (int run = 0; run < 10; ++run) {
            Polyline polyline;
            for (int i = 0; i < 3; ++i) {  // vertices, points on edges and inside triangles
                MeshCoord coord(random.index(mesh.getNumTriangles()), 1.0, 0.0, 0.0);
                if (i > 0)
                    coord.weights[0] = coord.weights[1] = 0.5;
                if (i > 1)
                    coord.weights[1] = coord.weights[2] = 0.25;
                polyline.push_back(coord.evaluate(mesh.getVertices(), mesh.getTriangles()));
            }
            LaidCurves const laid = lay(mesh, {polyline});
            if (!laid.refusal.empty())
                continue;
            auto const& curve = laid.curves.at(0);
            for (std::size_t i = 1; i < curve.size(); ++i)
                CHECK(shareATriangle(mesh, curve[i - 1], curve[i]));
        }
    }
}

TEST_CASE("aGreatCircleIsFollowedRoundASphere") {
    CompactMesh const sphere = support::sphere(4);
    Polyline circle;
    for (int i = 0; i <= 8; ++i) {
        double const angle = 3.14159265358979 / 4.0 * (i % 8);
        circle.push_back({std::cos(angle), 0.6 * std::sin(angle), 0.8 * std::sin(angle)});
    }
    LaidCurves const laid = lay(sphere, {circle});
    REQUIRE(laid.refusal.empty());
    auto const points = pointsOf(sphere, laid.curves.at(0));
    CHECK(points.front() == points.back());
    double length = 0.0;
    for (std::size_t i = 1; i < points.size(); ++i)
        length += distance(points[i - 1], points[i]);
    CHECK(length == doctest::Approx(2.0 * 3.14159265).epsilon(0.01));
}

TEST_CASE("stretchesThatCannotBeFollowedAreRefusedInWords") {
    LaidCurves const opposite = lay(support::sphere(3), {{{1, 0, 0}, {-1, 0, 0}}});
    CHECK(opposite.refusal.find("opposite ways") != std::string::npos);
    CHECK(opposite.curves.empty());

    CompactMesh const apart = support::joined(support::grid(2, 2), support::grid(2, 2), 5.0f);
    LaidCurves const gap =
        lay(apart, {{{0.5, 0.3, 0}, {1.5, 0.4, 0}}, {{1.5, 0.3, 0}, {6.0, 0.3, 0}}});
    CHECK(gap.refusal.find("curve 2 between its points 1 and 2") == 0);
    CHECK(gap.refusal.find("the surface ends") != std::string::npos);

    CHECK(lay(CompactMesh(), {{{0, 0, 0}, {1, 0, 0}}}).refusal.find("no triangle") !=
          std::string::npos);
    CompactMesh const fin = support::meshOf({0, 0, 0, 0, 1, 0, -1, 0, 0, 1, 0, 0, 0, 0, 1, 2, 1, 0},
                                            {0, 1, 2, 1, 0, 3, 0, 1, 4, 3, 5, 1});
    CHECK(lay(fin, {{{-0.5, 0.2, 0}, {1.2, 0.5, 0}}}).refusal.find("more than two triangles") !=
          std::string::npos);
}

TEST_CASE("cancelledLayingSaysSo") {
    koGeom::SimpleMeshCache cache;
    koUtil::Progress progress;
    progress.cancel();
    CHECK(
        trimora::laySurfaceCurves(support::cube(), cache, {{{0, 0, 0}, {1, 0, 0}}}, 1e-6, progress)
            .cancelled);
}
