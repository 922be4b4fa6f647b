#include "reduction.h"
#include "support/checks.h"
#include "support/corpus.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>

using namespace koGeom;

namespace {

struct Reduced {
    CompactMesh mesh;
    ko::vector<Point> removedPoints;
    MeshReduceReport report;
    double maxDeviation = 0.0;
};

Reduced toFraction(CompactMesh const& source, double fraction) {
    Reduced reduced{source, {}, {}, 0.0};
    koUtil::Progress progress;
    meshReduceToFraction(reduced.mesh, fraction, progress, reduced.removedPoints, reduced.report);
    return reduced;
}

Reduced withTolerance(CompactMesh const& source, double tolerance) {
    Reduced reduced{source, {}, {}, 0.0};
    koUtil::Progress progress;
    reduced.maxDeviation = meshReduceWithTolerance(reduced.mesh, tolerance, progress,
                                                   reduced.removedPoints, reduced.report);
    return reduced;
}

using Reduction = std::function<Reduced(CompactMesh const&)>;

std::vector<Reduction> reductions(double fraction, double tolerance) {
    return {[=](CompactMesh const& mesh) { return toFraction(mesh, fraction); },
            [=](CompactMesh const& mesh) { return withTolerance(mesh, tolerance); }};
}

double diagonalOf(CompactMesh const& mesh) {
    double low[3];
    double high[3];
    meshBoundingBox(mesh, low, high);
    return distance(Point(low[0], low[1], low[2]), Point(high[0], high[1], high[2]));
}

/// Digits give way to '#', so that times do not count.
std::string withoutTimes(std::string text) {
    for (std::size_t at = text.find('.'); at != std::string::npos; at = text.find('.', at + 1)) {
        std::size_t const begin = text.find_last_not_of("0123456789", at - 1) + 1;
        text.replace(begin, text.find(' ', at) - begin, "#");
        at = begin;
    }
    return text;
}

/// Only lines of the reduction itself.
std::string linesOf(std::string const& text, std::string const& word) {
    std::string lines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = text.find('\n', begin) + 1;
        if (text.compare(begin, word.size(), word) == 0)
            lines += text.substr(begin, end - begin);
        begin = end;
    }
    return lines;
}

void checkSoundness(CompactMesh const& source, Reduced const& reduced) {
    CompactMesh const& mesh = reduced.mesh;
    REQUIRE(support::faultOf(mesh).empty());
    // What is left stands where it was; what went is listed, perhaps more than once.
    std::multiset<reduction::Position> const before = reduction::positionsOf(source);
    std::multiset<reduction::Position> const left = reduction::positionsOf(mesh);
    std::multiset<reduction::Position> listed;
    for (Point const& p : reduced.removedPoints) {
        PointFlt const narrow(p);
        listed.insert({narrow.x, narrow.y, narrow.z});
    }
    std::vector<reduction::Position> gone;
    std::set_difference(before.begin(), before.end(), left.begin(), left.end(),
                        std::back_inserter(gone));
    CHECK(static_cast<int>(gone.size()) == source.getNumVertices() - mesh.getNumVertices());
    CHECK(std::includes(listed.begin(), listed.end(), gone.begin(), gone.end()));
    CHECK(mesh.getSelectedVertices().count == 0);
    CHECK(mesh.getSelectedTriangles().count == 0);
}

/// What the plain reader makes of a file, larger faces cut into fans.
CompactMesh corpusMesh(std::string const& path) {
    CompactMesh mesh;
    REQUIRE(meshReadObj(mesh, koOS::Filename(path.c_str())));
    if (mesh.getNumPolys() == 0)
        return mesh;
    std::vector<int> triangles;
    int first = 0;
    for (int i = 0; i < mesh.getNumPolys(); ++i) {
        int const length = mesh.polys.lengths[i];
        for (int k = 1; k + 1 < length; ++k)
            triangles.insert(triangles.end(),
                             {mesh.polys.points[first], mesh.polys.points[first + k],
                              mesh.polys.points[first + k + 1]});
        first += length;
    }
    return support::meshOf(support::coordinatesOf(mesh), triangles);
}

