#include "stitchMeshes.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/topoBuilders.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/contract/koGeom/TopoMeshIterators.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/stitch/meshStitch.h"
#include "trimora/topology/MeshConvertRep.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace koGeom;
using namespace stitchTest;
using Outcome = MeshStitchReport::Outcome;

TEST_CASE("closesTwoCupsWithUnequalRims") {
    double const distance = 0.5;
    for (double const gap : {0.0, 0.05, 0.2, 0.4})
        for (int const turned : {-1, 0, 1}) {
            CAPTURE(gap);
            CAPTURE(turned);
            CompactMesh lower = cup(12, 1.0, 0.0, -1.0);
            CompactMesh upper = cup(31, 1.0, gap, 1.0 + gap);
            double const volume = volumeOf(lower) + volumeOf(upper);
            if (turned >= 0)
                meshReverseWinding(turned == 0 ? lower : upper, false);
            CompactMesh mesh = support::joined(lower, upper);
            MeshStitchReport report;
            REQUIRE(stitch(mesh, distance, 0.2, &report));
            CHECK(faultOfSurface(mesh, 0) == "");
            CHECK(report.seams.size() == 1);
            CHECK(report.seams[0].circular);
            CHECK(report.seams[0].outcome == Outcome::Sewn);
            CHECK(report.turnedComponents.size() == (turned >= 0 ? 1 : 0));
            CHECK(std::abs(volumeOf(mesh)) > 0.95 * volume);
            CHECK(std::abs(volumeOf(mesh)) < 1.05 * volume + pi * gap);
        }
}

TEST_CASE("theSeamHasTheVerticesOfTheFinerLoop") {
    CompactMesh mesh = support::joined(cup(12, 1.0, 0.0, -1.0), cup(31, 1.0, 0.0, 1.0));
    REQUIRE(stitch(mesh, 0.5, 0.2));
    int numOnSeam = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        numOnSeam += std::abs(mesh.getVertices()[v].z) < 0.01f;
    CHECK(numOnSeam >= 31);
    CHECK(numOnSeam <= 43);
}

//      .-------.             Three tubes in a row; the middle one is inside out, and both its rims ask for a turn.
TEST_CASE("aComponentWithTwoTurnedRimsIsTurnedOnce") {
    CompactMesh middle = tube(20, 1.0, 1.1, 2.0);
    meshReverseWinding(middle, false);
    CompactMesh mesh =
        support::joined(support::joined(cup(18, 1.0, 1.0, 0.0), cup(25, 1.0, 2.1, 3.0)), middle);
    MeshStitchReport report;
    REQUIRE(stitch(mesh, 0.4, 0.2, &report));
    CHECK(report.turnedComponents.size() == 1);
    CHECK(faultOfSurface(mesh, 0) == "");
    CHECK(numSewn(report) == 2);
}

TEST_CASE("aSelectionIsNotDeleted") {
    for (bool const turned : {false, true}) {
        CompactMesh upper = tube(31, 1.0, 0.1, 1.1, 12);
        if (turned)
            meshReverseWinding(upper, false);
        CompactMesh mesh = support::joined(tube(12, 1.0, -1.0, 0.0, 12), upper);
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedTriangles().setAllBits();
        mesh.getSelectedVertices().resize(mesh.getNumVertices());
        mesh.getSelectedVertices().setAllBits();
        REQUIRE(stitch(mesh, 0.5, 0.2));
        CHECK(mesh.getNumTriangles() >= 2 * 12 * 43);
        CHECK(faultOfSurface(mesh, 43) == "");
        CHECK(mesh.getSelectedTriangles().count == 0);
        CHECK(mesh.getSelectedVertices().count == 0);
    }
}

