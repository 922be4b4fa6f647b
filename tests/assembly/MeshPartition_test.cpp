#include "pieces.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/assembly/meshSplit.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/MeshAttributes.h"

#include <algorithm>
#include <climits>
#include <deque>
#include <doctest/doctest.h>
#include <memory>
#include <set>
#include <vector>

using namespace koGeom;
using partitionTest::Ints;
using partitionTest::Piece;
using partitionTest::pieceOf;
using partitionTest::SubsetList;

namespace {

MeshPartition partitionOf(CompactMesh const& mesh, int size) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    return MeshPartition(mesh, adjTris, size);
}

std::vector<Piece> pieces(CompactMesh const& mesh, int size) {
    std::vector<Piece> all;
    for (auto const& subset : partitionOf(mesh, size).partition())
        all.push_back(pieceOf(*subset));
    return all;
}

/// The growth as it is told: every search starts anew, every mesh triangle is looked at.
std::vector<Piece> plainPieces(CompactMesh const& mesh, int size) {
    std::set<int> placed;
    auto const hasCorner = [&](int t, int v) {
        Ints const corners = support::trianglesOf(mesh);
        return corners[3 * std::size_t(t)] == v || corners[3 * std::size_t(t) + 1] == v ||
               corners[3 * std::size_t(t) + 2] == v;
    };
    auto const next = [&](std::deque<int>& queue) {
        for (; !queue.empty(); queue.pop_front())
            for (int t = 0; t < mesh.getNumTriangles(); ++t)
                if (placed.count(t) == 0 && hasCorner(t, queue.front()))
                    return t;
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            if (placed.count(t) == 0)
                return t;
        return -1;
    };
    std::vector<Piece> all;
    while (static_cast<int>(placed.size()) < mesh.getNumTriangles()) {
        Piece piece;
        std::deque<int> queue;
        while (static_cast<int>(piece.vertices.size()) < size - 3) {
            int const t = next(queue);
            if (t < 0)
                break;
            placed.insert(t);
            piece.triangles.push_back(t);
            for (int const v : mesh.getTriangles()[t].vertices)
                if (std::find(piece.vertices.begin(), piece.vertices.end(), v) ==
                    piece.vertices.end()) {
                    piece.vertices.push_back(v);
                    queue.push_back(v);
                }
        }
        if (piece.vertices.empty())
            break;
        all.push_back(piece);
    }
    return all;
}

/// Meshes that meshSplit left to the test.
struct Split {
    std::vector<std::unique_ptr<CompactMesh>> meshes;

    Split(CompactMesh const& mesh, int size) {
        ko::vector<CompactMesh*> out{nullptr};
        meshSplit(mesh, size, out);
        for (CompactMesh* piece : out)
            meshes.emplace_back(piece);
    }
};

}  // namespace

//  3 ---- 4 ---- 5     triangles (0 1 4) (0 4 3) (1 2 5) (1 5 4), vertex 0 has the first two, then 1 brings the others
//  |  /   |  /   |
//  0 ---- 1 ---- 2
TEST_CASE("subsetsGrowAroundTheirVerticesInOrder") {
    CompactMesh const mesh = support::grid(2, 1);
    CHECK((pieces(mesh, 100) == std::vector<Piece>{{{0, 1, 4, 3, 2, 5}, {0, 1, 2, 3}}}));
    // Below 4 vertices there is room for one more triangle: size 7 gives two triangles, 6 and 4 one.
    CHECK((pieces(mesh, 7) == std::vector<Piece>{{{0, 1, 4, 3}, {0, 1}}, {{1, 2, 5, 4}, {2, 3}}}));
    CHECK((pieces(mesh, 6) == pieces(mesh, 4)));
    CHECK((pieces(mesh, 4) ==
           std::vector<Piece>{
               {{0, 1, 4}, {0}}, {{0, 4, 3}, {1}}, {{1, 2, 5}, {2}}, {{1, 5, 4}, {3}}}));
}

TEST_CASE("oneSubsetMayHoldSeveralComponents") {
    CompactMesh const mesh = support::joined(support::triangle(), support::triangle(), 3.0f);
    CHECK((pieces(mesh, 100) == std::vector<Piece>{{{0, 1, 2, 3, 4, 5}, {0, 1}}}));
    CHECK(pieces(mesh, 6).size() == 2);
    // A vertex without triangles is in none.
    CHECK((pieces(support::meshOf(std::vector<float>(15), {1, 4, 3}), 9) ==
           std::vector<Piece>{{{1, 4, 3}, {0}}}));
}

TEST_CASE("growthIsThatOfAPlainSearch") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (int const size : {4, 7, 12, 40, INT_MAX}) {
            auto const all = pieces(mesh, size);
            CHECK((all == plainPieces(mesh, size)));
        }
    }
}

TEST_CASE("everyTriangleIsInOneSubsetOfBoundedSize") {
    CompactMesh const meshes[] = {support::shuffled(support::sphere(5), 3),
                                  support::terrain(90, 60, 1), support::latticeSoup(300, 3000, 2)};
    for (CompactMesh const& mesh : meshes) {
        for (int const size : {4, 20, 500, 5000}) {
            Ints uses(static_cast<std::size_t>(mesh.getNumTriangles()), 0);
            for (Piece const& piece : pieces(mesh, size)) {
                CHECK(static_cast<int>(piece.vertices.size()) <= size);
                std::set<int> corners;
                for (int const t : piece.triangles) {
                    ++uses[static_cast<std::size_t>(t)];
                    for (int const v : mesh.getTriangles()[t].vertices)
                        corners.insert(v);
                }
                CHECK((std::set<int>(piece.vertices.begin(), piece.vertices.end()) == corners));
                CHECK(piece.vertices.size() == corners.size());
            }
            CHECK((uses == Ints(uses.size(), 1)));
        }
    }
}

