// Stitching with its judgement: what comes out is as sound as what went in, or nothing is changed; and what is told of it.

#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshStitching.h"
#include "toolkit/sampleMeshes.h"
#include "unwatched.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/repair/meshReverseWinding.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>

using koGeom::CompactMesh;
using support::meshOf;
using trimora::HoleChoice;
using trimora::MeshHole;
using trimora::StitchOptions;
using trimora::StitchOutcome;

namespace {

CompactMesh moved(CompactMesh mesh, float x, float y, float z, float scale = 1.0f) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex& p = mesh.getVertices()[v];
        p.set(scale * (p.x + x), scale * (p.y + y), scale * (p.z + z));
    }
    return mesh;
}

/// A scan, cut in two by a slanted plane, with the halves moved apart.
std::vector<CompactMesh> halves(int levels, float gap) {
    CompactMesh scan = trimora::makeScan(levels, 1);
    trimora::SectionPlane plane;
    REQUIRE(plane.set({0.2, 0.1, 1.0, -0.05}));
    double const tolerance = trimora::cutTolerance(scan);
    REQUIRE(unwatched::cutMesh(scan, unwatched::planeSection(scan, plane, tolerance), tolerance)
                .refusal.empty());
    std::vector<CompactMesh> parts = trimora::splitIntoParts(scan);
    REQUIRE(parts.size() == 2);
    auto const meanHeight = [](CompactMesh const& mesh) {
        double sum = 0.0;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            sum += static_cast<double>(mesh.getVertices()[v].z);
        return sum / mesh.getNumVertices();
    };
    CompactMesh& upper = meanHeight(parts[0]) > meanHeight(parts[1]) ? parts[0] : parts[1];
    upper = moved(upper, 0.0f, 0.0f, gap);
    return parts;
}

/// The parts of a mesh after cuts by planes through its middle, each moved away from the plane by a quarter of `apart`.
CompactMesh cutByPlanes(CompactMesh const& scan, int count, double apart, support::Random& random) {
    std::vector<CompactMesh> parts = {scan};
    koLinear::Vector middle;
    for (int v = 0; v < scan.getNumVertices(); ++v)
        middle += scan.getVertices()[v].asPoint().asVector() * (1.0 / scan.getNumVertices());
    for (int i = 0; i < count; ++i) {
        koLinear::Vector n(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
        n = n * (1.0 / n.length());
        trimora::SectionPlane plane;
        REQUIRE(plane.set({n.x, n.y, n.z, -dot(n, middle)}));
        std::vector<CompactMesh> next;
        for (CompactMesh& part : parts) {
            double const tolerance = trimora::cutTolerance(part);
            unwatched::cutMesh(part, unwatched::planeSection(part, plane, tolerance), tolerance);
            for (CompactMesh const& piece : trimora::splitIntoParts(part)) {
                double side = 0.0;
                for (int v = 0; v < piece.getNumVertices(); ++v)
                    side += dot(n, piece.getVertices()[v].asPoint().asVector() - middle);
                koLinear::Vector const way = n * (side > 0.0 ? 0.25 * apart : -0.25 * apart);
                next.push_back(moved(piece, float(way.x), float(way.y), float(way.z)));
            }
        }
        parts.swap(next);
    }
    CompactMesh mesh;
    for (CompactMesh const& part : parts)
        mesh = support::joined(mesh, part);
    return mesh;
}

double volumeOf(CompactMesh const& mesh) {
    double six = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        auto const at = [&](int k) {
            return mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint().asVector();
        };
        six += dot(at(0), cross(at(1), at(2)));
    }
    return six / 6.0;
}

std::vector<int> allOf(std::vector<MeshHole> const& holes) {
    return trimora::chooseHoles(holes, {HoleChoice::Kind::All, {}, 0.0});
}

StitchOutcome stitchAll(CompactMesh& mesh, StitchOptions const& options) {
    koUtil::Progress progress;
    auto const holes = unwatched::findHoles(mesh);
    return trimora::stitchMesh(mesh, holes, allOf(holes), options, progress);
}

StitchOptions within(double distance) {
    StitchOptions options;
    options.distance = distance;
    return options;
}

