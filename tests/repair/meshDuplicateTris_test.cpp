#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/repair/meshDuplicateTris.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numeric>
#include <vector>

using namespace koGeom;
using Ints = std::vector<int>;

namespace {

MeshDuplicateTrisResult found(CompactMesh const& mesh) {
    MeshDuplicateTrisResult result;
    bool const anything = meshDuplicateTris(mesh, result);
    CHECK(anything == static_cast<bool>(result));
    return result;
}

// All triangles by their sorted vertices, then by number; every one that equals the one before.
Ints duplicatesBySorting(CompactMesh const& mesh) {
    std::vector<std::array<int, 4>> keys;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle triangle = mesh.getTriangles()[t];
        std::sort(triangle.vertices, triangle.vertices + 3);
        keys.push_back({triangle[0], triangle[1], triangle[2], t});
    }
    std::sort(keys.begin(), keys.end());
    Ints duplicates;
    for (std::size_t i = 1; i < keys.size(); ++i)
        if (std::equal(keys[i].begin(), keys[i].begin() + 3, keys[i - 1].begin()))
            duplicates.push_back(keys[i][3]);
    return duplicates;
}

}  // namespace

TEST_SUITE("meshDuplicateTris") {

    TEST_CASE("windingAndRotationDoNotMatterAndTheLowestNumberStays") {
        CompactMesh const mesh = support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1},
                                                 {3, 2, 1, 1, 2, 3, 0, 1, 2, 2, 3, 1, 2, 0, 1});
        CHECK(found(mesh).duplicates == Ints{4, 1, 3});
        CHECK(found(mesh).topoDegenerate.empty());
    }

    TEST_CASE("repeatedNumbersAreNotLookedAtForPositions") {
        CompactMesh const mesh = support::meshOf({0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0},
                                                 {0, 0, 1, 0, 1, 2, 2, 3, 3, 3, 3, 3, 0, 2, 3});
        CHECK(found(mesh).topoDegenerate == Ints{0, 2, 3});
        CHECK(found(mesh).geomDegenerate == Ints{1});
        CHECK(found(mesh).duplicates.empty());
    }

    TEST_CASE("positionsAreComparedExactly") {
        float const next = std::nextafter(1.0f, 2.0f);
        float const nan = std::numeric_limits<float>::quiet_NaN();
        CHECK(found(support::meshOf({1, 0, 0, next, 0, 0, 0, 1, 0}, {0, 1, 2}))
                  .geomDegenerate.empty());
        CHECK(found(support::meshOf({1, 0, 0, 1, 0, -0.0f, 0, 1, 0}, {0, 1, 2})).geomDegenerate ==
              Ints{0});
        CHECK(found(support::meshOf({nan, 0, 0, nan, 0, 0, 0, 1, 0}, {0, 1, 2}))
                  .geomDegenerate.empty());
    }

    TEST_CASE("equalDegenerateTrianglesStandInBothLists") {
        CompactMesh const mesh =
            support::meshOf(std::vector<float>(9, 0.0f), {0, 1, 1, 1, 0, 1, 1, 1, 0});
        CHECK(found(mesh).duplicates == Ints{1, 2});
        CHECK(found(mesh).topoDegenerate == Ints{0, 1, 2});
        Ints bad{7};
        found(mesh).getBadTriangles(mesh, bad);
        CHECK(bad == Ints{0, 1, 2});
    }

    TEST_CASE("agreesWithSortingAllTriangles") {
        for (auto const& named : support::zoo()) {
            CAPTURE(named.name);
            CompactMesh const& mesh = named.mesh;
            CHECK(found(mesh).duplicates == duplicatesBySorting(mesh));
        }
        for (std::uint64_t seed = 1; seed <= 50; ++seed) {
            int const size = static_cast<int>(seed);
            CompactMesh const mesh = support::latticeSoup(3 + size / 4, 20 * size, seed);
            CHECK(found(mesh).duplicates == duplicatesBySorting(mesh));
        }
    }

    TEST_CASE("removalLeavesACleanMeshAndSendsOneNotice") {
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            CompactMesh mesh = support::latticeSoup(12, 60, seed);
            MeshAdjTris adj;
            meshAdjTris(mesh, adj);
            Ints bad;
            found(mesh).getBadTriangles(mesh, bad);
            int const numBefore = mesh.getNumTriangles();
            support::ModificationCounter counter(mesh);
            meshRemoveDuplicateTris(mesh, adj);
            CHECK(counter.total() == 1);
            CHECK(mesh.getNumTriangles() == numBefore - static_cast<int>(bad.size()));
            CHECK_FALSE(found(mesh));
            CHECK(support::faultOf(mesh) == "");
        }
    }

    TEST_CASE("cleanMeshKeepsItsSelectionInSilence") {
        for (auto& named : support::manifoldZoo()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            MeshAdjTris adj;
            meshAdjTris(mesh, adj);
            mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
            mesh.getSelectedTriangles().setBit(0);
            MeshDuplicateTrisResult const clean = found(mesh);
            support::ModificationCounter counter(mesh);
            support::DebugCapture capture;
            meshRemoveDuplicateTris(mesh, adj, clean);
            CHECK(capture.text() == "");
            CHECK(counter.total() == 0);
            CHECK(mesh.getSelectedTriangles().count == 1);
            Ints bad{1};
            clean.getBadTriangles(mesh, bad);
            CHECK(bad.empty());
        }
    }

    TEST_CASE("messagesCountTheFinds") {
        CompactMesh mesh =
            support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 2, 1, 0, 0, 0, 1, 0, 0, 1});
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        support::DebugCapture capture;
        meshRemoveDuplicateTris(mesh, adj);
        CHECK(capture.text().starts_with(
            "meshDuplicateTris:  verts(3) tris(4) dup(2) degenerate(2) "));
        CHECK(capture.text().find(
                  "koGeom::meshRemoveDuplicateTris\n           vertices(3) triangles(4)\n") !=
              std::string::npos);
        CHECK(capture.text().find("  selected 3 duplicate/degenerate tris: ") != std::string::npos);
        CHECK(support::trianglesOf(mesh) == Ints{0, 1, 2});
    }
}