// A disk of n vertices has a rim in the order of sqrt(n): seams take a small part of all vertices.
TEST_CASE("subsetsOfASurfaceAreCompact") {
    for (CompactMesh const& mesh : {support::terrain(200, 200, 1), support::sphere(6)}) {
        std::size_t numVertices = 0;
        auto const all = pieces(mesh, 1000);
        for (Piece const& piece : all)
            numVertices += piece.vertices.size();
        CHECK(all.size() < std::size_t(1.5 * mesh.getNumVertices() / 1000) + 2);
        CHECK(double(numVertices) < 1.2 * mesh.getNumVertices());
    }
}

// Every triangle of a fan lies around its hub; each subset goes on there where the last one stopped. In quadratic time this
// would take minutes.
TEST_CASE("aHubIsNotSearchedAgainForEachSubset") {
    int const numTriangles = 300000;
    std::vector<float> const coordinates(3 * std::size_t(numTriangles + 2));
    Ints triangles;
    for (int t = 0; t < numTriangles; ++t)
        triangles.insert(triangles.end(), {0, t + 1, t + 2});
    auto const all = pieces(support::meshOf(coordinates, triangles), 4);
    CHECK(all.size() == std::size_t(numTriangles));
    CHECK((all.back() == Piece{{0, numTriangles, numTriangles + 1}, {numTriangles - 1}}));
}

TEST_CASE("withoutRoomOrTrianglesThereAreNoSubsets") {
    CompactMesh const mesh = support::cube();
    for (int const size : {3, 0, -1, INT_MIN}) {
        MeshPartition partition = partitionOf(mesh, size);
        CHECK(!partition.nextSubMesh());
        CHECK(partition.partition().empty());
        CHECK(Split(mesh, size).meshes.empty());
    }
    CHECK(!partitionOf(CompactMesh(), INT_MAX).nextSubMesh());
    CHECK(Split(CompactMesh(), 10).meshes.empty());
}

TEST_CASE("copiesShareTheWorkAndTheEndIsFinal") {
    CompactMesh const mesh = support::sphere(2);
    auto const all = pieces(mesh, 20);
    MeshPartition partition = partitionOf(mesh, 20);
    MeshPartition copy(partition);
    CHECK((pieceOf(*partition.nextSubMesh()) == all[0]));
    CHECK((pieceOf(*copy.nextSubMesh()) == all[1]));
    CHECK(partition.partition().size() == all.size() - 2);
    for (int i = 0; i < 3; ++i)
        CHECK(!copy.nextSubMesh());
    CHECK(copy.partition().empty());
}

TEST_CASE("messagesTellSubsetsAndSplits") {
    CompactMesh const mesh = support::grid(2, 1);
    support::DebugCapture capture;
    pieces(mesh, 7);
    CHECK(capture.text().find("MeshPartition: computed 2 subsets of size 7 in ") !=
          std::string::npos);
    CHECK(Split(mesh, 100).meshes.empty());
    CHECK(capture.text().find("meshSplit") == std::string::npos);
    CHECK(Split(mesh, 7).meshes.size() == 2);
    CHECK(capture.text().find("MeshExtract:  extracting 4(6) vertices, 2(4) triangles\n") !=
          std::string::npos);
    CHECK(capture.text().find("meshSplit: s\n") == capture.text().size() - 13);
}

TEST_CASE("splitMeshesAreTheSubsetsExtracted") {
    CompactMesh mesh = support::shuffled(support::sphere(3), 9);
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getUVs()[v].u = static_cast<float>(v);
    auto const subsets = partitionOf(mesh, 50).partition();
    Split const split(mesh, 50);
    REQUIRE(split.meshes.size() == subsets.size());
    auto subset = subsets.begin();
    for (auto const& piece : split.meshes) {
        CompactMesh expected;
        meshExtract(expected, mesh, **subset++);
        CHECK(support::faultOf(*piece).empty());
        CHECK((support::trianglesOf(*piece) == support::trianglesOf(expected)));
        CHECK((support::coordinatesOf(*piece) == support::coordinatesOf(expected)));
        for (int v = 0; v < piece->getNumVertices(); ++v)
            CHECK(piece->getUVs()[v].u == expected.getUVs()[v].u);
    }
}

TEST_CASE("overlappingAndOpenSubsetsAreExtractedOneByOne") {
    CompactMesh const mesh = support::grid(1, 1);  // (0 1 3) (0 3 2)
    int const all[] = {0, 1, 2, 3}, some[] = {3, 0}, both[] = {0, 1};
    SubsetList const subsets = {new MeshSubset(4, all, 2, both), nullptr,
                                new MeshSubset(2, some, 2, both)};
    ko::vector<CompactMesh> targets(7, support::cube());
    meshExtract(targets, mesh, subsets);
    REQUIRE(targets.size() == 3);
    CHECK((support::trianglesOf(targets[0]) == Ints{0, 1, 3, 0, 3, 2}));
    CHECK(targets[1].getNumVertices() == 0);
    CHECK((support::trianglesOf(targets[2]) == Ints{1, -1, 0, 1, 0, -1}));
    meshExtract(targets, targets[0], {subsets.front()});  // the source may be a target
    CHECK((support::coordinatesOf(targets.at(0)) == support::coordinatesOf(mesh)));
}