constexpr double pairsByBruteForce = 1e7;  // of vertices and triangles; more take too long

/// As reduction::farthestVertex, through a tree.
double farthestVertexByTree(CompactMesh const& from, CompactMesh const& to) {
    SimpleMeshCache cache;
    ko::Reference<Octree> const octree = cache.getOctree(to, 16);
    ko::Reference<OctreeTris> const octreeTris = cache.getOctreeTris(to);
    MeshClosestPoint closest(to, *octree, *octreeTris);
    std::set<int> used;
    for (int const v : support::trianglesOf(from))
        used.insert(v);
    double farthest = 0.0;
    for (int const v : used)
        farthest = std::max(farthest, closest.compute(from.getVertices()[v].asPoint(), nullptr));
    return farthest;
}

}  // namespace

TEST_SUITE("meshReduce") {

    TEST_CASE("fractionOfAllOrMoreDoesNothingButPrint") {
        double const nan = std::numeric_limits<double>::quiet_NaN();
        for (double const fraction : {1.0, 1.5, 1e300, nan}) {
            CompactMesh mesh = support::sphere(2);
            support::ModificationCounter counter(mesh);
            support::DebugCapture capture;
            koUtil::Progress progress;
            ko::vector<Point> points = {Point(1, 2, 3)};
            MeshReduceReport report{MeshReduceReport::Cancelled, 7};
            meshReduceToFraction(mesh, fraction, progress, points, report);
            CHECK(withoutTimes(capture.text()) ==
                  "MeshReduce: reduced from 66 vertices to 66 vertices: # s\n");
            CHECK(counter.total() == 0);
            CHECK(points == ko::vector<Point>{Point(1, 2, 3)});
            CHECK(report.reason == MeshReduceReport::Target);
            CHECK(report.passes == 0);
        }
    }

    TEST_CASE("toleranceOfNothingRemovesNothing") {
        double const nan = std::numeric_limits<double>::quiet_NaN();
        for (double const tolerance : {0.0, -1.0, nan}) {
            for (CompactMesh const& source : {support::grid(5, 5), support::cube()}) {
                support::DebugCapture capture;
                Reduced const reduced = withTolerance(source, tolerance);
                CHECK(support::trianglesOf(reduced.mesh) == support::trianglesOf(source));
                CHECK(reduced.removedPoints.empty());
                CHECK(reduced.maxDeviation == 0.0);
                CHECK(reduced.report.reason == MeshReduceReport::Tolerance);
                CHECK(linesOf(capture.text(), "meshReduce: iterations(0): ").size() > 0);
            }
        }
    }

    TEST_CASE("messagesTellOfEveryPass") {
        support::DebugCapture capture;
        // Each of the four inner vertices is a neighbour of all others or of the one that went: a pass each, and a fifth
        // look that finds nothing.
        Reduced const reduced = withTolerance(reduction::jitteredGrid(3, 3), 0.5);
        REQUIRE(reduced.mesh.getNumVertices() == 12);
        REQUIRE(reduced.report.passes == 4);
        std::string const flatness = "MeshReduce: flatness computed in # s\n";
        CHECK(withoutTimes(linesOf(capture.text(), "MeshReduce: ")) ==
              flatness + flatness + flatness + flatness + flatness +
                  "MeshReduce: reduced from 16 vertices to 12 vertices: # s\n");
        CHECK(withoutTimes(linesOf(capture.text(), "meshReduce: ")) ==
              "meshReduce: iterations(4): # s\n");
        CHECK(capture.text().ends_with(linesOf(capture.text(), "meshReduce: ")));
        CHECK(reduced.report.reason == MeshReduceReport::NothingLeft);
    }

    TEST_CASE("meshOfBordersStays") {
        for (CompactMesh const& source :
             {support::triangle(), support::grid(1, 1), support::grid(30, 1), CompactMesh(),
              support::meshOf({0, 0, 0}, {}), support::threeOnAnEdge(), support::moebius(9)}) {
            for (Reduction const& reduce : reductions(0.0, 1e9)) {
                support::DebugCapture capture;
                Reduced const reduced = reduce(source);
                CHECK(support::trianglesOf(reduced.mesh) == support::trianglesOf(source));
                CHECK(support::coordinatesOf(reduced.mesh) == support::coordinatesOf(source));
                CHECK(reduced.report.passes == 0);
            }
        }
    }

    TEST_CASE("tetrahedronLosesOneVertexAndKeepsTwoFaces") {
        Reduced const reduced = toFraction(support::tetrahedron(), 0.0);
        CHECK(reduced.mesh.getNumVertices() == 3);
        CHECK(reduced.mesh.getNumTriangles() == 2);
        CHECK(reduced.report.passes == 1);
        CHECK(reduced.report.reason == MeshReduceReport::NothingLeft);
    }

    TEST_CASE("removedPointsAreAppendedInOrderOfRemoval") {
        CompactMesh mesh = reduction::jitteredGrid(9, 9);
        CompactMesh const source = mesh;
        koUtil::Progress progress;
        ko::vector<Point> points = {Point(7, 7, 7)};
        meshReduceToFraction(mesh, 0.9, progress, points);
        std::map<reduction::Position, int> numbers;
        for (int v = 0; v < source.getNumVertices(); ++v)
            numbers[reduction::positionOf(source, v)] = v;
        // One pass, one batch: ascending numbers.
        REQUIRE(static_cast<int>(points.size()) == 1 + 100 - mesh.getNumVertices());
        CHECK(mesh.getNumVertices() == 90);
        CHECK(points[0] == Point(7, 7, 7));
        auto const numberOf = [&](Point const& p) {
            PointFlt const narrow(p);
            return numbers.at({narrow.x, narrow.y, narrow.z});
        };
        for (std::size_t i = 2; i < points.size(); ++i)
            CHECK(numberOf(points[i - 1]) < numberOf(points[i]));
    }

    TEST_CASE("planeKeepsAreaAndBorder") {
        CompactMesh const source = support::shuffled(reduction::jitteredGrid(20, 15), 3);
        for (Reduction const& reduce : reductions(0.0, 1e-3)) {
            Reduced const reduced = reduce(source);
            CHECK(reduced.mesh.getNumVertices() < 100);
            CHECK(support::area(reduced.mesh) == doctest::Approx(300.0));
            CHECK(reduction::bordersOf(reduced.mesh) == reduction::bordersOf(source));
            CHECK(reduction::isOrientedManifold(reduced.mesh));
            CHECK(reduced.maxDeviation < 1e-12);
        }
    }

    TEST_CASE("manifoldsStayManifoldsOfTheSameGenusAndBorder") {
        std::vector<support::NamedMesh> meshes = support::manifoldZoo();
        for (auto& larger : reduction::largerMeshes())
            meshes.push_back(larger);
        meshes.push_back({"torus", support::torus(40, 30)});
        for (auto const& named : meshes) {
            CompactMesh const& source = named.mesh;
            for (double const size : {0.5, 0.1, 0.02}) {
                for (Reduction const& reduce : reductions(size, (1.0 - size) * 0.1)) {
                    CAPTURE(named.name);
                    CAPTURE(size);
                    Reduced const reduced = reduce(source);
                    checkSoundness(source, reduced);
                    CHECK(support::eulerNumber(reduced.mesh) == support::eulerNumber(source));
                    CHECK(support::numComponents(reduced.mesh) == support::numComponents(source));
                    CHECK(reduction::isOrientedManifold(reduced.mesh));
                    CHECK(reduction::bordersOf(reduced.mesh) == reduction::bordersOf(source));
                }
            }
        }
    }

    TEST_CASE("anyInputIsSurvived") {
        std::vector<support::NamedMesh> meshes = support::zoo();
        for (std::uint64_t seed = 1; seed <= 30; ++seed) {
            int const size = static_cast<int>(seed);
            meshes.push_back({"soup " + std::to_string(seed),
                              support::latticeSoup(6 + 2 * size, 10 + 6 * size, seed)});
        }
        float const odd[] = {std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(), 1e38f, 1e-38f};
        for (float const value : odd) {
            CompactMesh mesh = support::sphere(2);
            for (int v = 0; v < mesh.getNumVertices(); v += 9)
                mesh.getVerticesRaw()[3 * v + v % 3] = value;
            meshes.push_back({"sphere with " + std::to_string(value), mesh});
        }
        for (auto const& named : meshes) {
            CompactMesh const& source = named.mesh;
            for (double const size : {0.7, 0.0}) {
                for (Reduction const& reduce : reductions(size, 3.0 - size)) {
                    CAPTURE(named.name);
                    Reduced const reduced = reduce(source);
                    CHECK(support::faultOf(reduced.mesh).empty());
                    CHECK(reduced.mesh.getNumVertices() <= source.getNumVertices());
                    CHECK(std::isfinite(reduced.maxDeviation));
                }
            }
        }
    }

    TEST_CASE("fractionIsMetOrMissedUpwards") {
        for (auto const& named : reduction::largerMeshes()) {
            CompactMesh const& source = named.mesh;
            int const numVertices = source.getNumVertices();
            for (double const fraction : {0.9, 0.5, 0.25, 0.2}) {
                CAPTURE(named.name);
                CAPTURE(fraction);
                Reduced const reduced = toFraction(source, fraction);
                int const target = static_cast<int>(numVertices * fraction);
                int const numLeft = reduced.mesh.getNumVertices();
                bool const met = reduced.report.reason == MeshReduceReport::Target;
                CHECK(numLeft >= target);
                CHECK((numLeft == target) == met);
                CHECK(numLeft <= target * 1.03);
                CHECK(reduced.report.passes >= 1);
            }
            CHECK(toFraction(source, -1e300).report.reason != MeshReduceReport::Target);
        }
    }

    // A small ball among vertices that no triangle uses: what can go is less than a hundredth.
    TEST_CASE("passOfLessThanAHundredthIsTheLast") {
        std::vector<float> coordinates = support::coordinatesOf(support::sphere(2));
        coordinates.resize(coordinates.size() + 3 * 5000);
        CompactMesh const source =
            support::meshOf(coordinates, support::trianglesOf(support::sphere(2)));
        for (Reduction const& reduce : reductions(0.0, 10.0)) {
            Reduced const reduced = reduce(source);
            CHECK(reduced.report.passes == 1);
            CHECK(reduced.report.reason == MeshReduceReport::OnePercent);
            int const numGone = source.getNumVertices() - reduced.mesh.getNumVertices();
            CHECK(numGone > 0);
            CHECK(numGone < 50);
        }
    }

    TEST_CASE("everyVertexStaysWithinTheTolerance") {
        auto const check = [](support::NamedMesh const& source, double part) {
            CAPTURE(source.name);
            CAPTURE(part);
            CompactMesh const& mesh = source.mesh;
            double const diagonal = mesh.getNumTriangles() > 0 ? diagonalOf(mesh) : 1.0;
            double const tolerance = part * diagonal;
            Reduced const reduced = withTolerance(mesh, tolerance);
            double const rounding = 1e-12 * diagonal;
            CHECK(reduction::farthestVertex(mesh, reduced.mesh) <= tolerance + rounding);
            CHECK(reduced.maxDeviation <= tolerance + rounding);
        };
        for (auto const& source : support::zoo()) {
            for (double const part : {0.001, 0.01, 0.05, 0.3})
                check(source, part);
        }
        for (auto const& source : reduction::largerMeshes())
            check(source, 0.01);
    }

    TEST_CASE("everyVertexOfTheCorpusStaysWithinTheTolerance") {
        for (std::string const& path : support::corpus()) {
            CompactMesh const source = corpusMesh(path);
            if (source.getNumTriangles() == 0)
                continue;
            CAPTURE(path);
            double const tolerance = 0.002 * diagonalOf(source);
            Reduced const reduced = withTolerance(source, tolerance);
            checkSoundness(source, reduced);
            CHECK(farthestVertexByTree(source, reduced.mesh) <= tolerance * (1.0 + 1e-9));
            if (double(source.getNumVertices()) * reduced.mesh.getNumTriangles() <
                pairsByBruteForce)
                CHECK(reduction::farthestVertex(source, reduced.mesh) <= tolerance * (1.0 + 1e-9));
            if (reduction::isOrientedManifold(source)) {
                CHECK(reduction::isOrientedManifold(reduced.mesh));
                CHECK(support::eulerNumber(reduced.mesh) == support::eulerNumber(source));
                CHECK(reduction::bordersOf(reduced.mesh) == reduction::bordersOf(source));
            }
        }
    }

    TEST_CASE("resultsDoNotDependOnTheNumberOfThreads") {
        for (auto const& named : reduction::largerMeshes()) {
            CompactMesh const& source = named.mesh;
            for (Reduction const& reduce : reductions(0.1, 0.01)) {
                CAPTURE(named.name);
                Reduced const expected = reduce(source);
                support::withPools([&](int numThreads) {
                    CAPTURE(numThreads);
                    Reduced const reduced = reduce(source);
                    CHECK(support::trianglesOf(reduced.mesh) ==
                          support::trianglesOf(expected.mesh));
                    CHECK(support::coordinatesOf(reduced.mesh) ==
                          support::coordinatesOf(expected.mesh));
                    CHECK(reduced.removedPoints == expected.removedPoints);
                    CHECK(reduced.maxDeviation == expected.maxDeviation);
                    CHECK(reduced.report.passes == expected.report.passes);
                });
            }
        }
    }

    TEST_CASE("cancelLeavesAValidMeshThatHoldsWhatWasMerged") {
        for (auto const& named : reduction::largerMeshes()) {
            CompactMesh const& source = named.mesh;
            for (bool const byFraction : {true, false}) {
                CAPTURE(named.name);
                CAPTURE(byFraction);
                // Cancelled at the first, second, ... report, until one run comes to its end.
                bool wasCancelled = true;
                for (int stopAt = 0; wasCancelled; stopAt += 1 + stopAt / 3) {
                    REQUIRE(stopAt < 2000);
                    Reduced reduced{source, {}, {}, 0.0};
                    support::ModificationCounter counter(reduced.mesh);
                    koUtil::Progress progress;
                    int numReports = 0;
                    progress.setListener([&](double, char const*) {
                        if (++numReports == stopAt)
                            progress.cancel();
                    });
                    if (stopAt == 0)
                        progress.cancel();
                    if (byFraction)
                        meshReduceToFraction(reduced.mesh, 0.1, progress, reduced.removedPoints,
                                             reduced.report);
                    else
                        meshReduceWithTolerance(reduced.mesh, 0.01, progress, reduced.removedPoints,
                                                reduced.report);
                    wasCancelled = progress.cancelled();
                    CHECK((reduced.report.reason == MeshReduceReport::Cancelled) == wasCancelled);
                    checkSoundness(source, reduced);
                    CHECK(support::eulerNumber(reduced.mesh) == support::eulerNumber(source));
                    CHECK(counter.total() == reduced.report.passes);
                    if (byFraction && stopAt == 0)
                        CHECK(reduced.removedPoints.size() == 100);
                }
            }
        }
    }
}
