// Cuts from the outside: what a plane or a drawn curve leaves, over small sheets, closed surfaces and real meshes.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "support/plainDistance.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshTidying.h"
#include "toolkit/meshVerification.h"
#include "toolkit/readMesh.h"
#include "toolkit/surfaceCurve.h"
#include "unwatched.h"

#include "trimora/connectivity/SimpleMeshCache.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <set>

using koGeom::CompactMesh;
using koLinear::Vector;
using trimora::CutOutcome;
using trimora::MeshCounts;
using trimora::Polyline;

namespace {

CutOutcome cutByPlane(CompactMesh& mesh, std::array<double, 4> const& numbers) {
    trimora::SectionPlane plane;
    REQUIRE(plane.set(numbers));
    double const tolerance = trimora::cutTolerance(mesh);
    return unwatched::cutMesh(mesh, unwatched::planeSection(mesh, plane, tolerance), tolerance);
}

CutOutcome cutByCurves(CompactMesh& mesh, std::vector<Polyline> const& polylines) {
    koGeom::SimpleMeshCache cache;
    koUtil::Progress progress;
    double const tolerance = trimora::cutTolerance(mesh);
    trimora::LaidCurves const laid =
        trimora::laySurfaceCurves(mesh, cache, polylines, tolerance, progress);
    REQUIRE(laid.refusal.empty());
    return unwatched::cutMesh(mesh, laid.curves, tolerance);
}

void checkSound(CompactMesh const& mesh) {
    CHECK(support::faultOf(mesh).empty());
    trimora::VerifyOutcome const verified = unwatched::verifyMesh(mesh, {});
    for (auto const& check : verified.checks) {
        CAPTURE(check.name);
        CHECK(check.passed);
    }
}

}  // namespace

TEST_CASE("aPlanePartsASheet") {
    CompactMesh sheet = support::grid(6, 4);
    CutOutcome const outcome = cutByPlane(sheet, {1.0, 0.3, 0.0, -2.2});
    REQUIRE(outcome.refusal.empty());
    MeshCounts const counts = trimora::countMesh(sheet);
    CHECK(counts.components == 2);
    CHECK(counts.boundaries == 2);
    CHECK(outcome.areaAfter == doctest::Approx(24.0).epsilon(1e-6));
    CHECK(support::eulerNumber(sheet) == 2);
    checkSound(sheet);
    // Each part lies on its side.
    for (CompactMesh const& part : trimora::splitIntoParts(sheet)) {
        double low = 1e9;
        double high = -1e9;
        for (int v = 0; v < part.getNumVertices(); ++v) {
            double const height = part.getVertices()[v].x + 0.3 * part.getVertices()[v].y - 2.2;
            low = std::min(low, height);
            high = std::max(high, height);
        }
        CHECK(std::min(high, -low) < 1e-5);
    }
}

TEST_CASE("aPlaneThroughVerticesAndAlongEdgesPartsToo") {
    CompactMesh sheet = support::grid(4, 4);
    REQUIRE(cutByPlane(sheet, {1.0, 0.0, 0.0, -2.0}).refusal.empty());
    CHECK(trimora::countMesh(sheet).components == 2);
    CHECK(sheet.getNumTriangles() == 32);
    CHECK(sheet.getNumVertices() == 30);
    checkSound(sheet);
}

TEST_CASE("closedSurfacesFallIntoTwoHalves") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        if (support::numBorderEdges(mesh) > 0 || support::numComponents(mesh) != 1 ||
            mesh.getNumTriangles() < 100)
            continue;
        CAPTURE_BINDING(name);
        CompactMesh halves = mesh;
        CutOutcome const outcome = cutByPlane(halves, {0.2, 0.1, 1.0, -0.01});
        REQUIRE(outcome.refusal.empty());
        CHECK(trimora::countMesh(halves).components == 2);
        CHECK(outcome.areaAfter == doctest::Approx(outcome.areaBefore).epsilon(0.02));
        checkSound(halves);
    }
}

