#include "holeFillMeshes.h"
#include "holeFillOracle.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/detail/FairingSystem.h"
#include "trimora/repair/meshHoleFill.h"
#include "trimora/repair/meshManifold.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <numbers>
#include <numeric>

using namespace koGeom;
using namespace holes;
using koGeom::detail::FairingSolver;
using koGeom::detail::FairingSystem;
using support::meshOf;
using support::Random;
using support::trianglesOf;

namespace {

/// Waves on a closed surface.
CompactMesh wavyTorus() {
    CompactMesh mesh = support::torus(48, 24);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Point const p = mesh.getVertices()[v].asPoint();
        double const raise = 1.0 + 0.04 * std::sin(5.0 * p.x) * std::cos(4.0 * p.y + p.z);
        double const xyz[] = {p.x * raise, p.y * raise, p.z * raise};
        mesh.getVertices()[v].set(xyz);
    }
    return mesh;
}

/// Whether each edge has two triangles that run against each other, and each vertex one fan.
bool isClosedSurface(CompactMesh const& mesh) {
    if (support::numBorderEdges(mesh) != 0)
        return false;
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshManifoldResult result;
    meshManifold(mesh, adjTris, result);
    return result.badEdgeAdj.empty() && result.count == 0 && meshOriented(mesh, adjTris);
}

int numUnusedVertices(CompactMesh const& mesh) {
    std::vector<int> const used = trianglesOf(mesh);
    int count = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        count += std::find(used.begin(), used.end(), v) == used.end();
    return count;
}

/// A square grid with the square in the middle taken out; its four corners get neighbours all around.
CompactMesh gridWithSquareHole() {
    return without(support::grid(5, 5), [](Point const& p) {
        return std::abs(p.x - 2.5) < 0.5 && std::abs(p.y - 2.5) < 0.5;
    });
}

}  // namespace

TEST_CASE("closesATriangularHoleWithOneTriangle") {
    CompactMesh const tetrahedron = support::tetrahedron();
    for (int face = 0; face < 4; ++face) {
        std::vector<int> triangles = trianglesOf(tetrahedron);
        triangles.erase(triangles.begin() + 3 * face, triangles.begin() + 3 * face + 3);
        for (HoleQuality const quality : qualities) {
            CompactMesh mesh = meshOf(support::coordinatesOf(tetrahedron), triangles);
            CHECK(fillAll(mesh, quality) == 1);
            CHECK(support::positionTriples(mesh) == support::positionTriples(tetrahedron));
            CHECK(mesh.getNumVertices() == 4);
        }
    }
}

TEST_CASE("appendsPatchesInTheOrderOfTheList") {
    // Two triangles are missing, far apart.
    CompactMesh mesh = without(support::grid(12, 3), [](Point const& p) {
        return distance(p, Point(1.0 + 2.0 / 3, 1.0 + 1.0 / 3, 0.0)) < 0.1 ||
               distance(p, Point(10.0 + 2.0 / 3, 1.0 + 1.0 / 3, 0.0)) < 0.1;
    });
    int const left = holeAt(mesh, Point(1, 1, 0));
    int const right = holeAt(mesh, Point(10, 1, 0));
    int const numTriangles = mesh.getNumTriangles();
    CHECK(fill(mesh, {right, left}, HoleQualityFlat) == 2);
    REQUIRE(mesh.getNumTriangles() == numTriangles + 2);
    auto const leastX = [&mesh](int triangle) {
        double least = 1e9;
        for (int const v : mesh.getTriangles()[triangle].vertices)
            least = std::min(least, mesh.getVertices()[v].asPoint().x);
        return least;
    };
    CHECK(leastX(numTriangles) == 10.0);
    CHECK(leastX(numTriangles + 1) == 1.0);
}

