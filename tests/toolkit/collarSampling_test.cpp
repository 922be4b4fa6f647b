// Samples of whole borders: a disk, a rim, an L, sizes from very small to very large.

#include "measure/tube.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "toolkit/collarSampling.h"
#include "unwatched.h"

#include <cmath>
#include <doctest/doctest.h>
#include <iostream>
#include <numbers>
#include <sstream>

using koGeom::CompactMesh;
using koGeom::Vector;
using trimora::CollarOptions;
using trimora::CollarOutcome;

namespace {

using Triple = std::array<double, 3>;

/// Samples with what the core prints taken off the standard output.
CollarOutcome collarOf(CompactMesh const& mesh, CollarOptions const& options = {},
                       std::size_t boundary = 0) {
    std::ostringstream printed;
    std::streambuf* const former = std::cout.rdbuf(printed.rdbuf());
    auto const holes = unwatched::findHoles(mesh);
    REQUIRE(holes.size() > boundary);
    CollarOutcome outcome = trimora::sampleCollar(mesh, holes[boundary], options);
    std::cout.rdbuf(former);
    return outcome;
}

Vector asVector(Triple const& triple) {
    return {triple[0], triple[1], triple[2]};
}

void checkNear(Triple const& found, Vector const& expected, double tolerance = 1e-6) {
    CAPTURE(found[0]);
    CAPTURE(found[1]);
    CAPTURE(found[2]);
    CHECK((asVector(found) - expected).length() <= tolerance);
}

/// A disk in z = 0 of radius `size`: a hub, number 0, and its rim.
CompactMesh disk(int numRim, double size = 1.0) {
    std::vector<float> coordinates = {0, 0, 0};
    std::vector<int> triangles;
    for (int i = 0; i < numRim; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / numRim;
        coordinates.insert(coordinates.end(), {static_cast<float>(size * std::cos(angle)),
                                               static_cast<float>(size * std::sin(angle)), 0.0f});
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % numRim});
    }
    return support::meshOf(coordinates, triangles);
}

}  // namespace

TEST_CASE("theCollarOfADiskPointsAwayFromItsHub") {
    int const numRim = 16;
    CompactMesh const mesh = disk(numRim);
    double const chord = 2.0 * std::sin(std::numbers::pi / numRim);
    for (int const asked : {0, 16, 8, 32}) {
        CAPTURE(asked);
        CollarOutcome const outcome = collarOf(mesh, {asked, true});
        REQUIRE(outcome.refusal.empty());
        int const count = asked > 0 ? asked : numRim;
        REQUIRE(outcome.samples.size() == static_cast<std::size_t>(count));
        CHECK(outcome.length == doctest::Approx(numRim * chord));
        CHECK(outcome.samples[0].edge == std::array<int, 2>{1, 2});
        for (int i = 0; i < count; ++i) {
            auto const& sample = outcome.samples[static_cast<std::size_t>(i)];
            double const angle = 2.0 * std::numbers::pi * i / count;
            Vector const out(std::cos(angle), std::sin(angle), 0.0);
            bool const isOnVertex = i * numRim % count == 0;
            double const radius = isOnVertex ? 1.0 : std::cos(std::numbers::pi / numRim);
            checkNear(sample.position, radius * out);
            checkNear(sample.normal, Vector::zAxis);
            checkNear(sample.outward, out);
            checkNear(sample.direction, out);
            CHECK(sample.curvature == 0.0);
            CHECK(sample.distance == doctest::Approx(numRim * chord * i / count));
        }
    }
}

// The direction of the core runs along the rim there: the triangles lean so. See decision 0089.
TEST_CASE("outwardLeadsOffTheRimOfATubeWhereTheDirectionDoesNot") {
    CompactMesh const tube = support::tube(24, 4);
    for (std::size_t boundary : {0u, 1u}) {
        CollarOutcome const outcome = collarOf(tube, {24, true}, boundary);
        REQUIRE(outcome.samples.size() == 24);
        for (auto const& sample : outcome.samples) {
            Vector const radial(sample.position[0], sample.position[1], 0.0);
            CHECK(dot(asVector(sample.normal), radial) > 0.99);
            bool const isLow = sample.position[2] < 0.4;
            CHECK(isLow == (boundary == 0));
            checkNear(sample.outward, isLow ? -Vector::zAxis : Vector::zAxis, 1e-5);
            CHECK(std::abs(dot(asVector(sample.direction), Vector::zAxis)) < 0.1);
        }
    }
}

