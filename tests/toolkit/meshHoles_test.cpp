// Holes: how they are listed and chosen, what is foretold of their patches, and what filling them really does.

#include "support/builders.h"
#include "support/checks.h"
#include "support/slitGrid.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshHoles.h"
#include "toolkit/sampleMeshes.h"
#include "unwatched.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"

#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <numeric>

using koGeom::CompactMesh;
using support::meshOf;
using trimora::FilledHole;
using trimora::FillOptions;
using trimora::FillOutcome;
using trimora::HoleChoice;
using trimora::HoleFate;
using trimora::MeshHole;

namespace {

/// The mesh without the triangles that the test takes out, by their corners.
CompactMesh without(CompactMesh const& mesh,
                    std::function<bool(int, koLinear::Point)> const& goes) {
    std::vector<int> left;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        koLinear::Vector sum;
        for (int const v : corners.vertices)
            sum += mesh.getVertices()[v].asPoint().asVector();
        if (!goes(t, (sum / 3.0).asPoint()))
            left.insert(left.end(), corners.vertices, corners.vertices + 3);
    }
    return meshOf(support::coordinatesOf(mesh), left);
}

/// Squares of a grid of the given width taken out: triangles 2 s and 2 s + 1.
CompactMesh gridWithout(int width, std::vector<int> const& squares) {
    return without(support::grid(width, width), [&](int t, koLinear::Point const&) {
        return std::count(squares.begin(), squares.end(), t / 2) > 0;
    });
}

/// A sphere whose triangles above the height are gone.
CompactMesh sphereBelow(int levels, double height) {
    return without(support::sphere(levels),
                   [=](int, koLinear::Point const& p) { return p.z > height; });
}

std::vector<int> allOf(std::vector<MeshHole> const& holes) {
    return trimora::chooseHoles(holes, {HoleChoice::Kind::All, {}, 0.0});
}

FillOutcome fillAll(CompactMesh& mesh, koGeom::HoleQuality quality = koGeom::HoleQualityFair) {
    koUtil::Progress progress;
    auto const holes = unwatched::findHoles(mesh);
    FillOptions options;
    options.quality = quality;
    return trimora::fillHoles(mesh, holes, allOf(holes), options, progress);
}

/// What was told of each hole adds up to what the mesh gained.
void checkSums(FillOutcome const& outcome, CompactMesh const& before, CompactMesh const& after) {
    int triangles = 0;
    int vertices = 0;
    for (FilledHole const& hole : outcome.holes) {
        triangles += hole.trianglesAdded;
        vertices += hole.verticesAdded;
        bool const isFine = hole.fate == HoleFate::Filled || hole.fate == HoleFate::NotChosen;
        CHECK(hole.words.empty() == isFine);
    }
    CHECK(before.getNumTriangles() + triangles == after.getNumTriangles());
    CHECK(before.getNumVertices() + vertices == after.getNumVertices());
    CHECK(support::faultOf(after).empty());
}

/// Three pairs of triangles round a triangle that is missing, which hang together by its corners alone: these lie on the
/// outer border too.
CompactMesh looseRing() {
    //      0, 1, 2: the hole; 3 to 5 and 6 to 8: the corners beyond
    return meshOf(
        {0, 0, 0, 4, 0, 0, 2, 4, 0, 2, -2, 0, 5, 3, 0, -1, 3, 0, -1, -2, 0, 6, -1, 0, 2, 6, 0},
        {1, 0, 3, 2, 1, 4, 0, 2, 5, 3, 0, 6, 4, 1, 7, 5, 2, 8});
}

/// The torus on which each two of 7 vertices share an edge, without the triangles at one of them: whatever would close the
/// hexagon uses an edge that is there.
CompactMesh completeTorusOpened() {
    std::vector<float> coordinates;
    for (int i = 0; i < 7; ++i) {
        double const angle = 2.0 * 3.14159265358979 * i / 7;
        coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(angle)),
                                               static_cast<float>(std::sin(angle)),
                                               static_cast<float>(0.3 * (i % 3))});
    }
    std::vector<int> corners;
    for (int i = 0; i < 7; ++i) {
        for (auto const& triangle :
             {std::array{i, (i + 1) % 7, (i + 3) % 7}, std::array{i, (i + 3) % 7, (i + 2) % 7}}) {
            if (std::count(triangle.begin(), triangle.end(), 6) == 0)
                corners.insert(corners.end(), triangle.begin(), triangle.end());
        }
    }
    return meshOf(coordinates, corners);
}

}  // namespace

