// Stitching with its judgement: what comes out is as sound as what went in, or nothing is changed; and what is told of it.

#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshStitching.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/repair/meshReverseWinding.h"

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
    REQUIRE(trimora::cutMesh(scan, trimora::planeSection(scan, plane, tolerance), tolerance)
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
    auto const holes = trimora::findHoles(mesh);
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
            auto const holes = trimora::findHoles(mesh);
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
    auto const holes = trimora::findHoles(mesh);
    auto const suggestion = trimora::suggestStitchDistance(mesh, holes, {0, 1});
    REQUIRE(suggestion);
    CHECK(suggestion->distance > 0.1);
    StitchOutcome const outcome = stitchAll(mesh, within(0.2));
    REQUIRE(outcome.refusal.empty());
    REQUIRE(outcome.seams.size() == 1);
    CHECK(!outcome.seams[0].circular);
    CHECK(outcome.seams[0].length == doctest::Approx(2.0).epsilon(0.25));
    CHECK(outcome.after.components == 1);
    REQUIRE(outcome.gaps.size() == 1);  // the border of the whole
    CHECK(outcome.gaps[0].border.looksOuter);
    CHECK(outcome.after.clean);
}

TEST_CASE("boundariesThatCannotTakePartAreToldAndStandInNoOnesWay") {
    std::vector<CompactMesh> const parts = halves(4, 0.01f);
    std::vector<int> corners = support::trianglesOf(parts[0]);
    CompactMesh first = meshOf(support::coordinatesOf(parts[0]), corners);
    // The first triangle away from the border goes: a hole of 3 edges, listed first for its low vertices.
    auto const border = trimora::findHoles(first).at(0).vertices;
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

TEST_CASE("whatCannotBeStitchedSoundlyStaysAsItIs") {
    CompactMesh const sheet = support::grid(5, 5);
    refuses(sheet, within(0.1), "only 1 of 1 chosen one can take part");
    refuses(support::sphere(2), within(0.1), "none of 0");
    CompactMesh const apart = support::joined(sheet, moved(sheet, 6.0f, 0.0f, 0.0f));
    refuses(apart, within(0.2), "no two of 2 boundaries run within the distance");
    refuses(apart, within(1e-12), "too small");
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
    auto const holes = trimora::findHoles(mesh);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::stitchMesh(mesh, holes, allOf(holes), within(0.04), progress).cancelled);
    CHECK(counter.total() == 0);
}

TEST_CASE("noDistanceIsSuggestedWhereNothingIsNear") {
    auto const suggests = [](CompactMesh const& mesh) {
        auto const holes = trimora::findHoles(mesh);
        return trimora::suggestStitchDistance(mesh, holes, allOf(holes)).has_value();
    };
    CompactMesh const sheet = support::grid(5, 5);
    CHECK(!suggests(support::sphere(2)));
    CHECK(!suggests(sheet));
    CHECK(!suggests(support::joined(sheet, moved(sheet, 8.0f, 0.0f, 0.0f))));
    CHECK(!suggests(support::joined(sheet, meshOf({0, 0, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2}))));
    CHECK(suggests(support::joined(sheet, moved(sheet, 5.0f, 0.0f, 0.0f))));
}
