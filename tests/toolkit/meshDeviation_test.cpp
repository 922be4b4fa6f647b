// Signed distances to a reference: closed forms, matrices, selections, statistics by hand; values in files.

#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/plainDistance.h"
#include "toolkit/elementSelection.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/vertexValues.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <fstream>
#include <limits>
#include <sstream>

using koGeom::CompactMesh;
using trimora::DeviationOptions;
using trimora::DeviationOutcome;
using trimora::DeviationStatistics;

namespace {

constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

DeviationOutcome deviation(CompactMesh const& mesh, CompactMesh const& reference,
                           DeviationOptions const& options = {}) {
    koUtil::Progress progress;
    return trimora::measureDeviation(mesh, reference, options, progress);
}

CompactMesh scaled(CompactMesh mesh, double size) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = static_cast<float>(mesh.getVerticesRaw()[i] * size);
    return mesh;
}

std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

TEST_CASE("spheresAreTheDifferenceOfTheirRadiiApart") {
    CompactMesh const reference = support::sphere(5);
    for (double const radius : {0.9, 1.25}) {
        CAPTURE(radius);
        DeviationOutcome const outcome = deviation(scaled(support::sphere(3), radius), reference);
        REQUIRE(outcome.refusal.empty());
        CHECK(outcome.computedNormals);
        CHECK(outcome.statistics.measured == static_cast<int>(outcome.values.size()));
        // The reference's faces lie inside its sphere by their sagitta.
        for (float const value : outcome.values)
            CHECK(double{value} == doctest::Approx(radius - 1.0).epsilon(0.02));
        CHECK(outcome.statistics.minimum > radius - 1.0 - 1e-6);
        CHECK(outcome.statistics.maximum < radius - 1.0 + 2e-3);
    }
}

TEST_CASE("theSignTellsTheSideAndFlipTurnsItRound") {
    CompactMesh const floor = support::grid(4, 4);
    CompactMesh const waves = support::terrain(4, 4, 3);
    DeviationOptions flipping;
    flipping.flip = true;
    auto const values = deviation(waves, floor).values;
    auto const flipped = deviation(waves, floor, flipping).values;
    for (int v = 0; v < waves.getNumVertices(); ++v) {
        auto const p = waves.getVertices()[v].asPoint();
        float const value = values[static_cast<std::size_t>(v)];
        CHECK(std::abs(double{value}) ==
              doctest::Approx(std::sqrt(support::distance2ToMesh(p, floor))).epsilon(1e-6));
        CHECK((value > 0.0f) == (p.z > 0.0));
        CHECK(flipped[static_cast<std::size_t>(v)] == -value);
    }
}

TEST_CASE("normalsOfTheFileDecideAndAreKept") {
    CompactMesh mesh = support::grid(1, 1);
    mesh.getVertices()[0].z = 0.5f;
    mesh.allocNormalArray();
    for (int v = 0; v < 4; ++v)
        mesh.getNormals()[v] = koGeom::MeshNormal{0.0f, 0.0f, -1.0f};
    DeviationOutcome const outcome = deviation(mesh, support::grid(1, 1));
    CHECK(!outcome.computedNormals);
    CHECK(outcome.values[0] == -0.5f);
    CHECK(mesh.getNormals()[0].z == -1.0f);
}

TEST_CASE("verticesWithoutASurfaceCountAsAbove") {
    CompactMesh mesh = support::meshOf({0, 0, -1, 1, 0, -1, 0, 1, -1, 0.5f, 0.5f, -2}, {0, 1, 2});
    CHECK(deviation(mesh, support::grid(1, 1)).values == std::vector<float>{-1, -1, -1, 2});
    CompactMesh const cloud = support::meshOf({0, 0, -1, 1, 1, 3}, {});
    DeviationOutcome const outcome = deviation(cloud, support::grid(1, 1));
    CHECK(outcome.values == std::vector<float>{1, 3});
    CHECK(!outcome.computedNormals);
}