// A grid of 10 x 10 squares with two of them missing:  the square at (2, 3), and those at (6, 6) and (7, 6).
TEST_CASE("holesAreMeasuredAndForetold") {
    auto const holes = unwatched::findHoles(gridWithout(10, {32, 66, 67}));
    REQUIRE(holes.size() == 3);
    CHECK(holes[0].numEdges() == 40);
    CHECK(holes[0].looksOuter);
    CHECK(holes[0].patchArea == doctest::Approx(100.0));

    CHECK(holes[1].numEdges() == 4);
    CHECK(holes[1].perimeter == 4.0);
    CHECK(holes[1].low == std::array{2.0, 3.0, 0.0});
    CHECK(holes[1].high == std::array{3.0, 4.0, 0.0});
    CHECK(holes[1].patchArea == 1.0);
    CHECK(holes[1].newTriangles[koGeom::HoleQualityFlat] == 2);
    CHECK_FALSE(holes[1].looksOuter);

    CHECK(holes[2].perimeter == 6.0);
    CHECK(holes[2].patchArea == 2.0);
    CHECK(holes[2].newTriangles[koGeom::HoleQualityFlat] == 4);
    for (MeshHole const& hole : holes)
        CHECK(hole.fault.empty());
}

TEST_CASE("anOuterBorderIsOneOverWhichAPatchIsLarge") {
    auto const looksOuter = [](double height) {
        auto const holes = unwatched::findHoles(sphereBelow(4, height));
        REQUIRE(holes.size() == 1);
        return holes[0].looksOuter;
    };
    // A disk of radius r over what is left of a unit sphere: pi r^2 against 2 pi (1 + h), a quarter at h = 1/2.
    CHECK(looksOuter(0.0));
    CHECK(looksOuter(0.4));
    CHECK_FALSE(looksOuter(0.6));
    CHECK_FALSE(looksOuter(0.9));
    CHECK(unwatched::findHoles(support::sphere(3)).empty());
    CHECK(unwatched::findHoles(CompactMesh()).empty());

    // By component: the small one does not make the border of the large one small.
    auto const two =
        unwatched::findHoles(support::joined(support::grid(9, 9), support::grid(1, 1), 20.0f));
    REQUIRE(two.size() == 2);
    CHECK(two[0].looksOuter);
    CHECK(two[1].looksOuter);
}

TEST_CASE("holesAreChosenByKindNumberAndSize") {
    auto const holes = unwatched::findHoles(gridWithout(10, {32, 66, 67}));
    auto const choose = [&](HoleChoice const& choice) {
        return trimora::chooseHoles(holes, choice);
    };
    using Kind = HoleChoice::Kind;
    CHECK(choose({}) == std::vector{1, 2});
    CHECK(choose({Kind::All, {}, 0.0}) == std::vector{0, 1, 2});
    CHECK(choose({Kind::Numbers, {{3, 3}, {1, 1}, {3, 3}}, 0.0}) == std::vector{0, 2});
    CHECK(choose({Kind::Numbers, {{2, 1000000000000}, {-5, 0}}, 0.0}) == std::vector{1, 2});
    CHECK(choose({Kind::MaxEdges, {}, 4.0}) == std::vector{1});
    CHECK(choose({Kind::MaxEdges, {}, 40.0}) == std::vector{0, 1, 2});
    CHECK(choose({Kind::MaxPerimeter, {}, 5.9}) == std::vector{1});
}