TEST_CASE("aClosedCurveCutsAPatchOut") {
    CompactMesh sheet = support::grid(8, 8);
    Polyline const square = {
        {2.3, 2.2, 0}, {5.6, 2.4, 0}, {5.5, 5.7, 0}, {2.4, 5.3, 0}, {2.3, 2.2, 0}};
    REQUIRE(cutByCurves(sheet, {square}).refusal.empty());
    MeshCounts const counts = trimora::countMesh(sheet);
    CHECK(counts.components == 2);
    CHECK(counts.boundaries == 3);
    CHECK(support::area(sheet) == doctest::Approx(64.0).epsilon(1e-6));
    checkSound(sheet);
}

TEST_CASE("crossingCurvesCutFourParts") {
    CompactMesh sheet = support::grid(8, 8);
    REQUIRE(cutByCurves(sheet, {{{-1, 3.4, 0}, {9, 4.2, 0}}, {{3.7, -1, 0}, {4.4, 9, 0}}})
                .refusal.empty());
    CHECK(trimora::countMesh(sheet).components == 4);
    checkSound(sheet);
}

TEST_CASE("whatLiesFarFromACutKeepsItsOrder") {
    CompactMesh const before = support::grid(60, 3);
    CompactMesh after = before;
    REQUIRE(cutByPlane(after, {1.0, 0.0, 0.0, -50.3}).refusal.empty());
    std::vector<float> coordinates = support::coordinatesOf(after);
    coordinates.resize(3 * 40);  // those of the first row that lie far from the cut
    std::vector<float> expected = support::coordinatesOf(before);
    expected.resize(3 * 40);
    CHECK(coordinates == expected);
    auto const surface = support::positionTriples(after);
    int found = 0;
    for (auto const& triangle : support::positionTriples(before))
        found += surface.count(triangle) > 0 ? 1 : 0;
    CHECK(found >= 6 * 40);
}

TEST_CASE("refusalsChangeNothingAndSayWhatToDo") {
    CompactMesh sheet = support::grid(4, 4);
    auto const untouched = support::coordinatesOf(sheet);
    support::ModificationCounter const counter(sheet);

    CutOutcome const inside = cutByCurves(sheet, {{{1.2, 1.1, 0}, {2.8, 2.1, 0}}});
    CHECK(inside.refusal.find("border to border") != std::string::npos);

    CutOutcome const loop =
        cutByCurves(sheet, {{{1.5, 1.2, 0}, {1.8, 1.2, 0}, {1.8, 1.4, 0}, {1.5, 1.2, 0}}});
    CHECK(loop.refusal.find("subdivide the mesh there first") != std::string::npos);
    REQUIRE(loop.problemPoint.has_value());
    CHECK((*loop.problemPoint)[0] == doctest::Approx(5.0 / 3.0));

    // Three that cross pairwise in one triangle.
    CutOutcome const three = cutByCurves(
        sheet,
        {{{-1, 1.3, 0}, {5, 1.3, 0}}, {{1.6, -1, 0}, {1.6, 5, 0}}, {{0.55, 0, 0}, {4, 3.45, 0}}});
    CHECK(three.refusal.find("three curves cross") != std::string::npos);

    CHECK(unwatched::cutMesh(sheet, {}, 1e-6).refusal.find("no curve") != std::string::npos);
    CHECK(counter.total() == 0);
    CHECK(support::coordinatesOf(sheet) == untouched);
    CHECK(sheet.getSelectedTriangles().count == 0);
}