namespace {

struct EdgeLengths {
    double mean = 0.0;
    double longest = 0.0;
};

EdgeLengths lengthsOf(CompactMesh const& mesh, std::function<bool(int, int)> const& isMeant) {
    EdgeLengths lengths;
    int count = 0;
    for (auto const& [edge, triangles] : support::edgeTable(mesh)) {
        if (!isMeant(edge[0], edge[1]))
            continue;
        double const length =
            distance(mesh.getVertices()[edge[0]].asPoint(), mesh.getVertices()[edge[1]].asPoint());
        lengths.mean += length;
        lengths.longest = std::max(lengths.longest, length);
        ++count;
    }
    lengths.mean /= std::max(count, 1);
    return lengths;
}

/// Numbers of the vertices of a filled mesh that lie where the holed one has none.
std::vector<char> newVerticesOf(CompactMesh const& filled, CompactMesh const& holed) {
    std::set<std::array<float, 3>> old;
    for (int v = 0; v < holed.getNumVertices(); ++v) {
        MeshVertex const& p = holed.getVertices()[v];
        old.insert({p.x, p.y, p.z});
    }
    std::vector<char> isNew;
    for (int v = 0; v < filled.getNumVertices(); ++v) {
        MeshVertex const& p = filled.getVertices()[v];
        isNew.push_back(old.count({p.x, p.y, p.z}) == 0);
    }
    return isNew;
}

}  // namespace

TEST_CASE("patchesAreSoundAndAsDenseAsWhatIsAroundThem") {
    struct Sample {
        char const* name;
        CompactMesh whole;
        Predicate isMarked;
        int numHoles;
    };
    Sample const samples[] = {
        {"sphere, one cap", support::sphere(4), [](Point const& p) { return p.z > 0.75; }, 1},
        {"sphere, three caps", support::sphere(4),
         [](Point const& p) { return p.z > 0.85 || p.z < -0.8 || p.x > 0.9; }, 3},
        {"wavy torus", wavyTorus(), [](Point const& p) { return p.x > 2.0; }, 1},
        {"wavy torus, two holes", wavyTorus(), [](Point const& p) { return std::abs(p.x) > 2.2; },
         2},
        {"torus cut through", support::torus(60, 20), [](Point const& p) { return p.x > 1.2; }, 2},
    };
    for (Sample const& sample : samples) {
        CAPTURE(sample.name);
        CompactMesh const holed = without(sample.whole, sample.isMarked);
        Tables const tables(holed);
        REQUIRE(tables.boundaries.size() == sample.numHoles);
        std::vector<char> isRim(static_cast<std::size_t>(holed.getNumVertices()));
        for (int const hole : tables.all())
            for (int const* v = tables.boundaries.getStart(hole);
                 v != tables.boundaries.getEnd(hole); ++v)
                isRim[static_cast<std::size_t>(*v)] = 1;
        EdgeLengths const atRim = lengthsOf(holed, [&](int a, int b) {
            return isRim[static_cast<std::size_t>(a)] || isRim[static_cast<std::size_t>(b)];
        });

        for (HoleQuality const quality : qualities) {
            CAPTURE(quality);
            CompactMesh mesh = holed;
            support::ModificationCounter counter(mesh);
            CHECK(fillAll(mesh, quality) == sample.numHoles);
            CHECK(counter.total() == 1);
            CHECK(counter.type(0) == MeshModification::Topology);
            CHECK(support::faultOf(mesh).empty());
            CHECK(isClosedSurface(mesh));
            CHECK(numUnusedVertices(mesh) == 0);
            CHECK(support::eulerNumber(mesh) == support::eulerNumber(holed) + sample.numHoles);
            if (quality == HoleQualityFlat) {
                CHECK(mesh.getNumVertices() == holed.getNumVertices());
                continue;
            }
            std::vector<char> const isNew = newVerticesOf(mesh, holed);
            EdgeLengths const inside = lengthsOf(mesh, [&](int a, int b) {
                return isNew[static_cast<std::size_t>(a)] || isNew[static_cast<std::size_t>(b)];
            });
            CHECK(mesh.getNumVertices() > holed.getNumVertices());
            CHECK(inside.mean < 2.0 * atRim.mean);
            CHECK(inside.mean > 0.5 * atRim.mean);
            CHECK(inside.longest < 3.0 * atRim.longest);
        }
    }
}