TEST_CASE("predictionsComeCloseToWhatIsMade") {
    auto const compare = [](CompactMesh mesh) {
        auto const holes = unwatched::findHoles(mesh);
        CompactMesh flat = mesh;
        FillOutcome const flatOutcome = fillAll(flat, koGeom::HoleQualityFlat);
        FillOutcome const fineOutcome = fillAll(mesh, koGeom::HoleQualityRefined);
        for (std::size_t i = 0; i < holes.size(); ++i) {
            CAPTURE(holes[i].numEdges());
            CHECK(flatOutcome.holes[i].trianglesAdded ==
                  holes[i].newTriangles[koGeom::HoleQualityFlat]);
            double const made = fineOutcome.holes[i].trianglesAdded;
            auto const predicted =
                static_cast<double>(holes[i].newTriangles[koGeom::HoleQualityRefined]);
            CHECK(predicted <= 2.0 * made);
            CHECK(predicted >= 0.5 * made);
        }
    };
    for (double const height : {0.95, 0.8, 0.5, 0.0, -0.5})
        compare(sphereBelow(5, height));
    compare(gridWithout(30, {34, 311, 312, 341, 342, 500, 501, 502, 503, 504, 505, 506}));
    // A slot that is bent round: a patch over its convex hull would be many times as large.
    compare(without(support::grid(60, 60), [](int, koLinear::Point const& p) {
        double const radius = std::hypot(p.x - 30.0, p.y - 30.0);
        return radius > 18.0 && radius < 22.0 && p.x < 40.0;
    }));
}

TEST_CASE("everyQualityClosesAScan") {
    CompactMesh const scan = without(trimora::makeScan(5, 4), [](int t, koLinear::Point const& p) {
        return p.z > 0.8 || p.x < -0.85 || t % 500 == 7;
    });
    for (auto const quality :
         {koGeom::HoleQualityFlat, koGeom::HoleQualityRefined, koGeom::HoleQualityFair}) {
        CAPTURE(quality);
        CompactMesh mesh = scan;
        support::ModificationCounter const counter(mesh);
        FillOutcome const outcome = fillAll(mesh, quality);
        CHECK(outcome.count(HoleFate::Filled) == static_cast<int>(outcome.holes.size()));
        CHECK(outcome.holes.size() > 10);
        checkSums(outcome, scan, mesh);
        CHECK(trimora::countMesh(mesh).boundaries == 0);
        CHECK(counter.total() == 1);
        if (quality == koGeom::HoleQualityFlat)
            CHECK(mesh.getNumVertices() == scan.getNumVertices());
    }
}

// Scaled by a power of two, so that nothing but the tolerances could make a difference.
TEST_CASE("theUnitOfLengthDoesNotMatter") {
    CompactMesh const cap = sphereBelow(4, 0.5);
    CompactMesh filled = cap;
    fillAll(filled);
    for (int const exponent : {-30, 20}) {
        CAPTURE(exponent);
        auto coordinates = support::coordinatesOf(cap);
        for (float& value : coordinates)
            value = std::ldexp(value, exponent);
        CompactMesh scaled = meshOf(coordinates, support::trianglesOf(cap));
        fillAll(scaled);
        auto result = support::coordinatesOf(scaled);
        for (float& value : result)
            value = std::ldexp(value, -exponent);
        CHECK(result == support::coordinatesOf(filled));
        CHECK(support::trianglesOf(scaled) == support::trianglesOf(filled));
    }
}

TEST_CASE("aLargeHoleIsFilledByItselfAndTheSmallOnesTogether") {
    // 4 x 120 edges round the large one, which comes before one of the small ones.
    CompactMesh const grid = without(support::grid(130, 130), [](int t, koLinear::Point const& p) {
        bool const isInMiddle = std::max(std::abs(p.x - 65.0), std::abs(p.y - 65.0)) < 60.0;
        return isInMiddle || t / 2 == 131 || t / 2 == 130 * 128 + 3;
    });
    CompactMesh mesh = grid;
    auto const holes = unwatched::findHoles(mesh);
    REQUIRE(holes.size() == 4);
    koUtil::Progress progress;
    std::vector<double> values;
    progress.setListener([&](double value, char const*) { values.push_back(value); });
    auto const outcome = trimora::fillHoles(mesh, holes, trimora::chooseHoles(holes, {}),
                                            {koGeom::HoleQualityFlat, 1000000}, progress);
    CHECK(outcome.count(HoleFate::NotChosen) == 2);  // the middle one is most of the mesh
    CHECK(outcome.count(HoleFate::Filled) == 2);

    mesh = grid;
    auto const all =
        trimora::fillHoles(mesh, holes, {1, 2, 3}, {koGeom::HoleQualityFlat, 1000000}, progress);
    CHECK(all.count(HoleFate::Filled) == 3);
    CHECK(std::is_sorted(values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                         values.end()));
    CHECK(values.back() == 1.0);
    for (int const i : {1, 2, 3})
        CHECK(all.holes[static_cast<std::size_t>(i)].trianglesAdded ==
              holes[static_cast<std::size_t>(i)].numEdges() - 2);
    CHECK(trimora::countMesh(mesh).boundaries == 1);
}