TEST_CASE("matricesPlaceBothAndDistancesAreThoseOfTheWorld") {
    CompactMesh const floor = support::grid(2, 2);
    DeviationOptions options;
    options.matrix.setFrame({10.0, 0.0, 7.0}, {3.0, 0.0, 0.0}, {0.0, 3.0, 0.0}, {0.0, 0.0, 3.0});
    options.referenceMatrix.setFrame({8.0, -2.0, 5.0}, {5.0, 0.0, 0.0}, {0.0, 5.0, 0.0},
                                     {0.0, 0.0, 5.0});
    for (float const value : deviation(floor, floor, options).values)
        CHECK(double{value} == doctest::Approx(2.0));
    options.matrix.setFrame({10.0, 0.0, 7.0}, {0.0, 3.0, 0.0}, {3.0, 0.0, 0.0}, {0.0, 0.0, -3.0});
    for (float const value : deviation(floor, floor, options).values)
        CHECK(double{value} == doctest::Approx(-2.0));  // turned over
}

TEST_CASE("sizesFromVerySmallToVeryLargeAreMeasuredAlike") {
    CompactMesh const sphere = support::sphere(2);
    CompactMesh const finer = support::sphere(4);
    auto const unit = deviation(sphere, finer).statistics;
    for (double const size : {1e-20, 1e-5, 1e12, 1e25}) {
        CAPTURE(size);
        auto const found = deviation(scaled(sphere, size), scaled(finer, size)).statistics;
        CHECK(found.measured == unit.measured);
        CHECK(found.maximum == doctest::Approx(unit.maximum * size).epsilon(1e-3));
    }
    // One vertex far away leaves the others alone, and so does one of the reference that no triangle uses.
    CompactMesh far = scaled(support::grid(2, 2), 1.0);
    far.getVertices()[0].z = 0.25f;
    far.resizeVertexArray(10);
    far.getVertices()[9] = {0.0f, 0.0f, 1e20f};
    CompactMesh floor = support::grid(2, 2);
    floor.resizeVertexArray(10);
    floor.getVertices()[9] = {1e30f, 0.0f, 0.0f};
    auto const values = deviation(far, floor).values;
    CHECK(values[0] == 0.25f);
    CHECK(values[9] == doctest::Approx(1e20f));
}

TEST_CASE("whatIsNotSelectedOrNotFiniteHasNoValue") {
    CompactMesh mesh = support::grid(2, 1);
    mesh.getVertices()[1].x = infinite;
    DeviationOptions options;
    options.selected.emplace();
    REQUIRE(trimora::readVertexSelectionText("1 3-4\n", "list", 6, *options.selected));
    DeviationOutcome const outcome = deviation(mesh, support::grid(2, 1), options);
    CHECK(outcome.selected == 3);
    CHECK(outcome.statistics.measured == 2);
    for (std::size_t v = 0; v < 6; ++v)
        CHECK(std::isnan(outcome.values[v]) == (v != 3 && v != 4));

    koGeom::BitVector selection;
    for (char const* const text : {"6", "-1", "1-", "x", "4-2", "", "# nothing"}) {
        CAPTURE(text);
        auto const wrong = trimora::readVertexSelectionText(text, "list", 6, selection);
        CHECK(!wrong);
        CHECK(wrong.message.find("vertex") != std::string::npos);
    }
}

TEST_CASE("referencesThatCannotBeMeasuredToAreRefused") {
    CompactMesh const cube = support::cube();
    CHECK(deviation(cube, CompactMesh()).refusal.find("no triangles") != std::string::npos);
    CompactMesh bad = cube;
    bad.getVertices()[2].z = notANumber;
    CHECK(deviation(cube, bad).isNonfinite);
    DeviationOptions options;
    options.referenceMatrix = koGeom::AffineMatrix(0.0);
    CHECK(deviation(cube, cube, options).refusal.find("flattens") != std::string::npos);
    CHECK(deviation(CompactMesh(), cube).statistics.measured == 0);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::measureDeviation(cube, cube, {}, progress).cancelled);
}

TEST_CASE("signedDeviationsDoNotDependOnThreads") {
    CompactMesh const mesh = support::terrain(40, 40, 2);
    CompactMesh const reference = support::terrain(31, 33, 3);
    auto const expected = deviation(mesh, reference);
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        auto const found = deviation(mesh, reference);
        CHECK(found.values == expected.values);
        CHECK(found.statistics.rms == expected.statistics.rms);
    });
}