// Once, triangles without area were left between the two, and nothing was said.
TEST_CASE("curvesThatLieOnOneAnotherAreRefusedWhereTheyDo") {
    for (std::vector<Polyline> const& curves :
         {std::vector<Polyline>{{{0, 2.3, 0}, {6, 2.4, 0}, {0, 2.3, 0}}},
          std::vector<Polyline>{{{0, 2.3, 0}, {3.2, 2.3, 0}, {2.9, 2.3, 0}, {6, 2.3, 0}}},
          std::vector<Polyline>{{{0, 2.3, 0}, {6, 2.3, 0}},
                                {{0, 1, 0}, {2.2, 2.3, 0}, {3.7, 2.3, 0}, {6, 4, 0}}}}) {
        CompactMesh sheet = support::grid(6, 6);
        support::ModificationCounter const counter(sheet);
        CutOutcome const outcome = cutByCurves(sheet, curves);
        CHECK(outcome.refusal.find("draw each stretch once") != std::string::npos);
        CHECK(outcome.isOfCurves);
        REQUIRE(outcome.problemPoint.has_value());
        CHECK((*outcome.problemPoint)[1] == doctest::Approx(2.35).epsilon(0.03));
        CHECK(counter.total() == 0);
        CHECK(sheet.getNumTriangles() == 72);
    }
    // What had such triangles before the cut is cut: the curve is not their cause.
    CompactMesh flat = support::grid(6, 6);
    flat.getVertices()[24] = flat.getVertices()[23];
    CutOutcome const outcome = cutByCurves(flat, {{{0, 2.3, 0}, {6, 2.4, 0}}});
    CHECK(outcome.refusal.empty());
    CHECK(outcome.addedNullTriangles == 1);
}

TEST_CASE("endsInsideTheSurfaceHaveTheirPlace") {
    for (Polyline const& curve :
         {Polyline{{1.2, 1.1, 0}, {2.8, 2.1, 0}}, Polyline{{1.2, 1.1, 0}, {1.4, 1.2, 0}},
          Polyline{{0, 0.5, 0}, {1.2, 1.1, 0}}, Polyline{{0, 0, 0}, {1.2, 1.1, 0}}}) {
        CompactMesh sheet = support::grid(4, 4);
        CutOutcome const outcome = cutByCurves(sheet, {curve});
        CHECK(outcome.isOfCurves);
        REQUIRE(outcome.problemPoint.has_value());
        CHECK((*outcome.problemPoint)[0] == doctest::Approx(1.2));
        CHECK((*outcome.problemPoint)[1] == doctest::Approx(1.1));
    }
}

TEST_CASE("tooManyPointsInOneTriangleAreRefused") {
    CompactMesh sheet = support::grid(2, 2);
    trimora::SurfaceCurves curves(1);
    for (int i = 0; i <= trimora::maxPolygonCorners; ++i)
        curves[0].push_back({0, 0.5, 0.25, 0.25});
    CutOutcome const outcome = unwatched::cutMesh(sheet, curves, 1e-6);
    CHECK(outcome.refusal.find("5001 points in one triangle, 4997 at most") != std::string::npos);
}

TEST_CASE("brokenSurfacesAreRefusedOnlyNearTheCut") {
    CompactMesh mesh = support::joined(support::grid(40, 3), support::bowTie(), 39.0f, 1.0f, 1.0f);
    REQUIRE(cutByPlane(mesh, {1.0, 0.0, 0.0, -5.5}).refusal.empty());
    CompactMesh fin = support::threeOnAnEdge();
    CutOutcome const outcome =
        unwatched::cutMesh(fin, {{{0, 0.0, 0.5, 0.5}, {0, 0.5, 0.5, 0.0}}}, 1e-6);
    CHECK(outcome.refusal.find("more than two triangles meet") == 0);
    CHECK(outcome.refusal.find("repair the mesh first") != std::string::npos);
    CompactMesh const turned = support::flipped(support::grid(6, 6), 0.5, 3);
    CompactMesh mixed = turned;
    CHECK(cutByPlane(mixed, {1.0, 0.0, 0.0, -2.5}).refusal.find("wound against") !=
          std::string::npos);
}

TEST_CASE("whatIsOpenedIsMeasured") {
    CompactMesh sheet = support::grid(6, 4);
    CutOutcome const across = cutByPlane(sheet, {1.0, 0.0, 0.0, -2.5});
    CHECK(across.curveLength == doctest::Approx(4.0));
    CHECK(across.openedLength == doctest::Approx(4.0));
    // Half of this curve runs along the border.
    CompactMesh other = support::grid(4, 4);
    CutOutcome const half = cutByCurves(other, {{{0, 0, 0}, {4, 0, 0}, {4, 1.3, 0}, {0, 1.3, 0}}});
    CHECK(half.curveLength == doctest::Approx(9.3));
    CHECK(half.openedLength == doctest::Approx(4.0));
}