TEST_CASE("aFairCapComesNearTheSphereThatWasCutAway") {
    for (double const cut : {0.6, 0.75, 0.9}) {
        CAPTURE(cut);
        CompactMesh const holed =
            without(support::sphere(5), [cut](Point const& p) { return p.z > cut; });
        auto const largestError = [&](HoleQuality quality) {
            CompactMesh mesh = holed;
            REQUIRE(fillAll(mesh, quality) == 1);
            double largest = 0.0;
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                largest = std::max(
                    largest,
                    std::abs(1.0 - distance(Point(0, 0, 0), mesh.getVertices()[v].asPoint())));
            return largest;
        };
        double const refined = largestError(HoleQualityRefined);
        double const faired = largestError(HoleQualityFair);
        CHECK(faired < 0.6 * refined);
        CHECK(faired < 0.5 * (1.0 - cut));
    }
}

TEST_CASE("aFairPatchInAPlaneStaysInThePlane") {
    CompactMesh mesh = without(support::grid(20, 20),
                               [](Point const& p) { return distance(p, Point(10, 10, 0)) < 5.0; });
    CHECK(fill(mesh, {holeAt(mesh, Point(10, 15, 0))}, HoleQualityFair) == 1);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        CHECK(mesh.getVertices()[v].z == 0.0f);
    CHECK(support::area(mesh) == doctest::Approx(400.0));
}

TEST_CASE("takesAwayFinsThatTouchAnotherPointOfTheRim") {
    // A fin on the lower side whose tip lies on the upper right corner.
    Frame frame;
    frame.addFin(lowerRight, lowerLeft, 3.0f, 3.0f);
    CompactMesh mesh = frame.mesh();
    int const numTriangles = mesh.getNumTriangles();
    CHECK(fill(mesh, {holeOfFrame(mesh)}, HoleQualityFlat) == 1);
    CHECK(mesh.getNumTriangles() == numTriangles - 1 + 2);
    CHECK(mesh.getNumVertices() == 16);
    CHECK(support::numBorderEdges(mesh) == 12);
    CHECK(support::area(mesh) == doctest::Approx(16.0));
}

TEST_CASE("takesAwayBothOfTwoFinsThatTouch") {
    // Tip to tip in the middle of the hole, twice: the pairs follow each other in the order of the points.
    Frame frame;
    frame.addFin(lowerRight, lowerLeft, 1.5f, 2.0f);
    frame.addFin(upperLeft, upperRight, 1.5f, 2.0f);
    frame.addFin(lowerLeft, upperLeft, 2.5f, 2.0f);
    frame.addFin(upperRight, lowerRight, 2.5f, 2.0f);
    CompactMesh mesh = frame.mesh();
    int const numTriangles = mesh.getNumTriangles();
    CHECK(fill(mesh, {holeOfFrame(mesh)}, HoleQualityFlat) == 1);
    CHECK(mesh.getNumTriangles() == numTriangles - 4 + 2);
    CHECK(mesh.getNumVertices() == 16);
    CHECK(support::area(mesh) == doctest::Approx(16.0));
}

TEST_CASE("keepsFinsThatTouchNothing") {
    Frame frame;
    frame.addFin(lowerRight, lowerLeft, 2.0f, 2.0f);
    CompactMesh mesh = frame.mesh();
    int const numTriangles = mesh.getNumTriangles();
    CHECK(fill(mesh, {holeOfFrame(mesh)}, HoleQualityFlat) == 1);
    CHECK(mesh.getNumTriangles() == numTriangles + 3);
    CHECK(mesh.getNumVertices() == 17);
    CHECK(support::area(mesh) == doctest::Approx(16.0));
}

TEST_CASE("refusesAFinWhoseNeighbourHasNoOtherTriangle") {
    // A lone triangle that touches itself: all its vertices are fins.
    CompactMesh lone = meshOf({0, 0, 0, 1, 0, 0, 1, 0, 0}, {0, 1, 2});
    support::ModificationCounter counter(lone);
    auto const before = bytesOf(lone);
    CHECK(fillAll(lone, HoleQualityFlat) == 0);
    CHECK(bytesOf(lone) == before);
    CHECK(counter.total() == 0);
}

