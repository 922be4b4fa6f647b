#include "stitchMeshes.h"

#include "trimora/connectivity/meshComponents.h"
#include "trimora/stitch/meshCloseSlits.h"

#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;
using namespace stitchTest;

namespace {

bool closeSlits(CompactMesh& mesh, ko::vector<Point> const& starts, double distance,
                ko::vector<double>& lengths) {
    SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    auto const boundaries = cache.getBoundaries(mesh);
    return meshCloseSlits(mesh, adjTris, boundaries, starts, distance, 0.01, lengths);
}

//   far A  o---o---o---o---o        two strips that share their first vertex s; the gap is 0.2 wide, and the lower
//          s   1   2   3   4        side ends at 3.5
//   far B  o-------2-----3.5
CompactMesh slit() {
    return support::meshOf({0, 0,     0, 1,    0.1f,  0, 2, 0.1f, 0, 3, 0.1f, 0, 4,    0.1f, 0,
                            0, 1,     0, 1,    1,     0, 2, 1,    0, 3, 1,    0, 4,    1,    0,
                            2, -0.1f, 0, 3.5f, -0.1f, 0, 0, -1,   0, 2, -1,   0, 3.5f, -1,   0},
                           {0, 1, 6, 0, 6, 5,  1,  2, 7,  1,  7,  6,  2,  3,  8,  2,  8, 7, 3, 4,
                            9, 3, 9, 8, 0, 12, 13, 0, 13, 10, 10, 13, 14, 10, 14, 11, 0, 5, 12});
}

bool hasVertexNear(CompactMesh const& mesh, Point const& p, double within) {
    MeshVertex const* const vertices = mesh.getVertices();
    return std::any_of(vertices, vertices + mesh.getNumVertices(), [&](MeshVertex const& v) {
        return koLinear::distance(v.asPoint(), p) < within;
    });
}

}  // namespace

TEST_CASE("aSlitIsClosedToTheCornerOfItsShorterSide") {
    CompactMesh mesh = slit();
    int const open = countEdges(mesh).open;
    REQUIRE(faultOfSurface(mesh, open) == "");
    support::ModificationCounter counter(mesh);
    ko::vector<double> lengths;
    REQUIRE(closeSlits(mesh, {Point(0, 0, 0)}, 0.3, lengths));
    CHECK(counter.total() == 1);
    REQUIRE(lengths.size() == 1);
    CHECK(lengths[0] == doctest::Approx(std::hypot(1.0, 0.1) + 2.5));
    CHECK(hasVertexNear(mesh, Point(3.5, 0.1, 0.0), 1e-6));
    CHECK_FALSE(hasVertexNear(mesh, Point(3.5, -0.1, 0.0), 1e-3));  // moved onto the other side
    // Four and two edges became twins; the cut at 3.5 left a half of the fourth one open.
    CHECK(faultOfSurface(mesh, open + 1 - 6) == "");
}

TEST_CASE("nothingIsClosedWhereSidesAreFartherApartThanTheDistance") {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    CompactMesh mesh = slit();
    support::ModificationCounter counter(mesh);
    ko::vector<double> lengths;
    ko::vector<Point> const starts = {Point(0, 0, 0)};
    for (double const distance : {0.09, 0.0, -1.0, nan})
        CHECK_FALSE(closeSlits(mesh, starts, distance, lengths));
    CHECK(lengths == ko::vector<double>{0.0});
    // In no place of a vertex, on none of the border, where the border is straight, where its corner is wide.
    for (Point const& start : {Point(9, 9, 9), Point(nan, 0, 0), Point(2, 1, 0), Point(4, 1, 0)})
        CHECK_FALSE(closeSlits(mesh, {start}, 0.3, lengths));
    CHECK_FALSE(closeSlits(mesh, {}, 0.3, lengths));
    SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    CHECK_FALSE(meshCloseSlits(mesh, adjTris, nullptr, starts, 0.3, 0.01, lengths));
    CHECK_FALSE(
        meshCloseSlits(mesh, nullptr, cache.getBoundaries(mesh), starts, 0.3, 0.01, lengths));
    CompactMesh const other = sheet(3, 3, 1.0, 1.0, 0.0, 0.0);
    SimpleMeshCache others;
    CHECK_FALSE(meshCloseSlits(mesh, others.getAdjTris(other), cache.getBoundaries(mesh), starts,
                               0.3, 0.01, lengths));
    CHECK(counter.total() == 0);
    CHECK(support::trianglesOf(mesh) == support::trianglesOf(slit()));
}