TEST_CASE("curvesThatOpenNothingLeaveTheMeshAsItWas") {
    CompactMesh sheet = support::grid(4, 4);
    sheet.allocUVArray();
    auto const untouched = support::coordinatesOf(sheet);
    support::ModificationCounter const counter(sheet);
    for (std::vector<Polyline> const& curves :
         {std::vector<Polyline>{{{0, 0, 0}, {4, 0, 0}}},
          std::vector<Polyline>{{{0.5, 0, 0}, {3.3, 0, 0}}},
          std::vector<Polyline>{{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {0, 0, 0}}}}) {
        CutOutcome const outcome = cutByCurves(sheet, curves);
        CHECK(outcome.refusal.empty());
        CHECK(outcome.openedLength == 0.0);
        CHECK(outcome.dropped.empty());
        CHECK(outcome.areaAfter == outcome.areaBefore);
    }
    CHECK(counter.total() == 0);
    CHECK(support::coordinatesOf(sheet) == untouched);
    CHECK(sheet.getUVs() != nullptr);
}

// A sum of floats stops growing at 2^24 of its terms.
TEST_CASE("areasAreSummedInDoubles") {
    CompactMesh sheet = support::grid(300, 300);
    for (int v = 0; v < sheet.getNumVertices(); ++v)
        sheet.getVertices()[v].x *= 1.0f + 1.0f / 1024.0f;
    CutOutcome const outcome = cutByPlane(sheet, {1.0, 0.31, 0.0, -140.0});
    double const area = 90000.0 * (1.0 + 1.0 / 1024.0);
    CHECK(outcome.areaBefore == doctest::Approx(area).epsilon(1e-12));
    CHECK(outcome.areaAfter == doctest::Approx(area).epsilon(1e-7));
}

TEST_CASE("cutsDoNotDependOnTheSizeOfTheMesh") {
    CompactMesh expected = support::grid(8, 8);
    Polyline const square = {{2.3, 2.2, 0}, {5.6, 2.4, 0}, {5.5, 5.7, 0}, {2.3, 2.2, 0}};
    REQUIRE(cutByCurves(expected, {square}).refusal.empty());
    for (double const scale : {0x1p-100, 0x1p-40, 0x1p40, 0x1p100}) {
        CAPTURE(scale);
        CompactMesh sheet = support::grid(8, 8);
        trimora::scaleVertices(sheet, scale);
        Polyline curve = square;
        for (auto& point : curve)
            point.set(scale * point.x, scale * point.y, scale * point.z);
        CutOutcome const outcome = cutByCurves(sheet, {curve});
        REQUIRE(outcome.refusal.empty());
        CHECK(outcome.areaAfter == doctest::Approx(64.0 * scale * scale));
        CHECK(support::trianglesOf(sheet) == support::trianglesOf(expected));
        // And refusals name places of the mesh itself.
        CompactMesh whole = support::grid(4, 4);
        trimora::scaleVertices(whole, scale);
        CutOutcome const loop = cutByCurves(whole, {{{1.5 * scale, 1.2 * scale, 0},
                                                     {1.8 * scale, 1.2 * scale, 0},
                                                     {1.8 * scale, 1.4 * scale, 0},
                                                     {1.5 * scale, 1.2 * scale, 0}}});
        REQUIRE(loop.problemPoint.has_value());
        CHECK((*loop.problemPoint)[0] == doctest::Approx(5.0 / 3.0 * scale));
    }
}