/// Refused with these words, with the mesh as it was and nothing sent.
StitchOutcome refuses(CompactMesh mesh, StitchOptions const& options, std::string const& words) {
    auto const coordinates = support::coordinatesOf(mesh);
    auto const triangles = support::trianglesOf(mesh);
    support::ModificationCounter const counter(mesh);
    StitchOutcome const outcome = stitchAll(mesh, options);
    CAPTURE(outcome.refusal);
    CHECK(outcome.refusal.find(words) != std::string::npos);
    CHECK(counter.total() == 0);
    CHECK(support::coordinatesOf(mesh) == coordinates);
    CHECK(support::trianglesOf(mesh) == triangles);
    return outcome;
}

}  // namespace

TEST_CASE("halvesOfAScanBecomeWholeAtAnySize") {
    CompactMesh const scan = trimora::makeScan(4, 1);
    for (float const scale : {1.0f, 0x1p-30f, 0x1p40f}) {
        for (float const gap : {0.0f, 0.02f}) {
            CAPTURE(scale);
            CAPTURE(gap);
            std::vector<CompactMesh> const parts = halves(4, gap);
            CompactMesh mesh = moved(support::joined(parts[0], parts[1]), 0, 0, 0, scale);
            auto const holes = unwatched::findHoles(mesh);
            auto const suggestion = trimora::suggestStitchDistance(mesh, holes, allOf(holes));
            REQUIRE(suggestion);
            CHECK(suggestion->neighbours.size() == 2);
            CHECK(suggestion->distance / double(scale) > double(gap));
            CHECK(suggestion->distance / double(scale) < 0.04);

            support::ModificationCounter const counter(mesh);
            StitchOutcome const outcome = stitchAll(mesh, within(suggestion->distance));
            CAPTURE(outcome.refusal);
            REQUIRE(outcome.refusal.empty());
            CHECK(counter.total() == 1);
            CHECK(support::faultOf(mesh).empty());
            REQUIRE(outcome.seams.size() == 1);
            CHECK(outcome.isComplete());
            CHECK(outcome.seams[0].circular);
            CHECK(outcome.seams[0].boundary + outcome.seams[0].otherBoundary == 1);
            CHECK(outcome.seams[0].gap / double(scale) == doctest::Approx(gap).epsilon(0.5));
            CHECK(outcome.gaps.empty());
            CHECK(outcome.turned.empty());
            CHECK(outcome.after.clean);
            CHECK(outcome.after.closed);
            CHECK(outcome.after.components == 1);
            CHECK(volumeOf(mesh) / std::pow(double(scale), 3.0) ==
                  doctest::Approx(volumeOf(scan)).epsilon(gap > 0.0f ? 0.03 : 0.01));
        }
    }
}

TEST_CASE("aPartThatIsInsideOutIsTurnedRound") {
    for (int const inner : {0, 1}) {
        std::vector<CompactMesh> parts = halves(3, 0.01f);
        koGeom::meshReverseWinding(parts[static_cast<std::size_t>(inner)], false);
        CompactMesh mesh = support::joined(parts[0], parts[1]);
        StitchOutcome const outcome = stitchAll(mesh, within(0.03));
        REQUIRE(outcome.refusal.empty());
        REQUIRE(outcome.turned.size() == 1);
        int const turned = outcome.turned[0].vertex < parts[0].getNumVertices() ? 0 : 1;
        CHECK(outcome.turned[0].triangles ==
              parts[static_cast<std::size_t>(turned)].getNumTriangles());
        CHECK(outcome.after.clean);
        CHECK(outcome.after.closed);
    }
}

TEST_CASE("sheetsAreSewnAlongThePartOfTheirBordersThatIsNear") {
    //      +-----------+
    //      |   4 x 4   +---------+     a gap of 0.1 between x = 4 and x = 4.1
    //      |           |  3 x 2  |
    //      |           +---------+
    //      +-----------+
    CompactMesh mesh =
        support::joined(support::grid(4, 4), moved(support::grid(3, 2), 4.1f, 1.3f, 0.0f));
    auto const holes = unwatched::findHoles(mesh);
    auto const suggestion = trimora::suggestStitchDistance(mesh, holes, {0, 1});
    REQUIRE(suggestion);
    CHECK(suggestion->distance > 0.1);
    StitchOutcome const outcome = stitchAll(mesh, within(0.2));
    REQUIRE(outcome.refusal.empty());
    REQUIRE(outcome.seams.size() == 1);
    CHECK(!outcome.seams[0].circular);
    CHECK(outcome.seams[0].stretchLength == doctest::Approx(2.0).epsilon(0.25));
    CHECK(outcome.seams[0].sewnLength == doctest::Approx(2.0).epsilon(0.1));
    CHECK(outcome.sewnLength() == outcome.seams[0].sewnLength);
    CHECK(outcome.after.components == 1);
    REQUIRE(outcome.gaps.size() == 1);  // the border of the whole
    CHECK(outcome.gaps[0].border.looksOuter);
    CHECK(outcome.after.clean);
}

