// Measures of surfaces and solids: by hand, far away, very small and very large, open and turned.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/meshMeasuring.h"

#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koLinear/matrices.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>

using koGeom::CompactMesh;
using trimora::MeasureOutcome;
using trimora::MeshMeasures;
using Triple = std::array<double, 3>;

namespace {

MeasureOutcome outcomeOf(CompactMesh const& mesh, bool eachComponent = false) {
    koUtil::Progress progress;
    return trimora::measureMesh(mesh, eachComponent, progress);
}

MeshMeasures measuresOf(CompactMesh const& mesh) {
    return outcomeOf(mesh).whole;
}

CompactMesh placed(CompactMesh mesh, Triple const& sizes, Triple const& shift) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex& p = mesh.getVertices()[v];
        p.x = static_cast<float>(p.x * sizes[0] + shift[0]);
        p.y = static_cast<float>(p.y * sizes[1] + shift[1]);
        p.z = static_cast<float>(p.z * sizes[2] + shift[2]);
    }
    return mesh;
}

void checkNear(Triple const& found, Triple const& expected, double tolerance) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        CAPTURE(axis);
        CHECK(std::abs(found[axis] - expected[axis]) <= tolerance);
    }
}

}  // namespace

TEST_CASE("aBoxIsWhatOneWorksOutByHand") {
    // 2 x 3 x 4 in 101, 201.5, 302, with a vertex far away that no triangle uses
    CompactMesh box = placed(support::cube(), {2, 3, 4}, {100, 200, 300});
    box.resizeVertexArray(9);
    box.getVertices()[8] = {1e30f, std::numeric_limits<float>::quiet_NaN(), 0.0f};
    MeshMeasures const measures = measuresOf(box);
    CHECK(measures.vertices == 8);
    CHECK(measures.triangles == 12);
    CHECK(measures.low == Triple{100, 200, 300});
    CHECK(measures.high == Triple{102, 203, 304});
    CHECK(measures.edges == 18);
    CHECK(measures.longestEdge == 5.0);
    double const diagonals = 2.0 * (std::sqrt(13.0) + std::sqrt(20.0) + 5.0);
    CHECK(measures.meanEdge == doctest::Approx((4.0 * (2 + 3 + 4) + diagonals) / 18.0));
    CHECK(measures.area == 52.0);
    CHECK(measures.volume == doctest::Approx(24.0).epsilon(1e-12));
    CHECK(measures.enclosesVolume());
    Triple const centre = {101.0, 201.5, 302.0};
    REQUIRE(measures.surfaceCentroid.has_value());
    REQUIRE(measures.centreOfMass.has_value());
    checkNear(*measures.surfaceCentroid, centre, 1e-12 * 302);
    checkNear(*measures.centreOfMass, centre, 1e-12 * 302);
    checkNear(measures.firstMoments, {24 * 101.0, 24 * 201.5, 24 * 302.0}, 1e-9);
    checkNear(*measures.centralMoments, {8, 18, 32}, 1e-12);  // V a^2 / 12
    checkNear(measures.secondMoments,
              {8 + 24 * 101.0 * 101.0, 18 + 24 * 201.5 * 201.5, 32 + 24 * 302.0 * 302.0}, 1e-6);
}

TEST_CASE("measuresDoNotLoseDigitsFarFromTheOrigin") {
    // Positions that floats hold exactly there, so that the shape is the same.
    CompactMesh const near = placed(support::sphere(3), {256, 256, 256}, {0, 0, 0});
    CompactMesh rounded = near;
    for (int i = 0; i < 3 * rounded.getNumVertices(); ++i)
        rounded.getVerticesRaw()[i] = std::round(rounded.getVerticesRaw()[i] * 16.0f) / 16.0f;
    Triple const shift = {100000, -50000, 25000};  // 400 radii
    CompactMesh const far = placed(rounded, {1, 1, 1}, shift);
    MeshMeasures const here = measuresOf(rounded);
    MeshMeasures const there = measuresOf(far);
    CHECK(here.volume == doctest::Approx(support::volume(rounded)).epsilon(1e-6));
    CHECK(there.volume == doctest::Approx(here.volume).epsilon(1e-6));
    CHECK(there.area == doctest::Approx(here.area).epsilon(1e-6));
    checkNear(*there.centreOfMass, shift, 256 * 1e-4);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        CHECK((*there.centralMoments)[axis] ==
              doctest::Approx((*here.centralMoments)[axis]).epsilon(1e-6));
        double const moved = here.secondMoments[axis] +
                             2.0 * shift[axis] * here.firstMoments[axis] +
                             here.volume * shift[axis] * shift[axis];
        CHECK(there.secondMoments[axis] == doctest::Approx(moved).epsilon(1e-6));
    }
}