TEST_CASE("faultsOfTheSurfaceHaveTheirPlace") {
    CompactMesh fin = support::threeOnAnEdge();
    CutOutcome const outcome =
        unwatched::cutMesh(fin, {{{0, 0.0, 0.5, 0.5}, {0, 0.5, 0.5, 0.0}}}, 1e-6);
    CHECK(outcome.problemPoint.has_value());
    CHECK(outcome.refusal.find("(1 such edge)") != std::string::npos);
    CompactMesh mixed = support::flipped(support::grid(6, 6), 0.5, 3);
    CHECK(cutByPlane(mixed, {1.0, 0.0, 0.0, -2.5}).problemPoint.has_value());
    CompactMesh holed = support::grid(6, 6);
    holed.getVertices()[24].x = std::numeric_limits<float>::quiet_NaN();
    CutOutcome const nonfinite = cutByPlane(holed, {1.0, 0.0, 0.0, -2.5});
    CHECK(nonfinite.isNonfinite);
    CHECK_FALSE(nonfinite.isOfCurves);
    CHECK(nonfinite.refusal.find("leave such triangles out") != std::string::npos);
    REQUIRE(nonfinite.problemPoint.has_value());
    CHECK((*nonfinite.problemPoint)[0] == doctest::Approx(2.5).epsilon(0.3));
}

TEST_CASE("vertexSetsThatCannotBeCarriedAreNamed") {
    CompactMesh sheet = support::grid(6, 4);
    sheet.allocUVArray();
    CutOutcome const outcome = cutByPlane(sheet, {1.0, 0.0, 0.0, -2.5});
    CHECK(outcome.dropped == std::vector<std::string>{"uvs"});
    CHECK(sheet.getUVs() == nullptr);
}

TEST_CASE("partsAreTheComponentsInOrder") {
    CompactMesh const two = support::joined(support::cube(), support::tetrahedron(), 5.0f);
    auto const parts = trimora::splitIntoParts(two);
    REQUIRE(parts.size() == 2);
    CHECK(support::positionTriples(parts[0]) == support::positionTriples(support::cube()));
    CHECK(parts[1].getNumTriangles() == 4);
    CHECK(trimora::splitIntoParts(CompactMesh()).empty());
    CompactMesh const soup = support::soup(support::sphere(3));
    CHECK(trimora::splitIntoParts(soup).size() == 512);
}

TEST_CASE("realMeshesAreCutByPlanesInEveryDirection") {
    for (char const* const name : {"stanford_bunny.obj", "rocker_arm.obj", "mountain.obj"}) {
        std::string const path = support::corpusFile(name);
        if (path.empty())
            continue;
        CAPTURE(name);
        CompactMesh mesh;
        trimora::ReadReport report;
        REQUIRE(trimora::readMesh(path, mesh, report));
        koLinear::Vector sum;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            sum += mesh.getVertices()[v].asPoint().asVector();
        sum /= mesh.getNumVertices();
        for (koLinear::Vector const& n : {koLinear::Vector(1, 0, 0), koLinear::Vector(0.2, 1, 0.3),
                                          koLinear::Vector(-1, 1, 2)}) {
            CompactMesh cut = mesh;
            CutOutcome const outcome = cutByPlane(cut, {n.x, n.y, n.z, -dot(n, sum)});
            REQUIRE(outcome.refusal.empty());
            CHECK(trimora::countMesh(cut).components > 1);
            CHECK(outcome.areaAfter == doctest::Approx(outcome.areaBefore).epsilon(1e-3));
            checkSound(cut);
        }
    }
}