namespace {

double openLengthOf(CompactMesh const& mesh) {
    double sum = 0.0;
    for (MeshHole const& hole : unwatched::findHoles(mesh))
        sum += hole.perimeter;
    return sum;
}

/// Two sheets beside each other along 8 units, waves in them when asked for.
CompactMesh sheetsBesideEachOther(support::Random& random, double gap, double waves) {
    CompactMesh lower = support::grid(20 + random.index(40), 4);
    CompactMesh upper = support::grid(12 + random.index(30), 3);
    auto const place = [&](CompactMesh& mesh, double width, double left, double low) {
        double numX = 0.0;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            numX = std::max(numX, double(mesh.getVertices()[v].x));
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            koGeom::MeshVertex& p = mesh.getVertices()[v];
            double const x = left + width * double(p.x) / numX;
            p.set(float(x), float(low + double(p.y) + waves * std::sin(0.45 * x)),
                  float(waves * 0.5 * std::cos(0.3 * x)));
        }
    };
    place(lower, 14.0, 0.0, 0.0);
    place(upper, 8.0, random.real(1.0, 5.0), 4.0 + gap);
    return support::joined(lower, upper);
}

}  // namespace

// The two sides have their vertices, and so their samples, at different places.
TEST_CASE("sidesAreSewnAlongTheirWholeLength") {
    support::Random random(71);
    for (int round = 0; round < 40; ++round) {
        CAPTURE(round);
        double const gap = 0.1 * (round % 3);
        CompactMesh mesh = sheetsBesideEachOther(random, gap, round % 2);
        double const before = openLengthOf(mesh);
        StitchOutcome const outcome = stitchAll(mesh, within(0.4));
        CAPTURE(outcome.refusal);
        REQUIRE(outcome.refusal.empty());
        REQUIRE(outcome.seams.size() == 1);
        CHECK(outcome.seams[0].endDistance <= 0.4);
        CHECK(outcome.sewnLength() > 0.85 * outcome.seams[0].stretchLength);
        // Both sides of what was sewn are no border any more, but for the ends of the gap.
        double const closed = 0.5 * (before - openLengthOf(mesh));
        CHECK(closed > outcome.sewnLength() - gap - 0.4);
        CHECK(outcome.after.components == 1);
        CHECK(outcome.after.clean);
    }
}

TEST_CASE("aDistanceThatAsksForTooManySamplesIsRefusedBeforehand") {
    CompactMesh const sheet = support::grid(5, 5);
    CompactMesh const two = support::joined(sheet, moved(sheet, 5.1f, 0.0f, 0.0f));
    // 40 units of border, a sample every fifth of the distance: 2e8.
    StitchOutcome const outcome = refuses(two, within(1e-6), "2e+08 points");
    CHECK(outcome.refusal.find("raise it to 1e-05") != std::string::npos);
    CHECK(outcome.attempts == 0);
}