TEST_CASE("takesTheOtherDiagonalWhereOneIsThere") {
    // A square of two triangles, closed round its border: the cover has its diagonal the other way.
    for (std::vector<int> const& square :
         {std::vector<int>{0, 1, 2, 0, 2, 3}, {0, 1, 3, 1, 2, 3}}) {
        CompactMesh mesh = meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, square);
        CHECK(fillAll(mesh, HoleQualityFlat) == 1);
        CHECK(mesh.getNumTriangles() == 4);
        CHECK(isClosedSurface(mesh));
        CHECK(support::edgeTable(mesh).size() == 6);
    }
}

TEST_CASE("whatARefusedHoleLostIsMergedOnlyWithAnother") {
    // Both diagonals are taken, so that the hole is given up; before that its fin was taken away.
    Frame frame;
    frame.addFin(lowerRight, lowerLeft, 3.0f, 3.0f);
    frame.addBridge(lowerLeft, upperRight);
    frame.addBridge(lowerRight, upperLeft);
    CompactMesh mesh = frame.mesh();
    int const hole = holeOfFrame(mesh);
    int const outside = holeAt(mesh, Point(0, 0, 0));
    int const numTriangles = mesh.getNumTriangles();
    auto const before = bytesOf(mesh);
    CHECK(fill(mesh, {hole}, HoleQualityFlat) == 0);
    CHECK(fill(mesh, {hole, hole}, HoleQualityFlat) == 0);
    CHECK(bytesOf(mesh) == before);
    CHECK(fill(mesh, {hole, outside, hole}, HoleQualityFlat) == 1);
    CHECK(mesh.getNumTriangles() == numTriangles - 1 + 10);
    CHECK(mesh.getNumVertices() == 20);
}

TEST_CASE("refusesNumbersThatAreNoHoleAndHolesThatAreFilled") {
    CompactMesh const holed = gridWithSquareHole();
    int const hole = holeAt(holed, Point(2, 2, 0));
    for (HoleQuality const quality : qualities) {
        CompactMesh once = holed;
        CHECK(fill(once, {hole}, quality) == 1);
        CompactMesh mesh = holed;
        CHECK(fill(mesh,
                   {-1, hole, 7, std::numeric_limits<int>::max(), hole,
                    std::numeric_limits<int>::min()},
                   quality) == 1);
        CHECK(bytesOf(mesh) == bytesOf(once));
    }
    for (std::vector<int> const& none : {std::vector<int>{}, std::vector<int>{-1, 2}}) {
        CompactMesh mesh = holed;
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedTriangles().setBit(3);
        auto const before = bytesOf(mesh);
        support::ModificationCounter counter(mesh);
        CHECK(fill(mesh, none, HoleQualityFair) == 0);
        CHECK(bytesOf(mesh) == before);
        CHECK(counter.total() == 0);
    }
    CompactMesh nothing;
    CHECK(fill(nothing, {0}, HoleQualityFair) == 0);
}

TEST_CASE("anyOtherQualityIsFair") {
    CompactMesh const holed = without(support::sphere(3), [](Point const& p) { return p.z > 0.7; });
    CompactMesh fair = holed;
    fillAll(fair, HoleQualityFair);
    CompactMesh other = holed;
    fillAll(other, static_cast<HoleQuality>(17));
    CHECK(bytesOf(other) == bytesOf(fair));
}

TEST_CASE("tellsWhichHoleItIsAt") {
    CompactMesh mesh =
        without(support::sphere(4), [](Point const& p) { return std::abs(p.z) > 0.8; });
    Tables const tables(mesh);
    koUtil::Progress progress;
    std::vector<std::string> captions;
    double last = 0.0;
    bool isRising = true;
    progress.setListener([&](double value, char const* caption) {
        isRising = isRising && value >= last;
        last = value;
        if (captions.empty() || captions.back() != caption)
            captions.emplace_back(caption);
    });
    CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries, {1, 0, 5},
                       HoleQualityFlat, progress) == 2);
    CHECK(captions == std::vector<std::string>{"Filling hole 1 of 3", "Filling hole 2 of 3",
                                               "Filling hole 3 of 3"});
    CHECK(isRising);
    // Each hole gets the same share, whatever its length.
    int const totalLength = tables.boundaries.getLength(0) + tables.boundaries.getLength(1);
    CHECK(last == doctest::Approx(2.0 / totalLength));
}

