#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshMakeManifold.h"
#include "trimora/repair/meshManifold.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <map>
#include <vector>

using namespace koGeom;
using Edges = std::vector<std::pair<int, int>>;

namespace {

struct Found {
    Edges edges;
    std::vector<int> vertices;

    bool operator==(Found const&) const = default;
};

Found manifoldFaults(CompactMesh const& mesh) {
    MeshAdjTris adj;
    meshAdjTris(mesh, adj);
    MeshManifoldResult result;
    meshManifold(mesh, adj, result);
    CHECK(result.size == mesh.getNumVertices());
    Found found{result.badEdgeAdj, {}};
    for (int v = 0; v < result.size; ++v)
        if (result.isBitSet(v))
            found.vertices.push_back(v);
    CHECK(result.count == static_cast<int>(found.vertices.size()));
    return found;
}

// A star triangle by its two corners beside the centre.
using Rim = std::array<int, 2>;

std::vector<std::vector<Rim>> stars(CompactMesh const& mesh) {
    std::vector<std::vector<Rim>> rims(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int const centre : corners.vertices) {
            int const k = corners[0] == centre ? 0 : corners[1] == centre ? 1 : 2;
            rims[static_cast<std::size_t>(centre)].push_back(
                {corners[(k + 1) % 3], corners[(k + 2) % 3]});
        }
    }
    return rims;
}

bool meet(Rim const& a, Rim const& b) {
    return a[0] == b[0] || a[0] == b[1] || a[1] == b[0] || a[1] == b[1];
}

// Fan numbers, one triangle after the other: each takes the number of the first one it meets and
// merges at most one more fan.
std::vector<int> fansOneByOne(std::vector<Rim> const& star) {
    std::vector<int> labels;
    int numFans = 0;
    for (std::size_t i = 0; i < star.size(); ++i) {
        std::size_t j = 0;
        while (j < i && !meet(star[i], star[j]))
            ++j;
        if (j == i) {
            labels.push_back(numFans++);
            continue;
        }
        int const label = labels[j];
        labels.push_back(label);
        for (++j; j < i; ++j) {
            int const merged = labels[j];
            if (merged == label || !meet(star[i], star[j]))
                continue;
            for (int& other : labels) {
                other = other == std::max(label, merged) ? std::min(label, merged) : other;
                other -= other > std::max(label, merged);
            }
            --numFans;
            break;
        }
    }
    return labels;
}

Found faultsByCounting(CompactMesh const& mesh) {
    Found found;
    auto const allStars = stars(mesh);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        std::map<int, int> spokes;
        for (Rim const& rim : allStars[static_cast<std::size_t>(v)]) {
            ++spokes[rim[0]];
            ++spokes[rim[1]];
        }
        for (auto const& [rim, count] : spokes)
            if (count > 2)
                found.edges.push_back(std::minmax(v, rim));
    }
    std::sort(found.edges.begin(), found.edges.end());
    found.edges.erase(std::unique(found.edges.begin(), found.edges.end()), found.edges.end());
    for (int v = 0; found.edges.empty() && v < mesh.getNumVertices(); ++v) {
        std::vector<int> const fans = fansOneByOne(allStars[static_cast<std::size_t>(v)]);
        if (std::count(fans.begin(), fans.end(), 0) < static_cast<int>(fans.size()))
            found.vertices.push_back(v);
    }
    return found;
}

std::vector<support::NamedMesh> zooAndSoups() {
    std::vector<support::NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        int const numVertices = 6 + static_cast<int>(seed) * 3;
        meshes.push_back({"soup " + std::to_string(seed),
                          support::latticeSoup(numVertices, 10 + static_cast<int>(seed), seed)});
    }
    return meshes;
}

// n triangles round vertex 0, closed.
CompactMesh hub(int n) {
    std::vector<float> coordinates(static_cast<std::size_t>(3 * (n + 1)), 0.0f);
    std::vector<int> triangles;
    for (int i = 0; i < n; ++i)
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % n});
    return support::meshOf(coordinates, triangles);
}

}  // namespace