TEST_CASE("edgesInTheWayAreTold") {
    CompactMesh mesh = completeTorusOpened();
    CompactMesh const before = mesh;
    support::ModificationCounter const counter(mesh);
    FillOutcome const outcome = fillAll(mesh, koGeom::HoleQualityFlat);
    REQUIRE(outcome.holes.size() == 1);
    CHECK(outcome.holes[0].fate == HoleFate::EdgesInTheWay);
    CHECK(outcome.holes[0].words.find("double edges") != std::string::npos);
    CHECK(counter.total() == 0);
    CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(before));

    // Beside one that can be filled.
    CompactMesh two = support::joined(completeTorusOpened(), sphereBelow(2, 0.7), 4.0f);
    CompactMesh const twoBefore = two;
    FillOutcome const mixed = fillAll(two);
    REQUIRE(mixed.holes.size() == 2);
    CHECK(mixed.holes[0].fate == HoleFate::EdgesInTheWay);
    CHECK(mixed.holes[1].fate == HoleFate::Filled);
    checkSums(mixed, twoBefore, two);
}

// A tip that hangs into the hole of a grid and touches its rim: the library takes it away and fills what is left. Two that
// are all there is: refused.
TEST_CASE("finsAreTakenAwayOrRefused") {
    auto const withFins = [](std::vector<float> const& points, std::vector<int> const& triangles) {
        CompactMesh const grid = gridWithout(6, {14, 15, 20, 21});
        auto coordinates = support::coordinatesOf(grid);
        auto corners = support::trianglesOf(grid);
        coordinates.insert(coordinates.end(), points.begin(), points.end());
        corners.insert(corners.end(), triangles.begin(), triangles.end());
        return meshOf(coordinates, corners);
    };
    // Vertices 16 and 17 are the lower side of the hole from (2, 2) to (4, 4); 30 lies at (2, 4).
    CompactMesh one = withFins({2, 4, 0}, {16, 17, 49});
    CompactMesh const before = one;
    auto const outcome = fillAll(one, koGeom::HoleQualityFlat);
    REQUIRE(outcome.holes.size() == 2);
    CHECK(outcome.holes[1].fate == HoleFate::Filled);
    CHECK(outcome.holes[1].verticesAdded == -1);
    CHECK(outcome.holes[1].finsRemoved == 1);
    checkSums(outcome, before, one);
    CHECK(trimora::countMesh(one).boundaries == 0);

    // Two triangles back to back: without them nothing is left.
    CompactMesh folded = meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0}, {0, 1, 2, 1, 0, 3});
    auto const refused = fillAll(folded);
    REQUIRE(refused.holes.size() == 1);
    CHECK(refused.holes[0].fate == HoleFate::Fin);
    CHECK(refused.holes[0].finsRemoved == 0);
    CHECK(folded.getNumTriangles() == 2);
}

// What two parts of a surface leave open between them that were never welded: no quality can refine a patch there.
TEST_CASE("slitsGetFlatPatches") {
    struct Sample {
        float gap;
        bool hasArea;
        bool isSeam;
    };
    for (Sample const& sample :
         {Sample{0.0f, false, true}, {2.4e-7f, false, false}, {0.1f, true, false}}) {
        CAPTURE(sample.gap);
        CompactMesh mesh = support::slitGrid(sample.gap);
        CompactMesh const before = mesh;
        auto const holes = unwatched::findHoles(mesh);
        REQUIRE(holes.size() == 2);
        CHECK(holes[0].hasArea);
        CHECK(holes[1].numEdges() == 6);
        CHECK(holes[1].hasArea == sample.hasArea);
        CHECK(holes[1].isSeam == sample.isSeam);
        CHECK(holes[1].newTriangles[koGeom::HoleQualityFlat] == 4);
        koUtil::Progress progress;
        FillOutcome const outcome =
            trimora::fillHoles(mesh, holes, {1}, {koGeom::HoleQualityFair, 1000000}, progress);
        CHECK(outcome.holes[1].fate == HoleFate::Filled);
        checkSums(outcome, before, mesh);
        if (!sample.hasArea)
            CHECK(outcome.holes[1].trianglesAdded == 4);
        CHECK(trimora::countMesh(mesh).boundaries == 1);
    }
}

