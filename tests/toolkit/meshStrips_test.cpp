#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "toolkit/meshStrips.h"
#include "unwatched.h"

#include <algorithm>
#include <array>
#include <climits>
#include <doctest/doctest.h>
#include <optional>
#include <vector>

using koGeom::CompactMesh;
using trimora::StripOptions;
using trimora::StripOutcome;

namespace {

using Ints = std::vector<int>;

Ints points(CompactMesh const& mesh) {
    return {mesh.triStrips.points.begin(), mesh.triStrips.points.end()};
}

using Triangle = std::array<std::array<float, 3>, 3>;

/// All triangles by their corners' positions, turned so that it is least, sorted.
std::vector<Triangle> surfaceOf(CompactMesh const& mesh) {
    std::vector<Triangle> all;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Triangle triangle{};
        for (std::size_t corner = 0; corner < 3; ++corner)
            std::copy_n(mesh.getVerticesRaw() + 3 * mesh.getTriangles()[t].vertices[corner], 3,
                        triangle[corner].begin());
        Triangle turned = triangle;
        for (int turn = 0; turn < 2; ++turn) {
            std::rotate(turned.begin(), turned.begin() + 1, turned.end());
            triangle = std::min(triangle, turned);
        }
        all.push_back(triangle);
    }
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace

//  3 ---- 4 ---- 5     strips 1 4 0 3 and 2 5 1 4
//  |  /   |  /   |
//  0 ---- 1 ---- 2
TEST_CASE("verticesAndTrianglesFollowTheStrips") {
    CompactMesh const sheet = support::grid(2, 1);
    CompactMesh result;
    StripOutcome outcome = unwatched::makeStrips(sheet, {100, false, {}}, result);
    CHECK(outcome.strips == 2);
    CHECK(outcome.joinedStrips == 0);
    CHECK(outcome.points == 8);
    CHECK(outcome.longest == 4);
    CHECK(outcome.compactness == 1.5);
    CHECK(!outcome.vertexIncrease);
    CHECK((points(result) == Ints{0, 1, 2, 3, 4, 5, 0, 1}));
    CHECK((support::trianglesOf(result) == Ints{0, 1, 2, 2, 1, 3, 4, 5, 0, 0, 5, 1}));
    CHECK((support::coordinatesOf(result) ==
           std::vector<float>{1, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0}));

    outcome = unwatched::makeStrips(sheet, {100, true, {}}, result);  // 1 4 0 3 3 2 2 5 1 4
    CHECK(outcome.strips == 1);
    CHECK(outcome.joinedStrips == 2);
    CHECK(outcome.points == 10);
    CHECK(outcome.longest == 4);
    CHECK((points(result) == Ints{0, 1, 2, 3, 3, 4, 4, 5, 0, 1}));
    CHECK((support::trianglesOf(result) == Ints{0, 1, 2, 2, 1, 3, 4, 5, 0, 0, 5, 1}));
}

// A cache of 3: 1, 4, 0 are in it when 3 comes, which is never looked at; 3 again is a copy, and 1 and 4 at the end.
TEST_CASE("verticesThatLeftTheCacheAreCopied") {
    CompactMesh result;
    StripOutcome const outcome = unwatched::makeStrips(support::grid(2, 1), {100, true, 3}, result);
    CHECK(outcome.vertexIncrease == 1.5);
    CHECK(outcome.vertices == 6);
    CHECK((points(result) == Ints{0, 1, 2, 3, 4, 5, 5, 6, 7, 8}));
    CHECK((support::trianglesOf(result) == Ints{0, 1, 2, 2, 1, 3, 5, 6, 7, 7, 6, 8}));
    CHECK(result.getNumVertices() == 9);
}

TEST_CASE("theSurfaceStaysTheSame") {
    for (auto const& [name, mesh] : support::zoo()) {
        if (mesh.getNumTriangles() == 0)
            continue;
        CAPTURE_BINDING(name);
        for (int const maxLength : {3, 4, 5, 17, INT_MAX})
            for (bool const isSingle : {false, true})
                for (std::optional<int> const cache :
                     {std::optional<int>(), std::optional(0), std::optional(1), std::optional(24),
                      std::optional(INT_MAX)}) {
                    CompactMesh result = support::cube();
                    StripOutcome const outcome =
                        unwatched::makeStrips(mesh, {maxLength, isSingle, cache}, result);
                    CHECK(outcome.refusal.empty());
                    CHECK(support::faultOf(result).empty());
                    CHECK((surfaceOf(result) == surfaceOf(mesh)));
                    CHECK(outcome.points == result.getNumTriStripPoints());
                    CHECK(outcome.vertices + outcome.unusedVertices == mesh.getNumVertices());
                    CHECK(outcome.vertexIncrease.value_or(1.0) * outcome.vertices ==
                          doctest::Approx(result.getNumVertices()));
                    if (cache == 0)
                        CHECK(result.getNumVertices() == outcome.points);
                    CHECK((outcome.strips == 1 || !isSingle));
                }
    }
}

TEST_CASE("setsTravelWithTheirVertices") {
    CompactMesh mesh = support::shuffled(support::sphere(3), 2);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        mesh.getNormals()[v].x = mesh.getVertices()[v].x;
        mesh.getUVs()[v].u = mesh.getVertices()[v].y;
    }
    for (std::optional<int> const cache : {std::optional<int>(), std::optional(16)}) {
        CompactMesh result;
        StripOutcome const outcome = unwatched::makeStrips(mesh, {1000, true, cache}, result);
        CHECK(outcome.compactness > 0.5);
        REQUIRE(result.getNormals() != nullptr);
        REQUIRE(result.getUVs() != nullptr);
        for (int v = 0; v < result.getNumVertices(); ++v) {
            CHECK(result.getNormals()[v].x == result.getVertices()[v].x);
            CHECK(result.getUVs()[v].u == result.getVertices()[v].y);
        }
    }
}

TEST_CASE("stripsThatMakeNoSenseAreRefused") {
    CompactMesh result = support::cube();
    CompactMesh const mesh = support::grid(1, 1);
    CHECK(
        unwatched::makeStrips(CompactMesh(), {9, false, {}}, result).refusal.find("no triangles") !=
        std::string::npos);
    for (int const length : {2, 0, INT_MIN})
        CHECK(unwatched::makeStrips(mesh, {length, false, {}}, result).refusal.find("3 points") !=
              std::string::npos);
    CHECK(unwatched::makeStrips(mesh, {9, true, -1}, result).refusal.find("not -1") !=
          std::string::npos);
    CHECK(result.getNumTriangles() == 12);
}
