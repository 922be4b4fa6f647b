#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/repair/MeshOrient.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

using Triangle = std::array<int, 3>;

std::vector<Triangle> triplesOf(CompactMesh const& mesh) {
    std::vector<int> const flat = support::trianglesOf(mesh);
    std::vector<Triangle> triples;
    for (std::size_t i = 0; i < flat.size(); i += 3)
        triples.push_back({flat[i], flat[i + 1], flat[i + 2]});
    return triples;
}

bool runs(Triangle const& t, int a, int b) {
    return (t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b);
}

// The flood over all triangles in ascending order, each as often as it names the edge's start.
struct PlainOrientation {
    std::vector<Triangle> triangles;
    std::vector<char> visited;
    int problem = -1;
    bool turned = false;

    bool flood(int start) {
        std::vector<int> queue{start};
        visited[static_cast<std::size_t>(start)] = 1;
        for (std::size_t head = 0; head < queue.size(); ++head) {
            Triangle const t = triangles[static_cast<std::size_t>(queue[head])];
            for (std::size_t k = 0; k < 3; ++k)
                for (std::size_t j = 0; j < triangles.size(); ++j) {
                    auto const times = std::count(triangles[j].begin(), triangles[j].end(), t[k]);
                    for (int i = 0; i < times; ++i)
                        if (static_cast<int>(j) != queue[head] &&
                            !visit(static_cast<int>(j), t[k], t[(k + 1) % 3], queue))
                            return false;
                }
        }
        return true;
    }

    bool visit(int j, int a, int b, std::vector<int>& queue) {
        Triangle& other = triangles[static_cast<std::size_t>(j)];
        char& mark = visited[static_cast<std::size_t>(j)];
        bool const conflict = runs(other, a, b);
        if (!conflict && !runs(other, b, a))
            return true;
        if (conflict && mark != 0) {
            problem = j;
            return false;
        }
        if (conflict) {
            std::swap(other[1], other[2]);
            turned = true;
        }
        if (mark == 0)
            queue.push_back(j);
        mark = 1;
        return true;
    }

    bool orient() {
        visited.assign(triangles.size(), 0);
        for (std::size_t t = 0; t < triangles.size(); ++t) {
            if (visited[t] != 0 || flood(static_cast<int>(t)))
                continue;
            visited.assign(triangles.size(), 0);
            flood(problem);
            return false;
        }
        return true;
    }

    bool isOriented() const {
        for (std::size_t i = 0; i < triangles.size(); ++i)
            for (std::size_t j = 0; j < triangles.size(); ++j)
                for (std::size_t k = 0; k < 3; ++k)
                    if (i != j && runs(triangles[j], triangles[i][k], triangles[i][(k + 1) % 3]))
                        return false;
        return true;
    }
};

std::vector<support::NamedMesh> zooAndSoups() {
    std::vector<support::NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        int const size = static_cast<int>(seed);
        meshes.push_back(
            {"soup " + std::to_string(seed), support::latticeSoup(5 + 3 * size, 4 + size, seed)});
        meshes.push_back(
            {"sphere " + std::to_string(seed),
             support::shuffled(support::flipped(support::sphere(1), 0.5, seed), seed)});
    }
    meshes.push_back(
        {"turned strip", support::shuffled(support::flipped(support::moebius(12), 0.5, 3), 5)});
    meshes.push_back(
        {"strip and ball",
         support::joined(support::flipped(support::sphere(1), 0.3, 2), support::moebius(8))});
    return meshes;
}

}  // namespace