//   +---------------+           the lower edge of a sheet runs along the middle of the upper edge of a longer one
//   |     upper     |
//   +---------------+
// +---+---+---+---+---+---+---+
// |           lower           |
// +---+---+---+---+---+---+---+
TEST_CASE("sewsASheetToPartOfTheBorderOfAnother") {
    CompactMesh mesh =
        support::joined(sheet(7, 2, 14.0, 4.0, 0.0, 0.0), sheet(9, 2, 8.0, 4.0, 3.0, 4.2));
    int const open = countEdges(mesh).open;
    MeshStitchReport report;
    REQUIRE(stitch(mesh, 0.5, 0.2, &report));
    REQUIRE(report.seams.size() == 1);
    CHECK_FALSE(report.seams[0].circular);
    CHECK(report.seams[0].outcome == Outcome::Sewn);
    CHECK(report.seams[0].length > 7.0);
    CHECK(report.seams[0].length < 9.0);
    CHECK(report.seams[0].gap >= 0.19);
    CHECK(report.seams[0].gap < 0.5);
    // Where it ends: on the line of the border that leads, and as far apart as is told.
    REQUIRE(report.seams[0].ends.size() == 2);
    CHECK(koLinear::distance(report.seams[0].ends[0], report.seams[0].ends[1]) ==
          doctest::Approx(report.seams[0].sewnLength).epsilon(0.01));
    CHECK(report.seams[0].sewnLength <= report.seams[0].length);
    CHECK(report.seams[0].endDistance >= 0.19);
    CHECK(report.seams[0].endDistance < 0.5);
    EdgeCounts const counts = countEdges(mesh);
    CHECK(counts.open < open);
    CHECK(faultOfSurface(mesh, counts.open) == "");
    SimpleMeshCache cache;
    CHECK(meshComponents(mesh, *cache.getAdjTris(mesh), nullptr) == 1);
    CHECK(cache.getBoundaries(mesh)->size() == 1);
}

//   four sheets round a point: each has a seam with two others, and their ends meet
TEST_CASE("sewsFourSheetsThatMeetInAPoint") {
    for (int const rotation : {0, 1, 2, 3}) {
        CompactMesh const sheets[4] = {
            sheet(7, 5, 5.0, 5.0, 0.0, 0.0), sheet(6, 8, 5.0, 5.0, 5.1, 0.0),
            sheet(9, 4, 5.0, 5.0, 5.1, 5.1), sheet(5, 6, 5.0, 5.0, 0.0, 5.1)};
        CompactMesh mesh;
        for (int i = 0; i < 4; ++i)
            mesh = support::joined(mesh, sheets[(i + rotation) % 4]);
        MeshStitchReport report;
        REQUIRE(stitch(mesh, 0.4, 0.2, &report));
        CHECK(numSewn(report) == 4);
        EdgeCounts const counts = countEdges(mesh);
        CHECK(faultOfSurface(mesh, counts.open) == "");
        SimpleMeshCache cache;
        CHECK(meshComponents(mesh, *cache.getAdjTris(mesh), nullptr) == 1);
    }
}

TEST_CASE("loopsOfFewerThanTenSamplesAreLeftOut") {
    // Squares of side 1; a tenth of a fifth of a distance is 2, so that each side is one sample or two.
    CompactMesh const squares = support::joined(support::grid(1, 1), support::grid(1, 1), 1.1f);
    for (auto const& [distance, numKept] : {std::pair(3.5, 0), std::pair(1.0, 2)}) {
        CompactMesh mesh = squares;
        MeshStitchReport report;
        stitch(mesh, distance, 0.2, &report);
        CHECK(static_cast<int>(report.sampledBoundaries.size()) == numKept);
    }
    CompactMesh mesh = squares;
    support::ModificationCounter counter(mesh);
    CHECK_FALSE(stitch(mesh, 3.5, 0.2));
    CHECK(counter.total() == 0);
    CHECK(support::trianglesOf(mesh) == support::trianglesOf(squares));
}

