#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/meshMerging.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using koGeom::CompactMesh;
using koGeom::MeshPlacement;
using trimora::MergeOutcome;

namespace {

MeshPlacement placed(CompactMesh const& mesh, float x = 0.0f, float scale = 1.0f) {
    MeshPlacement placement;
    placement.mesh = &mesh;
    for (int const i : {0, 4, 8})
        placement.matrix.m[i] = scale;
    placement.matrix.m[9] = x;
    return placement;
}

MergeOutcome merge(ko::list<MeshPlacement> const& meshes, double tolerance, CompactMesh& result) {
    koUtil::Progress progress;
    return trimora::mergeMeshes(meshes, tolerance, result, progress);
}

}  // namespace

TEST_CASE("placedSheetsAreWeldedAlongTheirCommonEdge") {
    //  (0,1)-----(2,1) (2.01,1)-----(4.01,1)
    CompactMesh const sheet = support::grid(2, 1);
    ko::list<MeshPlacement> const meshes = {placed(sheet), placed(sheet, 2.01f)};
    CHECK(trimora::diagonalOf(meshes) == doctest::Approx(std::hypot(4.01, 1.0)));
    CompactMesh result;
    for (auto const& [tolerance, merged] : {std::pair(0.0, 0), {0.02, 2}, {1e300, 11}}) {
        MergeOutcome const outcome = merge(meshes, tolerance, result);
        CHECK(outcome.refusal.empty());
        CHECK(outcome.verticesMerged == merged);
        CHECK(outcome.degenerateTriangles == (merged == 11 ? 8 : 0));
        CHECK(result.getNumVertices() == 12 - merged);
        CHECK(result.getNumTriangles() == 8);
        CHECK(support::faultOf(result).empty());
    }
}

TEST_CASE("onlyTrianglesThatBecameDegenerateAreCounted") {
    CompactMesh const strip =
        support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1.1f, 0}, {0, 1, 2, 0, 2, 3, 0, 1, 1});
    CompactMesh result;
    CHECK(merge({placed(strip)}, 0.2, result).degenerateTriangles == 1);
    CHECK(merge({placed(strip), placed(strip)}, 0.2, result).degenerateTriangles == 2);
}

TEST_CASE("cornersWithoutAPlaceAreRefused") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh const good = support::grid(1, 1);
    CompactMesh const bad = support::meshOf({0, 0, 0, 1, 0, 0, nan, 1, 0}, {0, 1, 2});
    CompactMesh result = support::grid(3, 3);
    MergeOutcome outcome = merge({placed(good), placed(bad)}, 0.0, result);
    CHECK(outcome.refusal.find("NaN") != std::string::npos);
    CHECK(outcome.isNonfinite);
    CHECK(outcome.mesh == 1);
    outcome = merge({placed(good, 0.0f, 1e30f), placed(good, 3e38f, 3e38f)}, 0.0, result);
    CHECK(outcome.refusal.find("range of floats") != std::string::npos);
    CHECK(!outcome.isNonfinite);
    CHECK(outcome.mesh == 1);
    CHECK(result.getNumTriangles() == 18);

    CompactMesh const unused = support::meshOf({nan, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0}, {1, 2, 3});
    CHECK(merge({placed(unused), placed(good)}, 0.0, result).refusal.empty());
    CHECK(merge({}, 0.0, result).refusal.empty());
    CHECK(result.getNumVertices() == 0);
}