TEST_CASE("aLoneTriangleGetsNoBackSide") {
    CompactMesh mesh = support::joined(sphereBelow(3, 0.7), support::triangle(), 5.0f);
    FillOutcome const outcome = fillAll(mesh);
    REQUIRE(outcome.holes.size() == 2);
    CHECK(outcome.holes[0].fate == HoleFate::Filled);
    CHECK(outcome.holes[1].fate == HoleFate::LoneTriangle);
    CHECK(outcome.holes[1].words.find("back side") != std::string::npos);
    CHECK(trimora::countMesh(mesh).boundaries == 1);
    // Of a tetrahedron without a side the rim has three edges too.
    std::vector<int> corners = support::trianglesOf(support::tetrahedron());
    corners.resize(9);
    CompactMesh open = meshOf(support::coordinatesOf(support::tetrahedron()), corners);
    CHECK(fillAll(open, koGeom::HoleQualityFlat).count(HoleFate::Filled) == 1);
    CHECK(trimora::countMesh(open).boundaries == 0);
}

TEST_CASE("holesThatCannotBeFilledAreKnownBeforehand") {
    auto const plan = [](CompactMesh const& mesh, FillOptions const& options = {}) {
        auto const holes = unwatched::findHoles(mesh);
        return trimora::planFilling(mesh, holes, allOf(holes), options);
    };
    auto const fateOf = [&](CompactMesh const& mesh, std::string const& words) {
        auto const plans = plan(mesh);
        REQUIRE(!plans.empty());
        CAPTURE(plans[0].words);
        CHECK(plans[0].words.find(words) != std::string::npos);
        return plans[0].fate;
    };
    CHECK(fateOf(support::threeOnAnEdge(), "more than two triangles") == HoleFate::BadSurface);
    CHECK(fateOf(support::moebius(9), "wound against one another") == HoleFate::BadSurface);
    CHECK(fateOf(meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, NAN}, {0, 1, 2, 1, 0, 3}), "NaN") ==
          HoleFate::BadSurface);
    CHECK(fateOf(meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 1, 1}), "twice") ==
          HoleFate::BadSurface);

    CompactMesh const ring = looseRing();
    auto const holes = unwatched::findHoles(ring);
    CHECK(holes[0].vertices == std::vector{0, 2, 1});
    CHECK(fateOf(ring, "nothing holds") == HoleFate::NoFixedNeighbour);
    CHECK(plan(ring, {koGeom::HoleQualityRefined, 1000000})[0].fate == HoleFate::Filled);

    CompactMesh const cap = sphereBelow(4, 0.8);
    CHECK(plan(cap, {koGeom::HoleQualityFlat, 1})[0].fate == HoleFate::TooLarge);
    CHECK(plan(cap, {koGeom::HoleQualityFlat, 1000})[0].fate == HoleFate::Filled);
    CHECK(fateOf(support::grid(trimora::maxPolygonCorners, 1), "5000 at most") ==
          HoleFate::TooLarge);
}