TEST_CASE("aSmallHoleListedFirstDoesNotDerailTheOthers") {
    // A lone triangle, whose loop has the lowest numbers and 3 samples, then the cups.
    std::vector<float> const far = {90, 0, 0, 90.01f, 0, 0, 90, 0.01f, 0};
    CompactMesh const source =
        support::joined(support::meshOf(far, {0, 1, 2}),
                        support::joined(cup(12, 1.0, 0.0, -1.0), cup(31, 1.0, 0.1, 1.1)));
    // Looked up by plain numbers the loops begin on other boundaries: nothing is sewn, and said so.
    CompactMesh mesh = source;
    MeshStitchReport report;
    {
        support::DebugCapture capture;
        CHECK(stitch(mesh, 0.5, 0.2, &report));
        CHECK(capture.text().find("an end was looked up on another boundary") != std::string::npos);
    }
    REQUIRE(report.seams.size() == 1);
    CHECK(report.seams[0].outcome == Outcome::Shifted);
    CHECK(report.sampledBoundaries == std::vector<int>{1, 2});
    CHECK(faultOfSurface(mesh, 3 + 12 + 31) == "");
    CHECK(mesh.getNumTriangles() == source.getNumTriangles());

    // Not chosen it shifts nothing.
    mesh = source;
    std::vector<int> const others = {2, 1};
    CHECK(stitch(mesh, 0.5, 0.2, &report, &others));
    CHECK(numSewn(report) == 1);
    CHECK(faultOfSurface(mesh, 3) == "");

    // Stretches in the middle of loops are sewn all the same, a little further along.
    CompactMesh sheets = support::joined(
        support::meshOf(far, {0, 1, 2}),
        support::joined(sheet(7, 2, 14.0, 4.0, 0.0, 0.0), sheet(9, 2, 8.0, 4.0, 3.0, 4.2)));
    CHECK(stitch(sheets, 0.5, 0.2, &report));
    CHECK(faultOfSurface(sheets, countEdges(sheets).open) == "");
    CHECK(report.seams.size() == 1);
}

TEST_CASE("refusesWithoutAnyChange") {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    CompactMesh const cups = support::joined(cup(12, 1.0, 0.0, -1.0), cup(31, 1.0, 0.1, 1.1));
    CompactMesh mesh = cups;
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedTriangles().setBit(5);
    support::ModificationCounter counter(mesh);
    for (double const distance : {0.0, -1.0, nan, 1e-12, 1e-320})
        CHECK_FALSE(stitch(mesh, distance, 0.2));
    std::vector<int> const none;
    std::vector<int> const one = {1};
    std::vector<int> const absent = {1, 7, -3};
    for (auto const* const chosen : {&none, &one, &absent})
        CHECK_FALSE(stitch(mesh, 0.5, 0.2, nullptr, chosen));

    SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    auto const boundaries = cache.getBoundaries(mesh);
    CHECK_FALSE(meshStitch(mesh, nullptr, boundaries, 0.5, 0.2));
    CHECK_FALSE(meshStitch(mesh, adjTris, nullptr, 0.5, 0.2));
    CompactMesh const other = cup(5, 1.0, 0.0, -1.0);
    SimpleMeshCache otherCache;
    CHECK_FALSE(meshStitch(mesh, otherCache.getAdjTris(other), boundaries, 0.5, 0.2));
    CompactMesh empty;
    CHECK_FALSE(stitch(empty, 0.5, 0.2));
    CompactMesh closed = support::sphere(2);
    CHECK_FALSE(stitch(closed, 0.5, 0.2));

    CHECK(counter.total() == 0);
    CHECK(support::trianglesOf(mesh) == support::trianglesOf(cups));
    CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(cups));
    CHECK(mesh.getSelectedTriangles().count == 1);
}