TEST_CASE("aCancelLeavesEveryByteAsItWas") {
    CompactMesh const holed =
        without(support::sphere(4), [](Point const& p) { return p.z > 0.6 || p.z < -0.9; });
    Tables const tables(holed);
    for (HoleQuality const quality : qualities) {
        CAPTURE(quality);
        bool wasCancelled = true;
        int numReports = 0;
        for (int when = 0; wasCancelled; ++when) {
            CompactMesh mesh = holed;
            mesh.getSelectedVertices().resize(mesh.getNumVertices());
            mesh.getSelectedVertices().setBit(5);
            auto const before = bytesOf(mesh);
            support::ModificationCounter counter(mesh);
            koUtil::Progress progress;
            numReports = 0;
            int numLateReports = 0;
            progress.setListener([&](double, char const*) {
                numLateReports += progress.cancelled();
                if (numReports++ == when)
                    progress.cancel();
            });
            int const numFilled = meshHoleFill(mesh, tables.adjTris, tables.adjVertices,
                                               tables.boundaries, {0, 1}, quality, progress);
            wasCancelled = progress.cancelled();
            CHECK(numFilled == (wasCancelled ? 0 : 2));
            CHECK((bytesOf(mesh) == before) == wasCancelled);
            CHECK(counter.total() == (wasCancelled ? 0 : 1));
            // The caption when it comes with a hole's first report, and of a solver that is done before it asks again.
            CHECK(numLateReports <= (quality != HoleQualityFlat));
        }
        CHECK(numReports >= 5);
    }
    CompactMesh mesh = holed;
    koUtil::Progress progress;
    progress.cancel();
    CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries, {0, 1},
                       HoleQualityFair, progress) == 0);
    CHECK(bytesOf(mesh) == bytesOf(holed));
}

namespace {

/// Open surfaces of all kinds, sound and unsound.
std::vector<support::NamedMesh> openMeshes() {
    std::vector<support::NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        double const keep = seed % 3 == 0 ? 0.6 : 0.85;
        meshes.push_back({"holed grid", support::holed(support::grid(14, 12), keep, seed)});
        meshes.push_back({"holed sphere", support::holed(support::sphere(3), keep, seed)});
        meshes.push_back({"holed torus", support::holed(support::torus(20, 12), keep, seed)});
        meshes.push_back(
            {"flipped",
             support::flipped(support::holed(support::sphere(3), keep, seed), 0.1, seed)});
        meshes.push_back(
            {"terrain",
             support::shuffled(support::holed(support::terrain(16, 16, seed), keep, seed), seed)});
    }
    for (std::uint64_t seed = 1; seed <= 60; ++seed)
        meshes.push_back(
            {"lattice soup", support::latticeSoup(30, 20 + static_cast<int>(seed), seed)});
    return meshes;
}

}  // namespace

TEST_CASE("doesToTheBitWhatThePlainWayDoes") {
    for (support::NamedMesh const& named : openMeshes()) {
        CAPTURE(named.name);
        std::vector<int> holes = Tables(named.mesh).all();
        std::reverse(holes.begin(), holes.end());
        for (HoleQuality const quality : qualities) {
            CAPTURE(quality);
            CompactMesh fast = named.mesh;
            CompactMesh slow = named.mesh;
            int const numFilled = fill(fast, holes, quality);
            CHECK(numFilled == support::fillHolesSlowly(slow, holes, quality));
            CHECK(bytesOf(fast) == bytesOf(slow));
            CHECK(support::faultOf(fast).empty());
            CHECK((numFilled > 0 || bytesOf(fast) == bytesOf(named.mesh)));
        }
    }
}