TEST_SUITE("meshManifold") {

    //   1 ---- 2      three triangles on the edge (0, 1), wound as they like
    //   |\   .
    //   | \ 4
    //   3 -0
    TEST_CASE("edgeOfThreeTrianglesIsReportedOnceAndHidesBadVertices") {
        CHECK(manifoldFaults(support::threeOnAnEdge()) == Found{{{0, 1}}, {}});
        CHECK(manifoldFaults(support::joined(support::bowTie(), support::threeOnAnEdge())) ==
              Found{{{7, 8}}, {}});
    }

    TEST_CASE("bowTieHasOneBadVertexAndSplitsAtTheEndOfTheArray") {
        CompactMesh mesh = support::bowTie();
        mesh.getVertices()[0].set(0.5f, 0.25f, 0.125f);
        CHECK(manifoldFaults(mesh) == Found{{}, {0}});

        support::ModificationCounter counter(mesh);
        meshMakeManifold(mesh);
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);
        CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3,
                                                             7, 4, 5, 7, 6, 4, 4, 6, 5, 5, 6, 7});
        REQUIRE(mesh.getNumVertices() == 8);
        CHECK(mesh.getVertices()[7].asPoint() == Point(0.5, 0.25, 0.125));
        CHECK(manifoldFaults(mesh) == Found{});
    }

    //    2 --- 1           triangles A (0, 1, 2), B (3, 4, 0), C (5, 6, 0), D (2, 3, 0): A and B start
    //   / D \ A            as fans of their own until D joins them, so C's fan has the number 1
    //  3 --- 0 --- 6
    //   \ B / \ C /
    //    4     5
    TEST_CASE("fansAreNumberedByTheirFirstTriangles") {
        std::vector<float> const coordinates(21, 0.0f);
        CompactMesh mesh = support::meshOf(coordinates, {0, 1, 2, 3, 4, 0, 5, 6, 0, 2, 3, 0});
        meshMakeManifold(mesh);
        CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 1, 2, 3, 4, 0, 5, 6, 7, 2, 3, 0});

        CompactMesh three = support::meshOf(coordinates, {5, 6, 0, 1, 2, 0, 3, 0, 4});
        meshMakeManifold(three);
        CHECK(support::trianglesOf(three) == std::vector<int>{5, 6, 0, 1, 2, 7, 3, 8, 4});
    }

    //        4         the third vertices of the fins on (0, 1), 2 to 5, have 2, 3, 1 and 2 triangles:
    //        |         the second fin stays and, of the equal ones, the later one
    //    2 - 0,1 - 3
    //        |
    //        5
    TEST_CASE("bestConnectedTrianglesStayOnAnEdge") {
        CompactMesh mesh =
            support::meshOf(std::vector<float>(36, 0.0f), {0, 1, 2, 0, 1, 3, 0, 1, 4,  0, 1,  5,
                                                           2, 6, 7, 3, 8, 9, 3, 9, 10, 5, 10, 11});
        CHECK(manifoldFaults(mesh).edges == Edges{{0, 1}});
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        MeshManifoldResult result;
        meshManifold(mesh, adj, result);
        support::ModificationCounter counter(mesh);
        meshMakeManifold(mesh, adj, result);
        CHECK(counter.total() == 1);
        // Vertex 4 went with the third fin; the first fin's vertex 2 is used elsewhere.
        CHECK(support::trianglesOf(mesh) ==
              std::vector<int>{0, 1, 3, 0, 1, 4, 2, 5, 6, 3, 7, 8, 3, 8, 9, 4, 9, 10});
        CHECK(mesh.getNumVertices() == 11);
    }

    TEST_CASE("agreesWithCountingOverTheZooAndSoups") {
        for (auto const& named : zooAndSoups()) {
            CAPTURE(named.name);
            CompactMesh const& mesh = named.mesh;
            CHECK(manifoldFaults(mesh) == faultsByCounting(mesh));
        }
    }

    TEST_CASE("nothingNonManifoldIsLeftOnceBadTrianglesAreGone") {
        for (auto& named : zooAndSoups()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            MeshAdjTris adj;
            meshAdjTris(mesh, adj);
            MeshDuplicateTrisResult bad;
            meshDuplicateTris(mesh, bad);
            bad.geomDegenerate.clear();
            meshRemoveDuplicateTris(mesh, adj, bad);
            int const numBefore = mesh.getNumTriangles();
            bool const hadBadEdges = !faultsByCounting(mesh).edges.empty();
            meshMakeManifold(mesh);
            CHECK(support::faultOf(mesh) == "");
            CHECK(faultsByCounting(mesh) == Found{});
            CHECK((mesh.getNumTriangles() == numBefore) == !hadBadEdges);
        }
    }

    TEST_CASE("manifoldMeshesAreLeftAloneWithoutANotice") {
        for (auto& named : support::manifoldZoo()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            std::vector<int> const before = support::trianglesOf(mesh);
            support::ModificationCounter counter(mesh);
            meshMakeManifold(mesh);
            CHECK(counter.total() == 0);
            CHECK(support::trianglesOf(mesh) == before);
        }
    }

    TEST_CASE("resultIsReplacedAndMessageIsFixed") {
        CompactMesh const mesh = support::bowTie();
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        MeshManifoldResult result;
        result.resize(90);
        result.setBit(80);
        result.badEdgeAdj.push_back({3, 4});
        support::DebugCapture capture;
        meshManifold(mesh, adj, result);
        CHECK(result.count == 1);
        CHECK(result.badEdgeAdj.empty());
        CHECK(capture.text().starts_with("meshManifold:  vertices 7  triangles 8: "));
        CHECK(capture.text().ends_with(" s\n               badVertexAdj(1) badEdgeAdj(0)\n"));
    }

    // (0, 1, 1) beside (0, 1, 2): its edge counts as overused, since it runs it twice, but around 0 there
    // are only two triangles and nothing to delete. The rounds must end all the same.
    TEST_CASE("trianglesWithARepeatedVertexDoNotLoop") {
        for (std::vector<int> const& triangles : {std::vector<int>{0, 1, 1, 0, 1, 2},
                                                  {1, 0, 0, 0, 1, 2},
                                                  {0, 0, 0},
                                                  {0, 0, 1, 1, 1, 0, 0, 1, 2}}) {
            CompactMesh mesh = support::meshOf(std::vector<float>(9, 0.0f), triangles);
            meshMakeManifold(mesh);
            CHECK(support::faultOf(mesh) == "");
        }
    }

    TEST_CASE("aHubCostsNoMoreThanItsTriangles") {
        CompactMesh mesh = hub(200000);
        CHECK(manifoldFaults(mesh) == Found{});
        // A second and a third sheet over the same rim: 200000 bad spokes on one vertex.
        std::vector<int> sheets = support::trianglesOf(mesh);
        for (int copy = 0; copy < 2; ++copy)
            for (int i = 0; i < 3 * 200000; ++i)
                sheets.push_back(sheets[static_cast<std::size_t>(i)]);
        mesh.copyTriangles(600000, sheets.data());
        CHECK(manifoldFaults(mesh).edges.size() == 400000);
        meshMakeManifold(mesh);
        CHECK(manifoldFaults(mesh) == Found{});
    }
}