TEST_CASE("endsThatAreTooFarApartAreNotSewn") {
    CompactMesh const source =
        support::joined(sheet(7, 2, 14.0, 4.0, 0.0, 0.0), sheet(9, 2, 8.0, 4.0, 3.0, 4.2));
    SimpleMeshCache cache;
    for (double const farthest : {0.19, 0.5}) {
        CompactMesh mesh = source;
        MeshStitchReport report;
        support::DebugCapture capture;
        CHECK(meshStitch(mesh, cache.getAdjTris(source), cache.getBoundaries(source), {0, 1}, 0.5,
                         0.2, report, farthest));
        REQUIRE(report.seams.size() == 1);
        bool const isFar = farthest < 0.2;
        CHECK(report.seams[0].outcome == (isFar ? Outcome::TooFar : Outcome::Sewn));
        CHECK((report.seams[0].sewnLength == 0.0) == isFar);
        CHECK(report.seams[0].ends.empty() == isFar);
        CHECK((capture.text().find("too far apart") != std::string::npos) == isFar);
        SimpleMeshCache sewn;
        CHECK(meshComponents(mesh, *sewn.getAdjTris(mesh), nullptr) == (isFar ? 2 : 1));
    }
}

// Sides of 3, 3 and about 3.5; an edge has as many samples as fifths of the distance, here units, rounded, half up.
TEST_CASE("edgesAreSampledByFifthsOfTheDistance") {
    for (auto const& [base, numKept] : {std::pair(3.5f, 2), std::pair(3.499f, 0)}) {
        float const height = std::sqrt(9.0f - base * base / 4.0f);
        CompactMesh const triangle =
            support::meshOf({0, 0, 0, base, 0, 0, base / 2, height, 0}, {0, 1, 2});
        CompactMesh mesh = support::joined(triangle, triangle, 90.0f);
        MeshStitchReport report;
        CHECK(stitch(mesh, 5.0, 0.2, &report) == (numKept > 1));
        CHECK(static_cast<int>(report.sampledBoundaries.size()) == numKept);
    }
}

//   |  1  | |  2  | |  3  |     each of the three has both ends of its seam on the one edge below
//   +-----+ +-----+ +-----+
//   +---------------------+
TEST_CASE("anEdgeTakesTheEndsOfSeveralSeams") {
    CompactMesh mesh = sheet(1, 1, 14.0, 4.0, 0.0, 0.0);
    for (double const left : {1.0, 5.5, 10.0})
        mesh = support::joined(mesh, sheet(6, 2, 3.0, 4.0, left, 4.2));
    MeshStitchReport report;
    REQUIRE(stitch(mesh, 0.5, 0.2, &report));
    CHECK(report.seams.size() == 3);
    CHECK(numSewn(report) == 3);
    EdgeCounts const counts = countEdges(mesh);
    CHECK(faultOfSurface(mesh, counts.open) == "");
    SimpleMeshCache cache;
    CHECK(meshComponents(mesh, *cache.getAdjTris(mesh), nullptr) == 1);
    // In the order of the seams along the edge, apart from each other.
    std::vector<double> xs;
    for (auto const& seam : report.seams)
        for (Point const& end : seam.ends)
            xs.push_back(end.x);
    std::sort(xs.begin(), xs.end());
    REQUIRE(xs.size() == 6);
    for (std::size_t i = 0; i < 6; ++i)
        CHECK(std::abs(xs[i] - (1.0 + 4.5 * double(i / 2) + 1.5)) < 1.6);
}

namespace {

/// A tube of 30 sides that is mirrored on its way, so that its rims run as those of a Klein bottle would.
CompactMesh mirroredTube(bool isMirrored) {
    int const sides = 30;
    int const rows = 6;
    std::vector<float> coordinates;
    for (int row = 0; row <= rows; ++row)
        for (int i = 0; i < sides; ++i) {
            double const u = double(row) / rows;
            double const turn = isMirrored ? 1.0 - 2.0 * u : 1.0;
            double const angle = 2.0 * pi * i / sides * turn;
            double const radius = 1.0 + (isMirrored ? std::sin(pi * u) : 0.0);
            double const height = isMirrored ? 1.05 - 1.1 * u : u;
            for (double const c : {radius * std::cos(angle), radius * std::sin(angle), height})
                coordinates.push_back(static_cast<float>(c));
        }
    return support::meshOf(coordinates, stitchTest::tubeTriangles(sides, rows));
}

}  // namespace