// Slivers beside a cut are taken away within a tolerance of the border, not of the surface: on coarse meshes that shows.
TEST_CASE("whatACutMovesOnCoarseMeshesIsTold") {
    int numMoved = 0;
    for (char const* const name :
         {"spot_quads.obj", "fish_low.obj", "hand_open.obj", "torus.obj"}) {
        std::string const path = support::corpusFile(name);
        if (path.empty())
            continue;
        CAPTURE(name);
        CompactMesh mesh;
        trimora::ReadReport report;
        REQUIRE(trimora::readMesh(path, mesh, report));
        Vector sum;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            sum += mesh.getVertices()[v].asPoint().asVector();
        sum /= mesh.getNumVertices();
        for (Vector const& n :
             {Vector(1, 0, 0), Vector(1.768, -0.3988, -1.7802), Vector(0, 1, 2)}) {
            CompactMesh cut = mesh;
            CutOutcome const outcome = cutByPlane(cut, {n.x, n.y, n.z, -dot(n, sum)});
            if (!outcome.refusal.empty())
                continue;  // not all of these are manifolds
            checkSound(cut);
            CHECK(support::area(mesh) == doctest::Approx(outcome.areaBefore));
            CHECK(support::area(cut) == doctest::Approx(outcome.areaAfter));
            koUtil::Progress progress;
            auto const measured =
                trimora::measureDistance(outcome.regionBefore, outcome.regionAfter, progress);
            std::set<std::array<float, 3>> there;
            for (auto const& triangle : support::positionTriples(cut))
                there.insert(triangle.begin(), triangle.end());
            double farthest = 0.0;
            int numGone = 0;
            for (int v = 0; v < mesh.getNumVertices(); ++v) {
                auto const& p = mesh.getVertices()[v];
                bool const isGone = there.count({p.x, p.y, p.z}) == 0;
                numGone += isGone ? 1 : 0;
                if (isGone)
                    farthest = std::max(farthest, support::distance2ToMesh(p.asPoint(), cut));
            }
            CHECK(outcome.removedVertices == numGone);
            CHECK(measured.fromFirst.largest >= std::sqrt(farthest) * (1.0 - 1e-6));
            if (outcome.removedVertices == 0)
                CHECK(measured.fromFirst.largest < trimora::cutTolerance(mesh));
            numMoved += outcome.removedVertices > 0 ? 1 : 0;
        }
    }
    if (!support::corpus().empty())
        CHECK(numMoved > 0);
}

// The plane takes a corner of the tetrahedron off so near to it that its triangles are slivers: the corner goes, and area with
// it. The triangle that is cut as well has a corner of its own where the tetrahedron had one.
TEST_CASE("aCornerThatGoesIsToldWhereAnotherPartHasOne") {
    std::vector<float> const tetrahedron = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<float> both = tetrahedron;
    both.insert(both.end(), {0, 0, 0, 1, -1, 0, 1, 0, -1});
    CompactMesh const alone = support::meshOf(tetrahedron, {0, 2, 1, 0, 1, 3, 1, 2, 3, 0, 3, 2});
    CompactMesh const beside = support::meshOf(both, {0, 2, 1, 0, 1, 3, 1, 2, 3, 0, 3, 2, 4, 5, 6});
    std::array<double, 4> const plane = {20.0, 1.0 / 0.9, 1.0 / 0.9, -1.0};
    for (CompactMesh mesh : {alone, beside}) {
        double const area = support::area(mesh);
        CutOutcome const outcome = cutByPlane(mesh, plane);
        REQUIRE(outcome.refusal.empty());
        CHECK(outcome.removedVertices == 4);
        CHECK(outcome.closedFolds == 0);
        CHECK(outcome.areaAfter < 0.6 * area);
        CHECK(outcome.areaAfter == doctest::Approx(support::area(mesh)));
        checkSound(mesh);
    }
}

//    d---c        four triangles in one plane, two each way: across ab as across cd they lie back to back, so that one edge is
//   /     '.      as good a crease as the other, and covers another area
//  a-------b
TEST_CASE("foldsThatLieBackToBackAreTold") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 0.7f, 1, 0, 0.3f, 1, 0},
                                       {0, 1, 3, 1, 0, 2, 2, 3, 1, 3, 2, 0});
    CutOutcome const outcome = cutByPlane(mesh, {std::cos(0.3), std::sin(0.3), 0.0, -0.5});
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.closedFolds == 4);  // ab, bc, cd, da: the diagonals lie flat
    CHECK(outcome.removedVertices == 0);
    CHECK(outcome.areaAfter < 0.95 * outcome.areaBefore);
    checkSound(mesh);
    CompactMesh box = support::cube();
    CHECK(cutByPlane(box, {1.0, 0.3, 0.1, -0.6}).closedFolds == 0);
}