namespace {

double openLengthOf(CompactMesh const& mesh) {
    SimpleMeshCache cache;
    auto const boundaries = cache.getBoundaries(mesh);
    double sum = 0.0;
    for (int b = 0; b < boundaries->size(); ++b) {
        int last = *std::prev(boundaries->getEnd(b));
        for (int const* v = boundaries->getStart(b); v != boundaries->getEnd(b); last = *v++)
            sum += koLinear::distance(mesh.getVertices()[last].asPoint(),
                                      mesh.getVertices()[*v].asPoint());
    }
    return sum;
}

int numFlat(CompactMesh const& mesh) {
    int count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        auto const at = [&](int k) {
            return mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint();
        };
        count += cross(at(1) - at(0), at(2) - at(0)).length() < 0.01;
    }
    return count;
}

}  // namespace

//   o--o--o--o--o      the way across a narrow band leads through its own triangles: it is surface, and no gap
//   | /| /| /| /|
//   s--o--o--o--o
TEST_CASE("bandsOfSurfaceAreNotSqueezedTogether") {
    CompactMesh const bands[] = {sheet(4, 1, 4.0, 0.1, 0.0, 0.0), sheet(1, 1, 4.0, 0.1, 0.0, 0.0),
                                 sheet(40, 2, 4.0, 0.1, 0.0, 0.0), sheet(1, 1, 0.1, 0.1, 0.0, 0.0),
                                 support::meshOf({0, 0, 0, 0.1f, 0, 0, 0, 0.1f, 0}, {0, 1, 2})};
    for (CompactMesh const& band : bands) {
        ko::vector<Point> starts;
        for (int v = 0; v < band.getNumVertices(); ++v)
            starts.insert(starts.end(), 2, band.getVertices()[v].asPoint());
        CompactMesh mesh = band;
        ko::vector<double> lengths;
        CAPTURE(band.getNumTriangles());
        CHECK_FALSE(closeSlits(mesh, starts, 0.3, lengths));
        CHECK(support::trianglesOf(mesh) == support::trianglesOf(band));
    }
}

// Both sides of what was joined are open no more, but for what a side that was moved is longer or shorter by.
TEST_CASE("lengthsAreThoseThatWereJoined") {
    CompactMesh mesh = slit();
    double const before = openLengthOf(mesh);
    ko::vector<double> lengths;
    REQUIRE(closeSlits(mesh, {Point(0, 0, 0), Point(0, 0, 0)}, 0.3, lengths));
    CHECK(lengths[1] == 0.0);
    CHECK(before - openLengthOf(mesh) == doctest::Approx(2.0 * lengths[0]).epsilon(0.03));
    CHECK(numFlat(mesh) == numFlat(slit()));
}