TEST_CASE("sidesThatNoTurnHelpsAreRefusedAfterTheTurn") {
    for (bool const isReversed : {false, true}) {
        CompactMesh inner = mirroredTube(false);
        if (isReversed)
            meshReverseWinding(inner, false);
        CompactMesh mesh = support::joined(inner, mirroredTube(true));
        CompactMesh const before = mesh;
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedTriangles().setBit(3);
        support::ModificationCounter counter(mesh);
        MeshStitchReport report;
        CHECK_FALSE(stitch(mesh, 0.2, 0.01, &report));
        CHECK(counter.total() == static_cast<int>(report.turnedComponents.size()));
        CHECK(report.turnedComponents.size() == 1);
        CHECK(report.seams.empty());
        CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(before));
        CHECK(support::trianglesOf(mesh) != support::trianglesOf(before));  // it stays turned
        CHECK(faultOfSurface(mesh, 120) == "");
        CHECK(mesh.getSelectedTriangles().isBitSet(3));
    }
}

TEST_CASE("nothingAlongsideIsNoRefusal") {
    CompactMesh mesh = support::joined(cup(12, 1.0, 0.0, -1.0), cup(31, 1.0, 9.0, 10.0));
    support::ModificationCounter counter(mesh);
    MeshStitchReport report;
    CHECK(stitch(mesh, 0.5, 0.2, &report));
    CHECK(report.seams.empty());
    CHECK(counter.total() == 1);
    CHECK(faultOfSurface(mesh, 43) == "");
}

TEST_CASE("sendsOneModificationAndOneMoreForEachTurn") {
    for (int const turned : {0, 1}) {
        CompactMesh upper = cup(31, 1.0, 0.1, 1.1);
        if (turned == 1)
            meshReverseWinding(upper, false);
        CompactMesh mesh = support::joined(cup(12, 1.0, 0.0, -1.0), upper);
        support::ModificationCounter counter(mesh);
        REQUIRE(stitch(mesh, 0.5, 0.2));
        CHECK(counter.total() == 1 + turned);
    }
}

TEST_CASE("aMoebiusStripOfTwoSheetsCannotBeOriented") {
    // Two half turns that run the same way at one end and against each other at the other one.
    std::vector<float> coordinates;
    std::vector<int> triangles;
    int const steps = 24;
    for (int half = 0; half < 2; ++half)
        for (int i = 0; i <= steps; ++i) {
            double const angle = pi * (half + 0.01 + 0.98 * i / steps);
            for (double const side : {-0.6, 0.0, 0.6}) {
                double const radius = 3.0 + side * std::cos(angle / 2.0);
                for (double const c : {radius * std::cos(angle), radius * std::sin(angle),
                                       side * std::sin(angle / 2.0)})
                    coordinates.push_back(static_cast<float>(c));
            }
        }
    for (int half = 0; half < 2; ++half)
        for (int i = 0; i < steps; ++i)
            for (int side = 0; side < 2; ++side) {
                int const a = 3 * (half * (steps + 1) + i) + side;
                triangles.insert(triangles.end(), {a, a + 3, a + 4, a, a + 4, a + 1});
            }
    CompactMesh mesh = support::meshOf(coordinates, triangles);
    support::ModificationCounter counter(mesh);
    CHECK_FALSE(stitch(mesh, 0.25, 0.2));
    CHECK(counter.total() == 0);
    CHECK(support::trianglesOf(mesh) == triangles);
}

