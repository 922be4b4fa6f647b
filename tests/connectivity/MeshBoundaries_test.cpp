#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "tables.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koGeom/Remap.h"

#include <doctest/doctest.h>

using namespace koGeom;
using tables::Sets;

namespace {

/// The triangles and the subsets of a mesh, and what is asked of them one triangle at a time.
struct Surface {
    CompactMesh const& mesh;
    tables::VertexTables of;

    explicit Surface(CompactMesh const& surface) : mesh(surface), of(surface) {}

    int headFrom(int vertex, int t) const {
        MeshTriangle const& triangle = mesh.getTriangles()[t];
        for (int corner = 0; corner < 3; ++corner)
            if (triangle[corner] == vertex)
                return triangle[(corner + 1) % 3];
        return -1;
    }
    bool isIrregular(int vertex) const {
        return of.vertices.numNeighbours(vertex) != of.tris.numTris(vertex);
    }
    template <class Accepts>
    bool hasEdge(int from, int to, Accepts const& accepts) const {
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            if (accepts(t) && headFrom(from, t) == to)
                return true;
        return false;
    }
    /// The loops as the walk defines them, every vertex tried and every test a search over the whole mesh.
    template <class Accepts, class OnBorder>
    Sets loops(std::vector<int> const& starts, Accepts const& accepts,
               OnBorder const& onBorder) const {
        Sets found;
        std::vector<bool> seen(static_cast<std::size_t>(mesh.getNumVertices()));
        auto const step = [&](int v, int& next) {
            for (int i = 0; i < of.tris.numTris(v); ++i) {
                int const t = of.tris.triIndices(v)[i];
                if (!accepts(t))
                    continue;
                next = headFrom(v, t);
                if (onBorder(next) && !hasEdge(next, v, accepts))
                    return true;
            }
            return false;
        };
        for (int const start : starts) {
            if (seen[static_cast<std::size_t>(start)])
                continue;
            seen[static_cast<std::size_t>(start)] = true;
            std::vector<int> loop;
            for (int v = start, next = -1; step(v, next); v = next) {
                loop.push_back(v);
                if (seen[static_cast<std::size_t>(next)])
                    break;
                seen[static_cast<std::size_t>(next)] = true;
            }
            if (!loop.empty())
                found.push_back(loop);
        }
        return found;
    }
};

Sets boundariesOf(CompactMesh const& mesh) {
    tables::VertexTables const of(mesh);
    MeshBoundaries boundaries;
    meshComputeBoundary(mesh, of.tris, of.vertices, boundaries);
    return tables::loopsOf(boundaries);
}

std::vector<int> allVertices(CompactMesh const& mesh) {
    std::vector<int> vertices(static_cast<std::size_t>(mesh.getNumVertices()));
    for (std::size_t v = 0; v < vertices.size(); ++v)
        vertices[v] = static_cast<int>(v);
    return vertices;
}

}  // namespace

TEST_CASE("aLoopRunsInTheWindingOfItsTriangles") {
    CHECK(boundariesOf(support::triangle()) == Sets{{0, 1, 2}});
    // 2---3
    // | / |
    // 0---1
    CHECK(boundariesOf(support::grid(1, 1)) == Sets{{0, 1, 3, 2}});
    CHECK(boundariesOf(support::sphere(1)).empty());
    CHECK(boundariesOf(CompactMesh()).empty());
    CHECK(boundariesOf(support::meshOf({0, 0, 0}, {})).empty());
}

//   12--13--14--15
//    8-- 9--10--11      the middle square is missing: the hole is walked the other way round
//    4-- 5-- 6-- 7
//    0-- 1-- 2-- 3
TEST_CASE("theLoopWithTheLowestVertexComesFirst") {
    CompactMesh mesh = support::grid(3, 3);
    std::vector<int> corners = support::trianglesOf(mesh);
    corners.erase(corners.begin() + 24, corners.begin() + 30);
    mesh = support::meshOf(support::coordinatesOf(mesh), corners);
    CHECK(boundariesOf(mesh) == Sets{{0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4}, {5, 9, 10, 6}});
}

