#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/triNormal.h"
#include "trimora/repair/meshFindAnglesLessThan.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <numbers>
#include <vector>

using namespace koGeom;
using Edges = std::vector<std::pair<int, int>>;

namespace {

Edges folds(CompactMesh const& mesh, double degrees) {
    MeshAdjTris adj;
    meshAdjTris(mesh, adj);
    MeshDihedralAnglesResult result;
    result.edges.push_back({-1, -1});
    meshFindAnglesLessThan(mesh, adj, degrees, result);
    return result.edges;
}

double maxAngle(CompactMesh const& mesh) {
    MeshAdjTris adj;
    meshAdjTris(mesh, adj);
    return meshMaxDihedralAngle(mesh, adj);
}

//        0         Two triangles on the edge (0, 1), opened by the given angle like a book;
//      / | \       they are wound alike unless told otherwise.
//     2  |  3
//      \ | /
//        1
CompactMesh book(double degrees, bool alike = true) {
    double const angle = degrees * std::numbers::pi / 180.0;
    CompactMesh mesh =
        support::meshOf({0, 0, 1, 0, 0, 0, 1, 0, 0, static_cast<float>(std::cos(angle)),
                         static_cast<float>(std::sin(angle)), 0},
                        {0, 1, 2, 1, 0, 3});
    if (!alike)
        std::swap(mesh.getTriangles()[1][1], mesh.getTriangles()[1][2]);
    return mesh;
}

Normal normalOf(CompactMesh const& mesh, int t) {
    return meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].vertices);
}

// The corners beside the first corner that is `centre`, in winding order.
std::pair<int, int> besides(MeshTriangle const& t, int centre) {
    int const k = t[0] == centre ? 0 : t[1] == centre ? 1 : 2;
    return {t[(k + 1) % 3], t[(k + 2) % 3]};
}

// Both answers from all triangles around each corner, as often as they stand there.
std::pair<Edges, double> anglesOverStars(CompactMesh const& mesh, double degrees) {
    double const threshold = std::numbers::pi - degrees / 180.0 * std::numbers::pi;
    MeshAdjTris adj;
    meshAdjTris(mesh, adj);
    Edges edges;
    double maximum = 0.0;
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int const a : triangles[t].vertices)
            for (int i = 0; i < adj.numTris(a); ++i) {
                int const other = adj.triIndices(a)[i];
                if (other <= t)
                    continue;
                auto const [r, s] = besides(triangles[t], a);
                auto const [p, q] = besides(triangles[other], a);
                if (r == p || r == q || s == p || s == q)
                    maximum = std::max(maximum, angle(normalOf(mesh, t), normalOf(mesh, other)));
            }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            int const a = triangles[t][k];
            int const b = triangles[t][(k + 1) % 3];
            for (int i = 0; i < adj.numTris(a); ++i) {
                int const other = adj.triIndices(a)[i];
                if (other > t && besides(triangles[other], a).second == b &&
                    angle(normalOf(mesh, t), normalOf(mesh, other)) >= threshold)
                    edges.push_back({a, b});
            }
        }
    return {edges, maximum};
}

}  // namespace

TEST_SUITE("meshFindAnglesLessThan") {

    TEST_CASE("foldIsReportedFromItsOpeningOnAsTheLowerTriangleRunsIt") {
        CHECK(folds(book(10.0), 15.0) == Edges{{0, 1}});
        CHECK(folds(book(10.0), 9.9).empty());
        CHECK(folds(book(10.0), 10.1) == Edges{{0, 1}});
        CHECK(folds(book(180.0), 15.0).empty());
        CHECK(maxAngle(book(10.0)) == doctest::Approx(170.0 * std::numbers::pi / 180.0));
        CHECK(maxAngle(book(180.0)) == doctest::Approx(0.0));
    }

    TEST_CASE("angleZeroTakesExactlyOppositeNormalsOnly") {
        CHECK(folds(book(0.0), 0.0) == Edges{{0, 1}});
        CHECK(folds(book(0.1), 0.0).empty());
    }

    TEST_CASE("neighboursWoundAgainstEachOtherCountOnlyForTheMaximum") {
        // Wound against each other, the normals of an open book point apart like a closed one's.
        CHECK(folds(book(170.0, false), 15.0).empty());
        CHECK(maxAngle(book(170.0, false)) == doctest::Approx(170.0 * std::numbers::pi / 180.0));
        CHECK(folds(book(170.0, false), 180.0).empty());
    }

    TEST_CASE("oneTriangleHasNoAngle") {
        CHECK(folds(support::triangle(), 180.0).empty());
        CHECK(maxAngle(support::triangle()) == 0.0);
        CHECK(folds(CompactMesh(), 180.0).empty());
        CHECK(maxAngle(CompactMesh()) == 0.0);
    }

    TEST_CASE("dihedralAnglesOfSolids") {
        CHECK(maxAngle(support::cube()) == doctest::Approx(std::numbers::pi / 2));
        CHECK(maxAngle(support::octahedron()) == doctest::Approx(std::acos(1.0 / 3.0)));
        CHECK(folds(support::cube(), 90.1).size() == 12);
        CHECK(folds(support::cube(), 89.9).empty());
        CHECK(folds(support::cube(), 180.0).size() == 18);
    }

    TEST_CASE("agreesWithTheStarsOnAnyNumberOfThreads") {
        std::vector<support::NamedMesh> meshes = support::zoo();
        for (std::uint64_t seed = 1; seed <= 30; ++seed)
            meshes.push_back({"soup", support::latticeSoup(12, 40, seed)});
        support::withPools([&](int) {
            for (auto const& named : meshes) {
                CAPTURE(named.name);
                CompactMesh const& mesh = named.mesh;
                for (double const degrees : {0.0, 15.0, 120.0, 180.0})
                    CHECK(folds(mesh, degrees) == anglesOverStars(mesh, degrees).first);
                CHECK(maxAngle(mesh) == anglesOverStars(mesh, 0.0).second);
            }
        });
    }

    TEST_CASE("everyTriangleOnAFoldIsAdjacentToIt") {
        CompactMesh mesh = support::joined(support::sphere(1), book(5.0), 4.0f);
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        MeshDihedralAnglesResult result;
        meshFindAnglesLessThan(mesh, adj, 15.0, result);
        std::vector<int> triangles{99};
        result.getAdjacentTriangles(mesh, adj, triangles);
        CHECK(triangles == std::vector<int>{32, 33});
    }

    TEST_CASE("messageIsFixed") {
        support::DebugCapture capture;
        CompactMesh const mesh = support::cube();
        MeshAdjTris adj;
        MeshDihedralAnglesResult result;
        meshAdjTris(mesh, adj);
        auto const before = capture.text().size();
        meshFindAnglesLessThan(mesh, adj, 15.0, result);
        CHECK(capture.text().substr(before).starts_with("   meshFindAnglesLessThan: "));
    }
}