// Squares that touch in vertices, and so do their borders: each is a hole by itself.
//
//      . . . x . .          x: missing
//      . . x . x .
//      . x . . . .
//      x . x . . .
TEST_CASE("bordersThatMeetInAVertexAreHolesOfTheirOwn") {
    CompactMesh mesh = gridWithout(8, {18, 27, 36, 20, 45, 38});
    CompactMesh const before = mesh;
    auto const holes = unwatched::findHoles(mesh);
    REQUIRE(holes.size() == 7);
    // The counts of all reports are those of the list.
    CHECK(trimora::countMesh(mesh).boundaries == 7);
    koUtil::Progress checking;
    CHECK(trimora::checkMesh(mesh, {}, checking).boundaries == 7);
    for (std::size_t i = 1; i < holes.size(); ++i) {
        CHECK(holes[i].fault.empty());
        CHECK(holes[i].numEdges() == 4);
        CHECK(holes[i].patchArea == 1.0);
    }
    koUtil::Progress progress;
    auto const chosen = trimora::chooseHoles(holes, {});
    auto const outcome = trimora::fillHoles(mesh, holes, chosen, {}, progress);
    CHECK(outcome.count(HoleFate::Filled) == 6);
    checkSums(outcome, before, mesh);
    CHECK(trimora::countMesh(mesh).boundaries == 1);
    CHECK(unwatched::findHoles(mesh).size() == 1);

    // Parts that touch in a vertex have a border each.
    auto const parts = unwatched::findHoles(
        meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, -1, 0, 0, 0, -1, 0}, {0, 1, 2, 0, 3, 4}));
    REQUIRE(parts.size() == 2);
    CHECK(parts[0].vertices == std::vector{0, 1, 2});
    CHECK(parts[1].vertices == std::vector{0, 3, 4});
}

TEST_CASE("holesAreTheBordersThatTheLibraryFinds") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        CompactMesh const mesh = support::shuffled(named.mesh, 5);
        koGeom::SimpleMeshCache cache;
        auto const boundaries = cache.getBoundaries(mesh);
        auto const holes = unwatched::findHoles(mesh);
        REQUIRE(static_cast<int>(holes.size()) == boundaries->size());
        for (int i = 0; i < boundaries->size(); ++i)
            CHECK(holes[static_cast<std::size_t>(i)].vertices ==
                  std::vector<int>(boundaries->getStart(i), boundaries->getEnd(i)));
    }
}

TEST_CASE("aCancelKeepsWholeHolesOnly") {
    CompactMesh const scan = without(trimora::makeScan(4, 4), [](int t, koLinear::Point const& p) {
        return p.z > 0.5 || t % 300 == 7;
    });
    auto const holes = unwatched::findHoles(scan);
    for (double const limit : {-1.0, 0.0, 0.001, 0.3, 0.7}) {
        CAPTURE(limit);
        CompactMesh mesh = scan;
        koUtil::Progress progress;
        progress.setListener([&](double value, char const*) {
            if (value > limit)
                progress.cancel();
        });
        if (limit < 0.0)
            progress.cancel();
        auto const outcome = trimora::fillHoles(mesh, holes, allOf(holes), {}, progress);
        checkSums(outcome, scan, mesh);
        if (outcome.cancelled)
            CHECK(outcome.count(HoleFate::Cancelled) > 0);
        CHECK(static_cast<int>(unwatched::findHoles(mesh).size()) ==
              static_cast<int>(holes.size()) - outcome.count(HoleFate::Filled));
        if (limit <= 0.0)
            CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(scan));
    }
}

TEST_CASE("vertexSetsGoOnlyWhereSomethingIsFilled") {
    CompactMesh mesh = sphereBelow(2, 0.7);
    mesh.allocUVArray();
    auto const holes = unwatched::findHoles(mesh);
    koUtil::Progress progress;
    CHECK(trimora::fillHoles(mesh, holes, {}, {}, progress).dropped.empty());
    CHECK(mesh.getUVs() != nullptr);
    CHECK(trimora::fillHoles(mesh, holes, {0}, {}, progress).dropped ==
          std::vector<std::string>{"uvs"});
    CHECK(mesh.getUVs() == nullptr);
}

TEST_CASE("anyMeshEndsInAnOutcome") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        for (auto const quality : {koGeom::HoleQualityFlat, koGeom::HoleQualityFair}) {
            CompactMesh mesh = named.mesh;
            CompactMesh const before = mesh;
            checkSums(fillAll(mesh, quality), before, mesh);
        }
    }
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        CAPTURE(seed);
        CompactMesh mesh = seed % 2 != 0
                               ? support::latticeSoup(30, 60, seed)
                               : support::holed(support::terrain(12, 12, seed), 0.6, seed);
        CompactMesh const before = mesh;
        checkSums(fillAll(mesh), before, mesh);
    }
}