//    1   4        both loops pass through 0: the first takes it, the second ends before it would come back
//    | X |
//    2   3
TEST_CASE("aVertexStandsInOneLoopOnly") {
    CompactMesh const mesh = support::meshOf(std::vector<float>(15), {0, 1, 2, 0, 3, 4});
    CHECK(boundariesOf(mesh) == Sets{{0, 1, 2}, {3, 4}});
}

TEST_CASE("boundariesOfTheZooAgreeWithTheWalkOverTheWholeMesh") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        Surface const surface(mesh);
        Sets const expected = surface.loops(
            allVertices(mesh), [](int) { return true; },
            [&](int v) { return surface.isIrregular(v); });
        CHECK(boundariesOf(mesh) == expected);
    }
}

TEST_CASE("boundariesDoNotDependOnTheNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        Sets const expected = boundariesOf(mesh);
        support::withPools([&, &surface = mesh](int numThreads) {
            CAPTURE(numThreads);
            CHECK(boundariesOf(surface) == expected);
        });
    }
}

TEST_CASE("everyBorderEdgeOfAManifoldLiesOnALoop") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        CAPTURE_BINDING(name);
        std::size_t numEdges = 0;
        for (auto const& loop : boundariesOf(mesh))
            numEdges += loop.size();
        CHECK(static_cast<int>(numEdges) == support::numBorderEdges(mesh));
    }
}

TEST_CASE("theStepsOfAWalkCanBeAskedForOneByOne") {
    CompactMesh const mesh = support::grid(1, 1);  // triangles (0, 1, 3) and (0, 3, 2)
    tables::VertexTables const of(mesh);
    CHECK(Boundary::findEdge(3, mesh.getTriangles()[0]) == 0);
    CHECK(Boundary::findEdge(2, mesh.getTriangles()[0]) == -1);
    CHECK(Boundary::findEdge(5, MeshTriangle{{5, 5, 6}}) == 5);
    CHECK(Boundary::hasEdge(mesh, of.tris, 0, 3));
    CHECK(Boundary::hasEdge(mesh, of.tris, 3, 0));
    CHECK(Boundary::hasEdge(mesh, of.tris, 1, 3));
    CHECK_FALSE(Boundary::hasEdge(mesh, of.tris, 3, 1));

    int next = -1;
    CHECK(Boundary::walkBoundary(3, next, mesh, of.tris, of.vertices));
    CHECK(next == 2);

    CompactMesh const closed = support::tetrahedron();
    tables::VertexTables const ofClosed(closed);
    next = 7;
    CHECK_FALSE(Boundary::walkBoundary(0, next, closed, ofClosed.tris, ofClosed.vertices));
    int const last = ofClosed.tris.triIndices(0)[ofClosed.tris.numTris(0) - 1];
    CHECK(next ==
          Boundary::findEdge(0, closed.getTriangles()[last]));  // the last head that was tried
}