TEST_CASE("fillsNestedLoopsAndHolesAtTheBorder") {
    // The two borders of a ring-shaped strip, one within the other: closed to something like a cushion.
    CompactMesh ring = without(support::grid(8, 8), [](Point const& p) {
        return std::max(std::abs(p.x - 4.0), std::abs(p.y - 4.0)) < 2.0;
    });
    CHECK(Tables(ring).boundaries.size() == 2);
    for (HoleQuality const quality : {HoleQualityFlat, HoleQualityRefined}) {
        CompactMesh mesh = ring;
        CHECK(fillAll(mesh, quality) == 2);
        CHECK(isClosedSurface(mesh));
    }
    // A triangle is missing at the border of a strip, with an edge of it, and with a corner of it: then the loops share that corner,
    // and one of them ends there.
    for (Point const& missing :
         {Point(4.0 + 2.0 / 3, 1.0 / 3, 0.0), Point(4.0 + 1.0 / 3, 2.0 / 3, 0.0)}) {
        CompactMesh const strip = without(
            support::grid(9, 3), [&](Point const& p) { return distance(p, missing) < 0.1; });
        bool const sharesCorner = missing.y > 0.5;
        Tables const tables(strip);
        CHECK(tables.boundaries.size() == (sharesCorner ? 2 : 1));
        for (HoleQuality const quality : qualities) {
            CompactMesh mesh = strip;
            CHECK(fillAll(mesh, quality) >= 1);
            CHECK(support::faultOf(mesh).empty());
            for (auto const& [edge, triangles] : support::edgeTable(mesh))
                CHECK(triangles.size() <= 2);
            if (!sharesCorner)
                CHECK(isClosedSurface(mesh));
        }
    }
}

TEST_CASE("endsWhereEdgesHaveNoLengthOrNoEnd") {
    float const infinity = std::numeric_limits<float>::infinity();
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh const holed = without(support::sphere(3), [](Point const& p) { return p.z > 0.7; });
    Tables const tables(holed);
    int const onRim = tables.boundaries.getStart(0)[0];
    auto const check = [&](std::function<void(CompactMesh&)> const& spoil) {
        for (HoleQuality const quality : qualities) {
            CompactMesh mesh = holed;
            spoil(mesh);
            fillAll(mesh, quality);
            CHECK(support::faultOf(mesh).empty());
            CHECK(mesh.getNumTriangles() < 100000);
        }
    };
    // One point that is none, all in one place, a whole neighbourhood in one place, there and in the origin.
    for (float const value : {nan, infinity, 1e30f, -3e38f})
        check([&](CompactMesh& mesh) { mesh.getVertices()[onRim].z = value; });
    check([](CompactMesh& mesh) {
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            mesh.getVertices()[v] = mesh.getVertices()[0];
    });
    for (bool const isAtOrigin : {false, true})
        check([&](CompactMesh& mesh) {
            MeshVertex place = mesh.getVertices()[onRim];
            if (isAtOrigin)
                place.x = place.y = place.z = 0.0f;
            for (int i = 0; i < tables.adjVertices.numNeighbours(onRim); ++i)
                mesh.getVertices()[tables.adjVertices.neighbours(onRim)[i]] = place;
            mesh.getVertices()[onRim] = place;
        });
}

namespace {

/// A wavy band of two rings of vertices; the inner one, which comes first, is the rim of a hole.
CompactMesh band(int numEdges) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int ring = 0; ring < 2; ++ring)
        for (int i = 0; i < numEdges; ++i) {
            double const angle = 2.0 * std::numbers::pi * i / numEdges;
            double const radius = 1.0 + 0.02 * ring;
            for (double const coordinate :
                 {radius * std::cos(angle), radius * std::sin(angle), 0.1 * std::sin(3.0 * angle)})
                coordinates.push_back(static_cast<float>(coordinate));
        }
    for (int i = 0; i < numEdges; ++i) {
        int const next = (i + 1) % numEdges;
        triangles.insert(triangles.end(),
                         {i, i + numEdges, next, next, i + numEdges, next + numEdges});
    }
    return meshOf(coordinates, triangles);
}

}  // namespace