TEST_CASE("anLShapedBorderIsWalkedRoundAndItsCornersAreHalved") {
    // Three unit squares; the border runs 0 1 2 4 5 7 6 3, its inner corner is 4.
    //   6---7
    //   |   |
    //   3---4---5
    //   |   |   |
    //   0---1---2
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1, 0, 1, 1, 0, 2, 1, 0, 0, 2, 0, 1, 2, 0},
                        {0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 4, 3, 4, 7, 3, 7, 6});
    CollarOutcome const outcome = collarOf(mesh, {16, false});
    CHECK(outcome.length == 8.0);
    REQUIRE(outcome.samples.size() == 16);
    double const half = std::sqrt(0.5);
    checkNear(outcome.samples[0].outward, Vector(-half, -half, 0.0));
    checkNear(outcome.samples[1].position, Vector(0.5, 0.0, 0.0));
    checkNear(outcome.samples[1].outward, Vector(0.0, -1.0, 0.0));
    checkNear(outcome.samples[2].outward, Vector(0.0, -1.0, 0.0));
    checkNear(outcome.samples[4].outward, Vector(half, -half, 0.0));
    checkNear(outcome.samples[7].outward, Vector(0.0, 1.0, 0.0));
    checkNear(outcome.samples[8].position, Vector(1.0, 1.0, 0.0));
    checkNear(outcome.samples[8].outward, Vector(half, half, 0.0));
    CHECK(outcome.samples[7].edge == std::array<int, 2>{5, 4});
    CHECK(outcome.samples[8].edge == std::array<int, 2>{4, 7});
}

TEST_CASE("collarsFollowTheSizeFromVerySmallToVeryLarge") {
    CompactMesh const cap = support::holed(support::sphere(3), 0.9, 2);
    CollarOutcome const unit = collarOf(cap, {10, true});
    for (double const size : {0x1p-60, 0x1p-10, 0x1p40, 0x1p90}) {
        CAPTURE(size);
        CompactMesh scaled = cap;
        for (int i = 0; i < 3 * scaled.getNumVertices(); ++i)
            scaled.getVerticesRaw()[i] = static_cast<float>(scaled.getVerticesRaw()[i] * size);
        CollarOutcome const found = collarOf(scaled, {10, true});
        REQUIRE(found.samples.size() == 10);
        CHECK(found.length == doctest::Approx(unit.length * size));
        for (std::size_t i = 0; i < 10; ++i) {
            checkNear(found.samples[i].position, size * asVector(unit.samples[i].position),
                      1e-9 * size);
            checkNear(found.samples[i].outward, asVector(unit.samples[i].outward), 1e-9);
            CHECK(found.samples[i].curvature * size ==
                  doctest::Approx(unit.samples[i].curvature).epsilon(1e-6));
        }
    }
}

TEST_CASE("everyBorderOfTheZooIsSampledOrRefusedInWords") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (auto const& hole : unwatched::findHoles(mesh)) {
            CollarOutcome const outcome = trimora::sampleCollar(mesh, hole, {7, false});
            CHECK(outcome.samples.size() == (outcome.refusal.empty() ? 7u : 0u));
            CHECK((hole.fault.empty() || outcome.refusal == hole.fault));
            for (auto const& sample : outcome.samples) {
                double const length = asVector(sample.outward).length();
                CHECK((length == 0.0 || std::abs(length - 1.0) < 1e-9));
            }
        }
    }
}

TEST_CASE("aBorderInOnePlaceIsRefused") {
    CompactMesh const mesh = support::meshOf({1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 2});
    CHECK(collarOf(mesh, {4, false}).refusal.find("no length") != std::string::npos);
}