TEST_CASE("statisticsAreWhatOneWorksOutByHand") {
    DeviationStatistics const s =
        trimora::deviationStatistics({3, notANumber, -1, 0.5f, infinite, 3, -0.5f});
    CHECK(s.measured == 5);
    CHECK(s.minimum == -1.0);
    CHECK(s.lowest == 2);
    CHECK(s.maximum == 3.0);
    CHECK(s.highest == 0);
    CHECK(s.mean == 1.0);
    CHECK(s.meanAbsolute == doctest::Approx(1.6));
    CHECK(s.rms == doctest::Approx(std::sqrt(3.9)));
    REQUIRE(s.percentiles.size() == 7);
    CHECK(s.percentiles[0].value == -1.0);  // 1 %: the first of five
    CHECK(s.percentiles[2].value == -0.5);  // 25 %: the second
    CHECK(s.percentiles[3].percent == 50.0);
    CHECK(s.percentiles[3].value == 0.5);
    CHECK(s.percentiles[3].absolute == 1.0);
    CHECK(s.percentiles[6].value == 3.0);

    // 4 wide, 20 bins at most from end to end: 0.2 each, from -1 to 3.2.
    REQUIRE(s.histogram.size() == 21);
    CHECK(s.histogram.front().low == -1.0);
    CHECK(s.histogram[5].low == 0.0);
    CHECK(s.histogram[6].high == 0.4);
    CHECK(s.histogram.back().vertices == 2);
    CHECK(trimora::deviationStatistics({}).measured == 0);
    CHECK(trimora::deviationStatistics({}).histogram.empty());
    auto const alike = trimora::deviationStatistics({0.25f, 0.25f}).histogram;
    REQUIRE(alike.size() == 1);
    CHECK(alike[0].low == 0.25);
    CHECK(alike[0].high == 0.25);
    CHECK(alike[0].vertices == 2);
}

TEST_CASE("eachValueIsInTheBinThatHoldsIt") {
    support::Random random(7);
    for (double const size : {1e-44, 1e-30, 1e-3, 1.0, 7e4, 3e38}) {
        for (double const middle : {0.0, 0.4, -1.0}) {
            CAPTURE(size);
            CAPTURE(middle);
            std::vector<float> values;
            for (int i = 0; i < 200; ++i)
                values.push_back(static_cast<float>(size * (middle + random.real(-0.5, 0.5)) / 2));
            auto const bins = trimora::deviationStatistics(values).histogram;
            CHECK(bins.size() <= 21);
            std::size_t counted = 0;
            for (auto const& bin : bins) {
                auto const inside = std::count_if(values.begin(), values.end(), [&](float value) {
                    return value >= bin.low && value < bin.high;
                });
                if (bin.low < bin.high)
                    CHECK(inside == bin.vertices);
                CHECK((bin.low >= 0.0 || bin.high <= 0.0));
                counted += static_cast<std::size_t>(bin.vertices);
            }
            CHECK(counted == values.size());
        }
    }
}

TEST_CASE("valuesAreWrittenAsTextOrATable") {
    support::TemporaryFolder const folder;
    CompactMesh const mesh = support::meshOf({0, 0.1f, -2, 1e-20f, 3, 4}, {});
    std::vector<float> const values = {-notANumber, 0.25f};
    REQUIRE(trimora::writeVertexValues(folder.path("a.txt"), mesh, "height", values));
    CHECK(contentOf(folder.path("a.txt")) == "0 0.1 -2 nan\n1e-20 3 4 0.25\n");
    REQUIRE(trimora::writeVertexValues(folder.path("a.CSV"), mesh, "height", values));
    CHECK(contentOf(folder.path("a.CSV")) == "x,y,z,height\n0,0.1,-2,nan\n1e-20,3,4,0.25\n");
    for (char const* const name : {"a.obj", "a", ".txt", "a.txt.", "a.ply"}) {
        CAPTURE(name);
        auto const refused = trimora::writeVertexValues(name, mesh, "height", values);
        CHECK(!refused);
        CHECK(refused.message.find(".csv") != std::string::npos);
    }
}