TEST_CASE("longRimsDoNotDependOnThreads") {
    // Long enough for its points to be sorted on the pool.
    constexpr int numEdges = 600;
    CompactMesh const holed = band(numEdges);
    std::vector<std::uint32_t> first;
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        CompactMesh mesh = holed;
        CHECK(fill(mesh, {0}, HoleQualityFlat) == 1);
        CHECK(support::numBorderEdges(mesh) == numEdges);
        if (first.empty())
            first = bytesOf(mesh);
        CHECK(bytesOf(mesh) == first);
    });
}

TEST_CASE("fillsAHoleOfTwoThousandEdges") {
    CompactMesh mesh = band(2000);
    CHECK(fill(mesh, {0}, HoleQualityFlat) == 1);
    CHECK(mesh.getNumTriangles() == 4000 + 1998);
    CHECK(support::numBorderEdges(mesh) == 2000);
    CHECK(support::eulerNumber(mesh) == 1);
}

TEST_CASE("theFairingSolverIsTheGeneralOneToTheBit") {
    Random random(7);
    for (int round = 0; round < 60; ++round) {
        int const n = random.index(40);
        bool const isDefinite = round % 4 != 0;
        FairingSystem system;
        ConjugateGradient general(3 * n);
        NVector b(3 * n);
        NVector start(3 * n);
        auto const add = [&](int row, int column, double value) {
            system.add(column, value);
            for (int c = 0; c < 3; ++c)
                general.A().addToElement(3 * row + c, 3 * column + c, value);
        };
        for (int i = 0; i < n; ++i) {
            double const x[] = {random.real(-2, 2), random.real(-2, 2), random.real(-2, 2)};
            double const right[] = {random.real(-9, 9), random.real(-9, 9), 0.0};
            system.beginRow(Point(x[0], x[1], x[2]));
            if (round % 5 != 0)
                system.rightSide() = Vector(right[0], right[1], right[2]);
            for (int c = 0; c < 3; ++c) {
                start[3 * i + c] = x[c];
                if (round % 5 != 0)
                    b[3 * i + c] = right[c];
            }
            // A chain with ties to the next but one, symmetric; terms come in pieces and out of order.
            for (int const step : {2, -1, 0, 1, -2, 0})
                if (i + step >= 0 && i + step < n)
                    add(i, i + step,
                        step == 0 ? (isDefinite ? 1.7 : 0.4) : 1.0 / (1 + step * step));
        }
        general.initDiagonalPreconditioner();
        general.initialize(b, start);
        FairingSolver solver(system);
        bool isDone = false;
        for (int iteration = 0; !isDone; ++iteration) {
            REQUIRE(iteration <= 3 * n + 1);
            isDone = solver.iterate(1e-12, 1e-12);
            CHECK(isDone == general.iterate(1e-12, 1e-12).isDone());
            bool isEqual = true;
            for (int i = 0; i < n; ++i) {
                double const x[] = {solver.position(i).x, solver.position(i).y,
                                    solver.position(i).z};
                for (int c = 0; c < 3; ++c)
                    isEqual = isEqual && std::bit_cast<std::uint64_t>(x[c]) ==
                                             std::bit_cast<std::uint64_t>(general.x()[3 * i + c]);
            }
            CHECK(isEqual);
        }
    }
}

TEST_CASE("closesRealMeshes") {
    for (char const* const name :
         {"stanford_bunny.obj", "cube_no_bottom.obj", "plane_holes.obj", "beetle.obj"}) {
        std::string const path = support::corpusFile(name);
        if (path.empty())
            continue;
        CAPTURE(path);
        CompactMesh source;
        REQUIRE(meshReadObj(
            source, koOS::Filename(koString::IString(path.c_str(), koString::Encoding::Native))));
        int const numHoles = Tables(source).boundaries.size();
        for (HoleQuality const quality : qualities) {
            CAPTURE(quality);
            CompactMesh mesh = source;
            CHECK(fillAll(mesh, quality) == numHoles);
            CHECK(support::numBorderEdges(mesh) == 0);
            CHECK(support::faultOf(mesh).empty());
        }
    }
}