TEST_SUITE("MeshOrient") {

    //  2 --- 3     the second triangle runs the diagonal from 3 to 0, as the first one does: its last
    //  |  /  |     two corners change places
    //  0 --- 1
    TEST_CASE("neighbourIsTurnedToAgreeWithTheLowestTriangle") {
        CompactMesh mesh =
            support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {3, 0, 1, 0, 2, 3});
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        support::ModificationCounter counter(mesh);
        MeshOrient orient(mesh, adj);
        CHECK_FALSE(orient.isOriented());
        CHECK_FALSE(orient.isOrientable());
        CHECK(counter.total() == 0);
        orient.orient();
        CHECK(orient.isOriented());
        CHECK(orient.isOrientable());
        CHECK(support::trianglesOf(mesh) == std::vector<int>{3, 0, 1, 0, 3, 2});
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);

        orient.orient();
        CHECK(counter.total() == 1);
        CHECK(meshOriented(mesh, adj));
    }

    TEST_CASE("uvsSurviveAndNormalsGo") {
        CompactMesh mesh = support::flipped(support::sphere(1), 0.5, 9);
        mesh.allocNormalArray();
        mesh.allocUVArray();
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        CHECK(meshMakeOriented(mesh, adj));
        CHECK(mesh.getUVs() != nullptr);
        CHECK(mesh.getNormals() == nullptr);
    }

    TEST_CASE("componentsAreOrientedEachByItself") {
        CompactMesh mesh =
            support::joined(support::cube(), support::flipped(support::cube(), 1.0, 1), 3.0f);
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        support::ModificationCounter counter(mesh);
        CHECK(meshOriented(mesh, adj));
        CHECK(meshMakeOriented(mesh, adj));
        CHECK(counter.total() == 0);
    }

    TEST_CASE("moebiusStripStaysUnorientedAndIsAffected") {
        CompactMesh mesh =
            support::joined(support::flipped(support::sphere(1), 0.4, 3), support::moebius(9));
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        support::ModificationCounter counter(mesh);
        MeshOrient orient(mesh, adj);
        orient.orient();
        CHECK_FALSE(orient.isOriented());
        CHECK_FALSE(orient.isOrientable());
        CHECK(counter.total() == 1);
        BitVector const& affected = orient.getAffectedTriangles();
        CHECK(affected.size == mesh.getNumTriangles());
        CHECK(affected.count > 0);
        for (int t = 0; t < 32; ++t)
            CHECK_FALSE(affected.isBitSet(t));
        // The ball before the strip was turned all the same.
        std::vector<Triangle> const all = triplesOf(mesh);
        CHECK(PlainOrientation{{all.begin(), all.begin() + 32}, {}}.isOriented());
    }

    TEST_CASE("agreesWithThePlainFlood") {
        for (auto& named : zooAndSoups()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            MeshAdjTris adj;
            meshAdjTris(mesh, adj);
            PlainOrientation plain{triplesOf(mesh), {}};
            bool const wasOriented = plain.isOriented();
            CHECK(meshOriented(mesh, adj) == wasOriented);
            if (wasOriented)
                continue;
            support::ModificationCounter counter(mesh);
            MeshOrient orient(mesh, adj);
            orient.orient();
            CHECK(orient.isOriented() == plain.orient());
            CHECK(triplesOf(mesh) == plain.triangles);
            CHECK(counter.total() == (plain.turned ? 1 : 0));
            for (int t = 0; t < mesh.getNumTriangles(); ++t)
                CHECK((orient.getAffectedTriangles().isBitSet(t) != 0) ==
                      (plain.visited[static_cast<std::size_t>(t)] != 0));
        }
    }

    TEST_CASE("turningExchangesTheLastTwoCornersAndNothingElse") {
        CompactMesh mesh = support::shuffled(support::flipped(support::torus(12, 8), 0.5, 4), 8);
        std::vector<Triangle> const before = triplesOf(mesh);
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        CHECK(meshMakeOriented(mesh, adj));
        std::vector<Triangle> const after = triplesOf(mesh);
        CHECK(after[0] == before[0]);
        for (std::size_t t = 0; t < before.size(); ++t)
            CHECK((after[t] == before[t] ||
                   after[t] == Triangle{before[t][0], before[t][2], before[t][1]}));
        CHECK(PlainOrientation{after, {}}.isOriented());
    }

    TEST_CASE("aHubCostsNoMoreThanItsTriangles") {
        int const n = 200000;
        std::vector<int> triangles;
        for (int i = 0; i < n; ++i) {
            int const next = 1 + (i + 1) % n;
            triangles.insert(triangles.end(),
                             {0, i % 3 == 1 ? next : 1 + i, i % 3 == 1 ? 1 + i : next});
        }
        CompactMesh mesh = support::meshOf(
            std::vector<float>(static_cast<std::size_t>(3 * (n + 1)), 0.0f), triangles);
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        CHECK(meshMakeOriented(mesh, adj));
        CHECK(meshOriented(mesh, adj));
    }
}
