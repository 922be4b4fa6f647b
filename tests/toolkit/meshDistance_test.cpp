// Distances between meshes: closed forms, brute force, any number of threads.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/plainDistance.h"
#include "toolkit/meshDistance.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using koGeom::CompactMesh;
using trimora::MeshDistance;

namespace {

MeshDistance deviation(CompactMesh const& first, CompactMesh const& second) {
    koUtil::Progress progress;
    return trimora::measureDistance(first, second, progress);
}

double bruteDistance(koLinear::Point const& point, CompactMesh const& mesh) {
    return std::sqrt(support::distance2ToMesh(point, mesh));
}

CompactMesh raised(CompactMesh mesh, float height) {
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].z += height;
    return mesh;
}

}  // namespace

TEST_CASE("parallelSheetsAreTheirDistanceApart") {
    CompactMesh const sheet = support::grid(4, 3);
    MeshDistance const found = deviation(sheet, raised(sheet, 0.25f));
    CHECK(found.diagonal == 5.0);
    for (auto const* side : {&found.fromFirst, &found.fromSecond}) {
        CHECK(side->vertices == 20);
        CHECK(side->largest == 0.25);
        CHECK(side->mean == 0.25);
        CHECK(side->rms == 0.25);
    }
    CHECK(found.relative(0.25) == 0.05);
    CHECK(found.turnedTriangles == 0);
}

TEST_CASE("aMeshIsNoDistanceFromItself") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        CAPTURE_BINDING(name);
        MeshDistance const found = deviation(mesh, mesh);
        CHECK(found.fromFirst.largest == doctest::Approx(0.0).epsilon(1e-6));
        CHECK(found.turnedTriangles == 0);
    }
}

TEST_CASE("distancesAreThoseOfBruteForce") {
    CompactMesh const first = support::terrain(9, 7, 5);
    CompactMesh const second = raised(support::holed(support::terrain(5, 8, 6), 0.7, 1), 0.3f);
    MeshDistance const found = deviation(first, second);
    double largest = 0.0;
    double sum = 0.0;
    for (int v = 0; v < first.getNumVertices(); ++v) {
        double const distance = bruteDistance(first.getVertices()[v].asPoint(), second);
        largest = std::max(largest, distance);
        sum += distance;
    }
    CHECK(found.fromFirst.largest == doctest::Approx(largest));
    CHECK(found.fromFirst.mean == doctest::Approx(sum / first.getNumVertices()));
    CHECK(found.fromFirst.rms >= found.fromFirst.mean);
    auto const& [x, y, z] = found.fromFirst.where;
    CHECK(bruteDistance(koLinear::Point(koLinear::PointFlt(x, y, z)), second) ==
          doctest::Approx(largest));
}

TEST_CASE("turnedTrianglesAreCounted") {
    CompactMesh const sheet = support::grid(6, 6);
    CompactMesh const turned = support::flipped(sheet, 0.3, 4);
    int numTurned = 0;
    for (int t = 0; t < sheet.getNumTriangles(); ++t)
        numTurned += sheet.getTriangles()[t][1] != turned.getTriangles()[t][1] ? 1 : 0;
    REQUIRE(numTurned > 0);
    CHECK(deviation(sheet, turned).turnedTriangles == numTurned);
}

// Once, the one triangle that happened to be found decided, and half of a doubled surface that never moved counted as turned.
TEST_CASE("nothingThatNeverMovedIsTurned") {
    CompactMesh const sheet = support::terrain(6, 6, 3);
    for (CompactMesh const& back :
         {support::flipped(sheet, 1.0, 1), support::flipped(sheet, 0.5, 2)}) {
        CompactMesh const doubled = support::joined(sheet, back, 0.0f);
        CHECK(deviation(doubled, doubled).turnedTriangles == 0);
        CHECK(deviation(doubled, sheet).turnedTriangles == 0);
        CHECK(deviation(doubled, raised(back, 0.01f)).turnedTriangles == 0);
    }
    // A sheet's other side is none of its sides.
    CHECK(deviation(sheet, support::flipped(sheet, 1.0, 1)).turnedTriangles == 72);
}

TEST_CASE("unusedAndInfiniteVerticesAreLeftOut") {
    CompactMesh mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 9, 9, 9, 5, 5, 5}, {0, 1, 2, 0, 1, 4});
    mesh.getVertices()[4].x = std::numeric_limits<float>::quiet_NaN();
    MeshDistance const found = deviation(mesh, support::triangle());
    CHECK(found.fromFirst.vertices == 3);
    CHECK(found.fromFirst.largest == 0.0);
    CHECK(found.diagonal == doctest::Approx(std::sqrt(2.0)));
}

TEST_CASE("withoutTrianglesThereIsNothingToMeasure") {
    CompactMesh const empty;
    CHECK(deviation(empty, support::cube()).fromFirst.vertices == 0);
    CHECK(deviation(empty, support::cube()).fromSecond.vertices == 0);
    CHECK(deviation(support::cube(), empty).fromFirst.vertices == 0);
}

TEST_CASE("deviationDoesNotDependOnThreads") {
    CompactMesh const first = support::terrain(40, 40, 2);
    CompactMesh const second = support::terrain(31, 33, 3);
    MeshDistance const expected = deviation(first, second);
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        MeshDistance const found = deviation(first, second);
        CHECK(found.fromFirst.rms == expected.fromFirst.rms);
        CHECK(found.fromSecond.mean == expected.fromSecond.mean);
        CHECK(found.turnedTriangles == expected.turnedTriangles);
    });
}

TEST_CASE("aCancelledMeasurementSaysSo") {
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::measureDistance(support::sphere(3), support::sphere(2), progress).cancelled);
}