namespace {

/// Cuts a closed mesh in two by the plane z = height, moves the upper part up, and gives both borders vertices of their own.
///
///          b                 b            a triangle with corners on both sides becomes three; cut points are shared
///         / \               / \           within each part
///    ----x---y----         x---y
///       /     \           /  \  \                                                                  .
///      a-------c         a-------c
class Halves {
public:
    Halves(CompactMesh const& mesh, double height, double move, support::Random& random)
        : mesh_(mesh), height_(height) {
        for (int const part : {0, 1})
            addPart(part, part == 1 ? move : 0.0, random);
    }
    CompactMesh result;

private:
    double above(int v) const { return double(mesh_.getVertices()[v].z) - height_; }

    void addPart(int part, double move, support::Random& random) {
        TopoMesh topo;
        std::map<int, TopoMeshVertex> corners;
        std::map<std::pair<int, int>, TopoMeshVertex> cuts;
        auto const isIn = [&](int v) { return (above(v) >= 0.0) == (part == 1); };
        auto const corner = [&](int v) {
            auto& vertex = corners[v];
            if (!vertex)
                vertex = topo.allocVertex(mesh_.getVertices()[v].asPoint() + Vector(0, 0, move));
            return vertex;
        };
        auto const cut = [&](int a, int b) {
            auto& vertex = cuts[std::minmax(a, b)];
            if (!vertex) {
                double const t = above(a) / (above(a) - above(b));
                vertex = topo.allocVertex(combine(1.0 - t, mesh_.getVertices()[a].asPoint(), t,
                                                  mesh_.getVertices()[b].asPoint()) +
                                          Vector(0, 0, move));
            }
            return vertex;
        };
        for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
            std::vector<TopoMeshVertex> polygon;
            for (int k = 0; k < 3; ++k) {
                int const a = mesh_.getTriangles()[t][k];
                int const b = mesh_.getTriangles()[t][(k + 1) % 3];
                if (isIn(a))
                    polygon.push_back(corner(a));
                if (isIn(a) != isIn(b))
                    polygon.push_back(cut(a, b));
            }
            for (std::size_t i = 2; i < polygon.size(); ++i)
                topo.allocTriangle(polygon[0], polygon[i - 1], polygon[i]);
        }
        roughen(topo, random);
        std::unique_ptr<CompactMesh> const half(meshConvertRep(topo));
        result = support::joined(result, *half);
    }

    /// Splits some of the edges of the border.
    static void roughen(TopoMesh& topo, support::Random& random) {
        for (TopoMeshEdge const e : support::listOf(topo.firstEdge())) {
            if (e.twin() || random.index(3) > 0)
                continue;
            double const t = random.real(0.2, 0.8);
            TopoMeshVertex const apex = e.prev().origin();
            TopoMeshVertex const middle = topo.subdivideEdge(
                e, combine(t, e.origin().point(), 1.0 - t, e.next().origin().point()));
            topo.subdivideFace(e.face(), middle, apex);
        }
    }

    CompactMesh const& mesh_;
    double const height_;
};

/// Both halves moved apart by half the distance: sewn again they are closed, and of the size that they were.
void checkHalves(CompactMesh const& mesh, double height, double distance, support::Random& random) {
    Halves halves(mesh, height, 0.5 * distance, random);
    for (double const tolerance : {0.01, 0.2}) {
        CompactMesh sewn = halves.result;
        MeshStitchReport report;
        REQUIRE(stitch(sewn, distance, tolerance, &report));
        CHECK(faultOfSurface(sewn, 0) == "");
        double const volume = volumeOf(mesh);
        CHECK(std::abs(volumeOf(sewn) - volume) < 0.01 * volume);
        for (auto const& seam : report.seams)
            CHECK(seam.outcome == Outcome::Sewn);
    }
}

}  // namespace