//   +--+--+--+      a sheet with two square holes that meet in a vertex, far from the halves, of which one is inside out
//   |  |##|  |
//   +--+--+--+
//   |##|  |  |
TEST_CASE("touchingLoopsAndATurnedComponentKeepTheirNumbers") {
    std::vector<CompactMesh> parts = halves(3, 0.01f);
    koGeom::meshReverseWinding(parts[1], false);
    CompactMesh const grid = support::grid(4, 4);
    std::vector<int> triangles;
    for (int square = 0; square < 16; ++square)
        for (int k = 0; k < 6 && square != 5 && square != 10; ++k)
            triangles.push_back(
                support::trianglesOf(grid)[static_cast<std::size_t>(6 * square + k)]);
    CompactMesh const holed = moved(meshOf(support::coordinatesOf(grid), triangles), 20, 0, 0);
    for (bool const holedFirst : {true, false}) {
        CompactMesh const both = support::joined(parts[0], parts[1]);
        CompactMesh mesh = holedFirst ? support::joined(holed, both) : support::joined(both, holed);
        auto const holes = unwatched::findHoles(mesh);
        REQUIRE(holes.size() == 5);
        StitchOutcome const outcome = stitchAll(mesh, within(0.03));
        CAPTURE(outcome.refusal);
        REQUIRE(outcome.refusal.empty());
        REQUIRE(outcome.seams.size() == 1);
        CHECK(outcome.attempts == 2);
        for (int const boundary : {outcome.seams[0].boundary, outcome.seams[0].otherBoundary})
            CHECK(holes[static_cast<std::size_t>(boundary)].high[0] < 10.0);
        REQUIRE(outcome.turned.size() == 1);
        CHECK(outcome.turned[0].position[0] < 10.0);
        CHECK(outcome.gaps.empty());
        CHECK(unwatched::findHoles(mesh).size() == 3);
        CHECK(outcome.after.oriented);
    }
}

namespace {

constexpr int mostTrianglesOfCuts = 20'000;
constexpr double mostSecondsOfCuts = 40.0;

/// Real meshes that three planes cut; a scan where there are none.
std::vector<CompactMesh> cuttableMeshes() {
    std::vector<CompactMesh> meshes;
    for (std::string const& path : support::corpus()) {
        CompactMesh mesh;
        if (koGeom::meshReadObj(mesh, koOS::Filename(path.c_str())) &&
            mesh.getNumTriangles() <= mostTrianglesOfCuts && mesh.getNumTriangles() > 0)
            meshes.push_back(mesh);
    }
    if (meshes.empty())
        meshes.push_back(trimora::makeScan(4, 1));
    return meshes;
}

/// What checkMesh calls a defect, by its count.
bool isNoWorse(trimora::CheckResult const& after, trimora::CheckResult const& before) {
    return after.duplicateTriangles <= before.duplicateTriangles &&
           after.degenerateTriangles <= before.degenerateTriangles &&
           after.nonManifoldEdges <= before.nonManifoldEdges &&
           (!before.nonManifoldVertices ||
            after.nonManifoldVertices.value_or(0) <= *before.nonManifoldVertices) &&
           after.foldedEdges <= before.foldedEdges &&
           after.unusedVertices <= before.unusedVertices && (after.oriented || !before.oriented) &&
           (after.clean || !before.clean);
}

}  // namespace

// Cut by three planes one after the other and put together again, as they are and with the parts moved apart.
TEST_CASE("cutsOfRealMeshesAreNeverMadeWorse") {
    support::Random random(72);
    int numSewn = 0;
    int numTried = 0;
    koOS::StopWatch watch;
    watch.start();
    double seconds = 0.0;
    for (CompactMesh const& scan : cuttableMeshes()) {
        double const distance = 0.01 * trimora::diagonalOf(scan);
        for (double const apart : {0.0, 0.25}) {
            if ((seconds += watch.clear()) > mostSecondsOfCuts)
                break;
            watch.start();
            CAPTURE(scan.getNumTriangles());
            CAPTURE(apart);
            CompactMesh mesh = cutByPlanes(scan, 3, apart * distance, random);
            koUtil::Progress progress;
            trimora::CheckResult const before = trimora::checkMesh(mesh, {}, progress);
            StitchOutcome const outcome = stitchAll(mesh, within(distance));
            CAPTURE(outcome.refusal);
            ++numTried;
            CHECK((support::faultOf(mesh) == "" || before.nonManifoldEdges > 0));
            trimora::CheckResult const after = trimora::checkMesh(mesh, {}, progress);
            CHECK(isNoWorse(after, before));
            // Seams split triangles that cut others before.
            CHECK(after.intersectingTriangles.value() <=
                  before.intersectingTriangles.value() * 11 / 10 +
                      (before.intersectingTriangles.value() > 0 ? 4 : 0));
            if (!outcome.refusal.empty())
                continue;
            ++numSewn;
            CHECK(outcome.distance <= distance);
            CHECK(after.components <= before.components);  // holes beside each other
            CHECK(outcome.sewnLength() > 0.0);
        }
    }
    CAPTURE(numTried);
    CHECK(2 * numSewn >= numTried);
}