TEST_CASE("subsetLoopsFollowTheCutsBetweenSubsets") {
    // columns of a grid, cut in two or three
    for (int const numSubsets : {1, 2, 3}) {
        for (auto const& [name, mesh] : support::zoo()) {
            CAPTURE_BINDING(name);
            CAPTURE(numSubsets);
            Surface const surface(mesh);
            Remap triangleSubsets(mesh.getNumTriangles(), numSubsets);
            std::vector<int> pairs;
            for (int t = 0; t < mesh.getNumTriangles(); ++t)
                triangleSubsets.set(t, t * numSubsets / mesh.getNumTriangles());
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                for (int subset = 0; subset < numSubsets; ++subset)
                    for (int i = 0; i < surface.of.tris.numTris(v); ++i)
                        if (triangleSubsets(surface.of.tris.triIndices(v)[i]) == subset) {
                            pairs.insert(pairs.end(), {v, subset});
                            break;
                        }
            ArrayOfSets vertexSubsets;
            vertexSubsets.assignFromPairs(mesh.getNumVertices(), static_cast<int>(pairs.size() / 2),
                                          pairs.data());
            for (int index = 0; index < numSubsets; ++index) {
                std::vector<int> vertices;
                for (std::size_t i = pairs.size(); i > 0;
                     i -= 2)  // descending, to see the order of the starts
                    if (pairs[i - 1] == index)
                        vertices.push_back(pairs[i - 2]);
                MeshSubset const subset(static_cast<int>(vertices.size()), vertices.data(), 0,
                                        nullptr);
                MeshBoundaries boundaries;
                meshComputeSubsetBoundary(mesh, subset, index, surface.of.tris, surface.of.vertices,
                                          vertexSubsets, triangleSubsets, boundaries);
                CHECK(tables::loopsOf(boundaries) ==
                      surface.loops(
                          vertices, [&](int t) { return triangleSubsets(t) == index; },
                          [&](int v) {
                              return vertexSubsets.getSetSize(v) >= 2 || surface.isIrregular(v);
                          }));
            }
        }
    }
}

TEST_CASE("boundariesAreCopiedDeeply") {
    CompactMesh const mesh = support::grid(1, 1);
    tables::VertexTables const of(mesh);
    MeshBoundaries boundaries;
    meshComputeBoundary(mesh, of.tris, of.vertices, boundaries);
    MeshBoundaries const copy(boundaries);
    MeshBoundaries assigned;
    assigned = boundaries;
    meshComputeBoundary(CompactMesh(), MeshAdjTris(), MeshAdjVertices(), boundaries);
    CHECK(boundaries.size() == 0);
    CHECK(tables::loopsOf(copy) == Sets{{0, 1, 3, 2}});
    CHECK(tables::loopsOf(assigned) == Sets{{0, 1, 3, 2}});
    CHECK(copy.getLength(0) == 4);
}

// A walk along the rim of a fan asks for the edge back from the hub at every step: with a search through the hub's
// triangles this takes minutes.
TEST_CASE("theRimOfAHugeFanIsWalkedInLinearTime") {
    CompactMesh const mesh = tables::shuffledFan(400000);
    tables::VertexTables const of(mesh);
    MeshBoundaries boundaries;
    meshComputeBoundary(mesh, of.tris, of.vertices, boundaries);
    REQUIRE(boundaries.size() == 1);
    CHECK(boundaries.getLength(0) == 400002);
}

// Triangles on the edges 0-1 and 0-2 in turn; what runs these edges the other way comes last. Asked again for every triangle,
// the search for it takes minutes.
TEST_CASE("twoCrowdedEdgesAreWalkedInLinearTime") {
    constexpr int numTriangles = 200000;
    std::vector<int> corners;
    for (int t = 0; t < numTriangles; ++t)
        corners.insert(corners.end(), {0, 1 + t % 2, 3 + t});
    constexpr int last = numTriangles + 3;
    corners.insert(corners.end(), {1, 0, last, 2, 0, last + 1});
    CompactMesh const mesh = support::meshOf(std::vector<float>(3 * (last + 2)), corners);
    tables::VertexTables const of(mesh);
    int next = -1;
    CHECK(Boundary::walkBoundary(0, next, mesh, of.tris, of.vertices));
    CHECK(next == last);

    MeshSubset const subset(1, corners.data(), 0, nullptr);  // vertex 0
    Remap triangleSubsets(mesh.getNumTriangles(), 1);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        triangleSubsets.set(t, 0);
    ArrayOfSets vertexSubsets;
    vertexSubsets.assignFromPairs(mesh.getNumVertices(), 0, nullptr);
    MeshBoundaries boundaries;
    meshComputeSubsetBoundary(mesh, subset, 0, of.tris, of.vertices, vertexSubsets, triangleSubsets,
                              boundaries);
    CHECK(tables::loopsOf(boundaries) == Sets{{0, last, 1, 3}});
}