//   o-----------o      a hole like a lens, from s to where its sides come together
//   |  s <===>  |
//   o-----------o
TEST_CASE("whereTheSidesComeTogetherTheHoleIsClosed") {
    for (int const lower : {2, 3, 5}) {
        // The rims of the hole: 4 edges above, some others below.
        std::vector<float> coordinates;
        std::vector<int> triangles;
        auto const add = [&](double x, double y) {
            for (double const c : {x, y, 0.0})
                coordinates.push_back(static_cast<float>(c));
            return static_cast<int>(coordinates.size() / 3) - 1;
        };
        int const start = add(0, 0);
        int const end = add(4, 0);
        auto const addHalf = [&](int pieces, double sign) {
            int near = start;
            int far = add(0, sign);
            int const firstFar = far;
            for (int i = 1; i <= pieces; ++i) {
                double const x = 4.0 * i / pieces;
                int const nextNear =
                    i == pieces ? end : add(x, sign * 0.1 * std::sin(pi * x / 4.0));
                int const nextFar = add(x, sign);
                int const a = sign > 0.0 ? near : far;
                int const b = sign > 0.0 ? nextNear : nextFar;
                int const c = sign > 0.0 ? nextFar : nextNear;
                int const d = sign > 0.0 ? far : near;
                triangles.insert(triangles.end(), {a, b, c, a, c, d});
                near = nextNear;
                far = nextFar;
            }
            return std::pair(firstFar, far);
        };
        auto const [upperLeft, upperRight] = addHalf(4, 1.0);
        auto const [lowerLeft, lowerRight] = addHalf(lower, -1.0);
        triangles.insert(triangles.end(),
                         {start, upperLeft, lowerLeft, end, lowerRight, upperRight});
        CompactMesh mesh = support::meshOf(coordinates, triangles);
        int const outer = 4 + lower + 2;
        REQUIRE(faultOfSurface(mesh, outer + 4 + lower) == "");
        ko::vector<double> lengths;
        // Both ends are given; the second one finds nothing left.
        REQUIRE(closeSlits(mesh, {Point(0, 0, 0), Point(4, 0, 0)}, 0.3, lengths));
        CHECK(lengths[0] == doctest::Approx(4.0).epsilon(0.02));
        CHECK(lengths[1] == 0.0);
        CHECK(faultOfSurface(mesh, outer) == "");
    }
}

// Samples of the two sides do not lie opposite each other: the seam alone takes what lines up best, about half of the length.
TEST_CASE("whatASeamLeavesOpenIsClosed") {
    support::Random random(61);
    double bySeams = 0.0;
    double inAll = 0.0;
    int const rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        double const gap = 0.1 * random.index(3);
        double const left = random.real(1.0, 5.0);
        CompactMesh mesh =
            support::joined(sheet(20 + random.index(40), 4, 14.0, 4.0, 0.0, 0.0),
                            sheet(12 + random.index(30), 3, 8.0, 4.0, left, 4.0 + gap));
        if (round % 2 == 1)
            for (int v = 0; v < mesh.getNumVertices(); ++v) {
                MeshVertex& p = mesh.getVertices()[v];
                p.y += std::sin(0.45f * p.x);
                p.z = 0.5f * std::cos(0.3f * p.x);
            }
        MeshStitchReport report;
        double const distance = 0.4;
        REQUIRE(stitch(mesh, distance, 0.01, &report));
        REQUIRE(report.seams.size() == 1);
        ko::vector<double> lengths;
        closeSlits(mesh, report.seams[0].ends, distance, lengths);
        EdgeCounts const counts = countEdges(mesh);
        CHECK(faultOfSurface(mesh, counts.open) == "");
        double sewn = report.seams[0].sewnLength;
        bySeams += sewn / report.seams[0].length;
        for (double const length : lengths)
            sewn += length;
        inAll += sewn / report.seams[0].length;
    }
    CHECK(bySeams / rounds < 0.7);
    CHECK(inAll / rounds > 0.9);
}

TEST_CASE("anyBorderComesOutSound") {
    support::Random random(62);
    for (support::NamedMesh const& named : support::zoo())
        for (double const distance : {0.05, 0.5, 5.0}) {
            CAPTURE(named.name);
            CompactMesh mesh = named.mesh;
            EdgeCounts const before = countEdges(mesh);
            ko::vector<Point> starts;
            for (int i = 0; i < 20 && mesh.getNumVertices() > 0; ++i)
                starts.push_back(mesh.getVertices()[random.index(mesh.getNumVertices())].asPoint());
            ko::vector<double> lengths;
            closeSlits(mesh, starts, distance, lengths);
            CHECK(support::faultOf(mesh) == "");
            CHECK((countEdges(mesh).crowded == 0 || before.crowded > 0));
        }
}