TEST_CASE("boundariesThatCannotTakePartAreToldAndStandInNoOnesWay") {
    std::vector<CompactMesh> const parts = halves(4, 0.01f);
    std::vector<int> corners = support::trianglesOf(parts[0]);
    CompactMesh first = meshOf(support::coordinatesOf(parts[0]), corners);
    // The first triangle away from the border goes: a hole of 3 edges, listed first for its low vertices.
    auto const border = unwatched::findHoles(first).at(0).vertices;
    for (std::size_t t = 0;; t += 3) {
        bool const isInside = std::none_of(border.begin(), border.end(), [&](int v) {
            return std::count(corners.begin() + std::ptrdiff_t(t),
                              corners.begin() + std::ptrdiff_t(t) + 3, v) > 0;
        });
        if (!isInside)
            continue;
        corners.erase(corners.begin() + std::ptrdiff_t(t), corners.begin() + std::ptrdiff_t(t) + 3);
        break;
    }
    first = meshOf(support::coordinatesOf(parts[0]), corners);
    CompactMesh mesh = support::joined(first, parts[1]);
    StitchOutcome const outcome = stitchAll(mesh, within(1.0 / 3.0));
    auto const leftOut = std::count_if(outcome.boundaries.begin(), outcome.boundaries.end(),
                                       [](auto const& b) { return !b.words.empty(); });
    CHECK(outcome.boundaries.size() == 3);
    CHECK(leftOut == 1);
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.isComplete());
    CHECK(outcome.after.boundaries == 1);
    CHECK(outcome.gaps.empty());  // the hole was there before
}

// Where floats are a 64th apart, far from the origin.
TEST_CASE("stitchingIsTheSameFarFromTheOrigin") {
    float const far = 0x1p17f;
    CompactMesh const near =
        support::joined(support::grid(8, 8), moved(support::grid(6, 8), 8.125f, 0.0f, 0.0f));
    CompactMesh mesh = moved(near, far, -far, far);
    CompactMesh there = near;
    StitchOutcome const expected = stitchAll(there, within(0.3));
    REQUIRE(expected.refusal.empty());
    StitchOutcome const outcome = stitchAll(mesh, within(0.3));
    CAPTURE(outcome.refusal);
    REQUIRE(outcome.refusal.empty());
    REQUIRE(outcome.seams.size() == expected.seams.size());
    CHECK(outcome.sewnLength() > 0.9 * expected.sewnLength());
    CHECK(outcome.after.components == 1);
    CHECK(outcome.after.clean);
}

TEST_CASE("theDistanceThatIsProposedSews") {
    CompactMesh const near =
        support::joined(support::grid(8, 8), moved(support::grid(6, 8), 8.125f, 0.0f, 0.0f));
    auto const holes = unwatched::findHoles(near);
    koUtil::Progress progress;
    auto const proposal =
        trimora::proposeStitchDistance(near, holes, allOf(holes), StitchOptions(), progress);
    REQUIRE(proposal);
    REQUIRE(proposal->sewnLength);
    CompactMesh mesh = near;
    StitchOutcome const outcome = stitchAll(mesh, within(proposal->distance));
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.sewnLength() == *proposal->sewnLength);
    CHECK(outcome.distance > 0.0);
    // What was tried is not proposed again.
    CompactMesh const apart =
        support::joined(support::grid(8, 8), moved(support::grid(6, 8), 8.5f, 0.0f, 0.0f));
    auto const far = trimora::suggestStitchDistance(apart, unwatched::findHoles(apart), {0, 1});
    if (far) {
        StitchOutcome const none = refuses(apart, within(0.4), "no two of 2 boundaries");
        CHECK(none.refusal.find("may do") != std::string::npos);
    }
}