TEST_CASE("sewsTheHalvesOfASphereAndOfATorus") {
    support::Random random(55);
    CompactMesh const ball = support::sphere(5);
    for (double const height : {0.0, 0.013, -0.4, 0.7})
        checkHalves(ball, height, 0.02, random);
    CompactMesh const ring = support::torus(96, 40);
    for (double const height : {0.003, 0.2})
        checkHalves(ring, height, 0.01, random);
}

TEST_CASE("sewsTheHalvesOfAScan") {
    std::string const path = support::corpusFile("rocker_arm.obj");
    CompactMesh mesh = support::sphere(6);
    if (!path.empty())
        REQUIRE(meshReadObj(mesh, koOS::Filename(path.c_str())));
    float low = std::numeric_limits<float>::max();
    float high = -low;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        low = std::min(low, mesh.getVertices()[v].z);
        high = std::max(high, mesh.getVertices()[v].z);
    }
    REQUIRE(countEdges(mesh).open == 0);
    support::Random random(56);
    for (double const part : {0.4, 0.51, 0.6})
        checkHalves(mesh, double(low) + part * double(high - low), 0.004 * double(high - low),
                    random);
}

TEST_CASE("theOutcomeDoesNotDependOnThreads") {
    // The smaller distance takes 15 thousand samples, of which each thread looks at its share.
    for (double const distance : {0.02, 0.004}) {
        support::Random random(57);
        CompactMesh const source = Halves(support::sphere(5), 0.1, 0.5 * distance, random).result;
        CompactMesh first;
        support::withPools([&](int numThreads) {
            CompactMesh mesh = source;
            REQUIRE(stitch(mesh, distance, 0.2));
            if (numThreads == 1)
                first = mesh;
            CHECK(support::trianglesOf(mesh) == support::trianglesOf(first));
            CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(first));
        });
    }
}

TEST_CASE("anyMeshComesOutSound") {
    support::Random random(58);
    auto zoo = support::zoo();
    zoo.push_back({"pieces", support::joined(support::holed(support::terrain(12, 12, 1), 0.7, 2),
                                             support::holed(support::terrain(12, 12, 1), 0.7, 3))});
    for (support::NamedMesh const& named : zoo)
        for (double const distance :
             {0.02, 0.3, 1.0, 20.0, std::numeric_limits<double>::infinity()}) {
            CAPTURE(named.name);
            CAPTURE(distance);
            CompactMesh mesh =
                support::joined(named.mesh, named.mesh, static_cast<float>(random.real(-0.2, 0.2)),
                                0.1f, static_cast<float>(random.real(-0.2, 0.2)));
            EdgeCounts const before = countEdges(mesh);
            stitch(mesh, distance, random.real(-0.1, 0.4));
            CHECK(support::faultOf(mesh) == "");
            CHECK(countEdges(mesh).crowded <= before.crowded);
        }
}

// Loops that lead through the surface, twice over one edge, or nowhere.
TEST_CASE("boundariesThatAreNoneAreSkipped") {
    support::Random random(59);
    for (int round = 0; round < 200; ++round) {
        CompactMesh mesh = support::joined(support::grid(6, 6), support::grid(5, 7), 6.2f);
        std::vector<float> const before = support::coordinatesOf(mesh);
        std::vector<std::vector<int>> loops(3, std::vector<int>(20));
        for (auto& loop : loops)
            for (int& v : loop)
                v = random.index(mesh.getNumVertices());
        if (round < 20)
            loops[1][7] = round % 2 == 0 ? -1 : 1000;
        MeshSequence runs(loops);
        SimpleMeshCache cache;
        MeshStitchReport report;
        bool const done = meshStitch(mesh, cache.getAdjTris(mesh), new MeshBoundaries(runs),
                                     {0, 1, 2}, random.real(0.1, 2.0), 0.01, report);
        CHECK(support::faultOf(mesh) == "");
        CHECK((done || support::coordinatesOf(mesh) == before));
        CHECK(countEdges(mesh).crowded == 0);
    }
}