TEST_CASE("measuresFollowTheSizeFromVerySmallToVeryLarge") {
    MeshMeasures const unit = measuresOf(support::sphere(3));
    for (double const size : {1e-20, 1e-6, 1e6, 1e20}) {
        CAPTURE(size);
        MeshMeasures const measures =
            measuresOf(placed(support::sphere(3), {size, size, size}, {0, 0, 0}));
        CHECK(measures.area == doctest::Approx(unit.area * std::pow(size, 2)).epsilon(1e-6));
        CHECK(measures.volume == doctest::Approx(unit.volume * std::pow(size, 3)).epsilon(1e-6));
        CHECK((*measures.centralMoments)[2] ==
              doctest::Approx((*unit.centralMoments)[2] * std::pow(size, 5)).epsilon(1e-6));
        CHECK(measures.meanEdge == doctest::Approx(unit.meanEdge * size).epsilon(1e-6));
    }
    double const volume = 4.0 / 3.0 * std::numbers::pi;
    CHECK(unit.volume == doctest::Approx(volume).epsilon(0.02));
    CHECK((*unit.centralMoments)[0] == doctest::Approx(volume / 5.0).epsilon(0.03));
}

TEST_CASE("whatEnclosesNoVolumeIsTold") {
    MeshMeasures const sheet = measuresOf(support::grid(4, 3));
    CHECK(sheet.openEdges == 14);
    CHECK(!sheet.enclosesVolume());
    CHECK(sheet.area == 12.0);
    CHECK(sheet.volume == 0.0);
    CHECK(!sheet.centreOfMass.has_value());
    checkNear(*sheet.surfaceCentroid, {2.0, 1.5, 0.0}, 1e-12);

    CompactMesh turned = support::cube();
    std::swap(turned.getTriangles()[5].vertices[0], turned.getTriangles()[5].vertices[1]);
    CHECK(measuresOf(turned).turnedEdges == 3);
    CHECK(measuresOf(turned).openEdges == 0);
    CHECK(!measuresOf(turned).enclosesVolume());
    CHECK(measuresOf(support::threeOnAnEdge()).nonManifoldEdges == 1);
    CHECK(measuresOf(support::soup(support::cube())).openEdges == 36);

    MeshMeasures const inside = measuresOf(support::flipped(support::cube(), 1.0, 1));
    CHECK(inside.enclosesVolume());
    CHECK(inside.volume == doctest::Approx(-1.0).epsilon(1e-12));
    checkNear(*inside.centreOfMass, {0.5, 0.5, 0.5}, 1e-12);
}

TEST_CASE("eachComponentIsMeasuredByItself") {
    CompactMesh const two =
        support::joined(support::cube(), placed(support::sphere(2), {2, 2, 2}, {0, 0, 0}), 50.0f);
    MeasureOutcome const outcome = outcomeOf(two, true);
    REQUIRE(outcome.components.size() == 2);
    CHECK(outcomeOf(two).components.empty());
    double volume = 0.0;
    double area = 0.0;
    std::int64_t edges = 0;
    for (MeshMeasures const& component : outcome.components) {
        CHECK(component.enclosesVolume());
        volume += component.volume;
        area += component.area;
        edges += component.edges;
    }
    CHECK(outcome.components[0].volume == doctest::Approx(1.0).epsilon(1e-12));
    CHECK(outcome.whole.volume == doctest::Approx(volume).epsilon(1e-6));
    CHECK(outcome.whole.area == doctest::Approx(area).epsilon(1e-6));
    CHECK(outcome.whole.edges == edges);
}

TEST_CASE("edgesAreThoseOfBruteForce") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        MeasureOutcome const outcome = outcomeOf(mesh, true);
        if (outcome.isNonfinite)
            continue;
        std::int64_t edges = 0;
        std::int64_t open = 0;
        double longest = 0.0;
        for (auto const& [edge, triangles] : support::edgeTable(mesh)) {
            if (edge[0] == edge[1])
                continue;
            ++edges;
            open += triangles.size() == 1 ? 1 : 0;
            longest = std::max(longest, distance(mesh.getVertices()[edge[0]].asPoint(),
                                                 mesh.getVertices()[edge[1]].asPoint()));
        }
        CHECK(outcome.whole.edges == edges);
        CHECK(outcome.whole.openEdges == open);
        CHECK(outcome.whole.longestEdge == longest);
        CHECK(outcome.components.size() == static_cast<std::size_t>(support::numComponents(mesh)));
    }
}

TEST_CASE("whatCannotBeMeasuredIsRefusedOrNothing") {
    CompactMesh mesh = support::cube();
    mesh.getVertices()[3].y = std::numeric_limits<float>::infinity();
    CHECK(outcomeOf(mesh).isNonfinite);
    CHECK(outcomeOf(mesh).refusal.find("NaN") != std::string::npos);
    MeasureOutcome const none = outcomeOf(CompactMesh(), true);
    CHECK(none.refusal.empty());
    CHECK(none.whole.triangles == 0);
    CHECK(!none.whole.enclosesVolume());
    CHECK(none.components.empty());
    MeshMeasures const point = measuresOf(support::meshOf({5, 5, 5}, {0, 0, 0}));
    CHECK(point.area == 0.0);
    CHECK(!point.surfaceCentroid.has_value());
    CHECK(point.edges == 0);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::measureMesh(support::cube(), true, progress).cancelled);
}