TEST_CASE("whatCannotBeStitchedSoundlyStaysAsItIs") {
    CompactMesh const sheet = support::grid(5, 5);
    refuses(sheet, within(0.1), "the mesh has only one boundary");
    CompactMesh const unequal =
        support::joined(sheet, meshOf({9, 9, 9, 9.1f, 9, 9, 9, 9.1f, 9}, {0, 1, 2}));
    refuses(unequal, within(0.5), "only 1 of 2 chosen ones can take part");
    refuses(support::sphere(2), within(0.1), "none of 0");
    CompactMesh const apart = support::joined(sheet, moved(sheet, 6.0f, 0.0f, 0.0f));
    refuses(apart, within(0.2), "no two of 2 boundaries run within the distance");
    refuses(apart, within(1e-12), "too small for boundaries");
    refuses(apart, within(0.0), "not above 0");
    refuses(support::joined(sheet, support::threeOnAnEdge(), 9.0f), within(0.1), "more than two");

    std::vector<CompactMesh> const parts = halves(3, 0.02f);
    CompactMesh const open = support::joined(parts[0], parts[1]);
    StitchOptions strict = within(0.04);
    strict.foldAngle = 179.9;  // nearly every edge is a fold, and the seam brings new ones
    StitchOutcome const worse = refuses(open, strict, "would be worse: foldedEdges");
    REQUIRE(worse.worse.size() == 1);
    CHECK(worse.worse[0].after > worse.worse[0].before);
    CHECK(worse.problemPoint);
}

TEST_CASE("cancelledStitchingLeavesTheMesh") {
    std::vector<CompactMesh> const parts = halves(3, 0.02f);
    CompactMesh mesh = support::joined(parts[0], parts[1]);
    support::ModificationCounter const counter(mesh);
    auto const holes = unwatched::findHoles(mesh);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::stitchMesh(mesh, holes, allOf(holes), within(0.04), progress).cancelled);
    CHECK(counter.total() == 0);
}

TEST_CASE("noDistanceIsSuggestedWhereNothingIsNear") {
    auto const suggests = [](CompactMesh const& mesh) {
        auto const holes = unwatched::findHoles(mesh);
        return trimora::suggestStitchDistance(mesh, holes, allOf(holes)).has_value();
    };
    CompactMesh const sheet = support::grid(5, 5);
    CHECK(!suggests(support::sphere(2)));
    CHECK(!suggests(sheet));
    CHECK(!suggests(support::joined(sheet, moved(sheet, 8.0f, 0.0f, 0.0f))));
    CHECK(!suggests(support::joined(sheet, meshOf({0, 0, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2}))));
    CHECK(suggests(support::joined(sheet, moved(sheet, 5.0f, 0.0f, 0.0f))));
}

/// As many triangles in one place, each with corners of its own.
CompactMesh copiesOfATriangle(int count) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < count; ++i) {
        coordinates.insert(coordinates.end(), {0, 0, 0, 1, 0, 0, 0.25f, 0.75f, 0.5f});
        triangles.insert(triangles.end(), {3 * i, 3 * i + 1, 3 * i + 2});
    }
    return meshOf(coordinates, triangles);
}

TEST_CASE("copiesInOnePlaceSuggestWhatTwoOfThemDo") {
    CompactMesh const sheet = support::grid(5, 5);
    CompactMesh const near = moved(support::grid(4, 5), 5.25f, 0.0f, 0.0f);
    auto const suggestionFor = [](CompactMesh const& mesh) {
        auto const holes = unwatched::findHoles(mesh);
        auto const suggestion = trimora::suggestStitchDistance(mesh, holes, allOf(holes));
        REQUIRE(suggestion);
        return *suggestion;
    };
    CompactMesh two = support::joined(sheet, near);
    two = support::joined(two, two);
    CompactMesh const four = support::joined(two, two);
    CHECK(suggestionFor(four).distances == suggestionFor(two).distances);
    CHECK(suggestionFor(four).neighbours.size() == 8);
    CHECK(suggestionFor(four).neighbours.front().gap == doctest::Approx(0.0));
    // Of three the third one's neighbours are its own: it asks apart.
    auto const apart = suggestionFor(support::joined(support::joined(sheet, sheet), near));
    REQUIRE(apart.neighbours.size() >= 2);
    CHECK(apart.neighbours.front().gap == doctest::Approx(0.0));
}

TEST_CASE("crowdsOfBoundariesAreRefusedBeforehand") {
    StitchOutcome const few = refuses(copiesOfATriangle(30), within(0.2), "cannot be made to run");
    CHECK(few.attempts > 0);
    // 1100 boundaries with 1099 others each.
    StitchOutcome const crowd = refuses(copiesOfATriangle(1100), within(0.2),
                                        "each of 1100 boundaries has 1099 others or more");
    CHECK(crowd.attempts == 0);
    CHECK(crowd.before.triangles == 0);  // not looked at either
}
