#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "surfaces.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/parameterize/cutSurface.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

using namespace koGeom;
using support::NamedMesh;

static_assert(sizeof(itineraryItem) == 6 * sizeof(int));
static_assert(std::is_empty_v<cutSurface>);

namespace {

using Items = ko::list<itineraryItem>;
using Pieces = ko::vector<ko::vector<int>>;

bool operator==(itineraryItem const& a, itineraryItem const& b) {
    return a.nextTriangle == b.nextTriangle && a.triangle == b.triangle && a.start == b.start &&
           a.end == b.end && a.newStart == b.newStart && a.newEnd == b.newEnd;
}

bool areEqual(Items const& a, Items const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](auto const& x, auto const& y) { return x == y; });
}

itineraryItem edgeItem(int start, int end, int triangle = 0, int nextTriangle = -1) {
    return {nextTriangle, triangle, start, end, start, end};
}

/// "0-1 1-2": the edges of a list.
std::string edgesOf(Items const& items) {
    std::string text;
    for (itineraryItem const& item : items)
        text += std::to_string(item.start) + "-" + std::to_string(item.end) + " ";
    return text;
}

MeshAdjTris tableOf(CompactMesh const& mesh) {
    MeshAdjTris table;
    meshAdjTris(mesh, table);
    return table;
}

std::vector<int> fanOf(CompactMesh const& mesh, int vertex) {
    MeshAdjTris const table = tableOf(mesh);
    return {table.triIndices(vertex), table.triIndices(vertex) + table.numTris(vertex)};
}

Items cutOf(CompactMesh& mesh) {
    MeshAdjTris table = tableOf(mesh);
    Items cut;
    cutSurface().findUnresolvedBoundary(cut, mesh.getTriangles(), mesh.getNumTriangles(), table);
    return cut;
}

/// The positions of all corners, triangle by triangle.
std::vector<float> cornersOf(CompactMesh const& mesh) {
    std::vector<float> corners;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        float const* const p = mesh.getVerticesRaw() + 3 * mesh.getTrianglesRaw()[i];
        corners.insert(corners.end(), p, p + 3);
    }
    return corners;
}

int numLoops(CompactMesh const& mesh) {
    return SimpleMeshCache().getBoundaries(mesh)->size();
}

/// Empty, or why the mesh is no disk that consists of the triangles of the other one.
std::string faultOfDisk(CompactMesh const& disk, CompactMesh const& before) {
    if (std::string const fault = support::faultOf(disk); !fault.empty())
        return fault;
    if (cornersOf(disk) != cornersOf(before))
        return "corners have moved";
    if (support::numComponents(disk) != 1)
        return "it fell apart";
    if (int const euler = support::eulerNumber(disk); euler != 1)
        return "Euler number " + std::to_string(euler);
    if (int const loops = numLoops(disk); loops != 1)
        return std::to_string(loops) + " boundary loops";
    if (SimpleMeshCache().getBoundaries(disk)->getLength(0) != support::numBorderEdges(disk))
        return "the loop misses border edges";
    for (auto const& [edge, triangles] : support::edgeTable(disk))
        if (triangles.size() > 2)
            return "an edge with more than two triangles";
    return "";
}

std::vector<NamedMesh> openAndClosedSurfaces() {
    using namespace surfaces;
    std::vector<NamedMesh> meshes = {
        {"tetrahedron", support::tetrahedron()},
        {"cube", support::cube()},
        {"octahedron", support::octahedron()},
        {"sphere", support::sphere(3)},
        {"globe", globe(40, 5)},
        {"torus", support::torus(12, 8)},
        {"coarse torus", support::torus(3, 3)},
        {"genus 2", plate({"#####", "#.#.#", "#####"})},
        {"genus 3", genusThree()},
        {"triangle", support::triangle()},
        {"grid", support::grid(5, 4)},
        {"strip", support::grid(9, 1)},
        {"annulus", holedGrid(6, {{3, 3}})},
        {"three holes", holedGrid(12, {{3, 3}, {9, 4}, {6, 9}})},
        {"pierced sphere", pierced(support::sphere(3), {0, 1, 2, 3, 4})},
        {"pierced torus", pierced(support::torus(20, 12), {7, 100, 130})},
        {"pierced genus 3", pierced(genusThree(), {0})},
    };
    std::size_t const numPlain = meshes.size();
    for (std::size_t i = 0; i < numPlain; ++i)
        for (std::uint64_t seed = 1; seed <= 3; ++seed)
            meshes.push_back({meshes[i].name + " shuffled " + std::to_string(seed),
                              support::shuffled(meshes[i].mesh, seed)});
    return meshes;
}

/// The whole of it by scans of lists, as plain as it can be said.
class PlainCut {
public:
    explicit PlainCut(CompactMesh& mesh) : mesh_(mesh), table_(tableOf(mesh)) {}

    Items sequence(Items in) {
        Items out;
        itineraryItem const first = in.front();
        in.pop_front();
        out.push_back(first);
        while (!in.empty()) {
            std::vector<Items::iterator> candidates;
            for (auto item = in.begin(); item != in.end(); ++item)
                if (item->start == out.back().end)
                    candidates.push_back(item);
            if (candidates.empty())
                break;
            auto const chosen = choose(first, out.back(), candidates);
            out.push_back(*chosen);
            in.erase(chosen);
        }
        return out;
    }

    void split(Items& tour) {
        std::set<int> vertices;
        for (itineraryItem const& item : tour)
            vertices.insert({item.start, item.end});
        std::vector<std::array<int, 3>> changes;
        int numVertices = mesh_.getNumVertices();
        std::vector<int> sources;
        for (int const v : vertices) {
            Pieces pieces;
            cutSurface().sortEdgePartitions(v, tour, mesh_.getTriangles(), table_, pieces);
            for (std::size_t p = 1; p < pieces.size(); ++p) {
                sources.push_back(v);
                for (int const t : pieces[p])
                    changes.push_back({t, v, numVertices});
                ++numVertices;
            }
        }
        int next = mesh_.getNumVertices();
        mesh_.resizeVertexArray(numVertices);
        for (int const source : sources)
            mesh_.getVertices()[next++] = mesh_.getVertices()[source];
        for (auto const& [t, from, to] : changes)
            *std::find(mesh_.getTriangles()[t].vertices, mesh_.getTriangles()[t].vertices + 3,
                       from) = to;
    }

private:
    Items::iterator choose(itineraryItem const& first, itineraryItem const& current,
                           std::vector<Items::iterator> const& candidates) {
        auto const isMirror = [&](Items::iterator item) {
            return item->nextTriangle == first.triangle && item->triangle == first.nextTriangle;
        };
        if (candidates.size() == 1)
            return candidates[0];
        if (candidates.size() == 2 && isMirror(candidates[0]))
            return candidates[1];
        if (candidates.size() == 2 && isMirror(candidates[1]))
            return candidates[0];
        std::vector<int> fan(table_.triIndices(current.end),
                             table_.triIndices(current.end) + table_.numTris(current.end));
        int const count = static_cast<int>(fan.size());
        cutSurface().sortFanTriangles(current.end, count, fan.data(), mesh_.getTriangles());
        int rotated[3];
        int position = count;
        do {
            --position;
            cutSurface().orientVertices(
                current.end, mesh_.getTriangles()[fan[static_cast<std::size_t>(position)]].vertices,
                rotated);
        } while (rotated[2] != current.start);
        for (;; position = position > 0 ? position - 1 : count - 1) {
            cutSurface().orientVertices(
                current.end, mesh_.getTriangles()[fan[static_cast<std::size_t>(position)]].vertices,
                rotated);
            for (auto const candidate : candidates)
                if (candidate->end == rotated[1])
                    return candidate;
        }
    }

    CompactMesh& mesh_;
    MeshAdjTris table_;
};

}  // namespace

//      3 ----- 2         a fan of vertex 4 inside a square
//      | \ 2 / |
//      |3  4  1|
//      | / 0 \ |
//      0 ----- 1
CompactMesh wheel() {
    return support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5f, 0.5f, 0},
                           {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4});
}

TEST_CASE("rotatesTrianglesToAVertex") {
    cutSurface cut;
    int const triangle[] = {7, 8, 9};
    auto const from = [&](int vertex) {
        std::array<int, 3> rotated;
        cut.orientVertices(vertex, triangle, rotated.data());
        return rotated;
    };
    CHECK(from(7) == std::array{7, 8, 9});
    CHECK(from(8) == std::array{8, 9, 7});
    CHECK(from(9) == std::array{9, 7, 8});
    CHECK(from(5) == std::array{9, 7, 8});

    int const rotated[] = {8, 9, 7};
    CHECK(cut.sameTriangle(triangle, triangle));
    CHECK_FALSE(cut.sameTriangle(triangle, rotated));
}

TEST_CASE("looksForEdgesAndVerticesInLists") {
    cutSurface cut;
    Items items = {edgeItem(3, 1), edgeItem(1, 4)};
    itineraryItem forward = edgeItem(1, 4, 9, 9), backward = edgeItem(4, 1);
    CHECK(cut.listContainsEdge(forward, items));
    CHECK_FALSE(cut.listContainsEdge(backward, items));
    ko::set<int> vertices;
    vertices.insert(7);
    cut.extractVertices(items, vertices);
    CHECK(std::vector<int>(vertices.begin(), vertices.end()) == std::vector{1, 3, 4, 7});

    CompactMesh const mesh = wheel();
    MeshBoundaries const boundaries = *SimpleMeshCache().getBoundaries(mesh);
    for (int v = 0; v < 4; ++v)
        CHECK(cut.boundaryVertex(boundaries, v));
    CHECK_FALSE(cut.boundaryVertex(boundaries, 4));
}

TEST_CASE("sortsClosedFansFromTheirFirstTriangle") {
    CompactMesh mesh = wheel();
    std::vector<int> fan = {2, 0, 1, 3};
    cutSurface().sortFanTriangles(4, 4, fan.data(), mesh.getTriangles());
    CHECK(fan == std::vector{2, 3, 0, 1});

    // The edge that a triangle has with the next one; at the seam as well.
    itineraryItem edge = edgeItem(-5, -5, -5, -5);
    std::vector<int> heads;
    for (int position = 0; position < 4; ++position) {
        cutSurface().getFirstCCEdge(mesh.getTriangles(), 4, fan.data(), position, 4, edge);
        CHECK(edge.start == 4);
        heads.push_back(edge.end);
    }
    CHECK(heads == std::vector{3, 0, 1, 2});
    CHECK(edge.triangle == -5);
    CHECK(edge.newEnd == -5);
}

//      4 --- 3 --- 2
//       \  2 | 1  /
//          \ | / 0
//            0 ----- 1
TEST_CASE("sortsOpenFansFromBorderToBorder") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, -1, 1, 0},
                                       {1, 2, 0, 0, 2, 3, 3, 4, 0});
    std::vector<int> order = {0, 1, 2};
    do {
        std::vector<int> fan = order;
        cutSurface().sortFanTriangles(0, 3, fan.data(), mesh.getTriangles());
        CHECK(fan == std::vector{0, 1, 2});
    } while (std::next_permutation(order.begin(), order.end()));

    itineraryItem edge = edgeItem(0, 0);
    cutSurface().getFirstCCEdge(mesh.getTriangles(), 0, order.data(), 0, 3, edge);
    CHECK(edge.end == 1);  // the border, since the last triangle does not hold it
    cutSurface().getFirstCCEdge(mesh.getTriangles(), 0, order.data(), 1, 3, edge);
    CHECK(edge.end == 3);
}

TEST_CASE("sortedFansOfBrokenMeshesKeepTheirTriangles") {
    for (auto& [name, mesh] : support::zoo()) {
        CAPTURE(name);
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            std::vector<int> const before = fanOf(mesh, v);
            std::vector<int> fan = before;
            cutSurface().sortFanTriangles(v, static_cast<int>(fan.size()), fan.data(),
                                          mesh.getTriangles());
            CHECK(std::is_permutation(fan.begin(), fan.end(), before.begin(), before.end()));
        }
    }
}

TEST_CASE("countsOppositeEdgesThatAppearOnce") {
    // Only raw second and third places are read: 0 and 2 have the pair 2, 3 there, in different orders.
    CompactMesh mesh = support::meshOf(std::vector<float>(15, 0.0f), {0, 2, 3, 1, 3, 4, 4, 3, 2});
    int const fan[] = {0, 1, 2};
    cutSurface cut;
    CHECK_FALSE(cut.boundaryTriangle(0, mesh.getTriangles(), fan, 3, 0));
    CHECK(cut.boundaryTriangle(1, mesh.getTriangles(), fan, 3, 0));
    CHECK(cut.boundaryTriangle(0, mesh.getTriangles(), fan, 2, 0));
    CHECK_FALSE(cut.boundaryTriangle(1, mesh.getTriangles(), fan, 1, 0));
}

TEST_CASE("neighboursAreQueuedInTheOrderOfTheFans") {
    CompactMesh mesh = wheel();
    MeshAdjTris const table = tableOf(mesh);
    bool visited[4] = {};
    Items queue, cut;
    cutSurface().checkNeighborhood(1, table, mesh.getTriangles(), visited, queue, cut);
    // Of triangle (1, 2, 4): across 4-1 through the fan of 1, then across 2-4 through that of 2.
    CHECK(edgesOf(queue) == "4-1 2-4 ");
    CHECK(queue.front() == itineraryItem{0, 1, 4, 1, 4, 1});
    CHECK(queue.back() == itineraryItem{2, 1, 2, 4, 2, 4});
    CHECK(edgesOf(cut) == "1-2 ");
    CHECK(cut.front() == itineraryItem{-1, 1, 1, 2, 1, 2});

    visited[0] = true;
    queue.clear();
    cutSurface().checkNeighborhood(1, table, mesh.getTriangles(), visited, queue, cut);
    CHECK(edgesOf(queue) == "2-4 ");
    CHECK(edgesOf(cut) == "1-2 1-2 ");
}

TEST_CASE("pushesOnlyNeighboursThatWereNotVisited") {
    int vertices[] = {10, 11, 12}, neighbours[] = {-1, -1, -1};
    bool visited[] = {true, false};
    Items queue;
    cutSurface().pushNeighbor(2, 1, 0, vertices, visited, neighbours, queue);
    cutSurface().pushNeighbor(1, 0, 1, vertices, visited, neighbours, queue);
    CHECK(queue.size() == 1);
    CHECK(queue.front() == itineraryItem{1, 0, 12, 10, 12, 10});
    CHECK(std::vector(neighbours, neighbours + 3) == std::vector{-1, 0, 1});
}

TEST_CASE("theCutOfATetrahedronHasTwoEdges") {
    CompactMesh mesh = support::tetrahedron();  // 0: (0 2 1), 1: (0 1 3), 2: (1 2 3), 3: (2 0 3)
    Items cut = cutOf(mesh);
    CHECK(edgesOf(cut) == "1-3 3-1 3-2 2-3 ");
    CHECK(cut.front() == itineraryItem{2, 1, 1, 3, 1, 3});
    CHECK(*std::next(cut.begin()) == itineraryItem{1, 2, 3, 1, 3, 1});

    Items tour;
    cutSurface().sequenceEdges(cut, tour, mesh.getTriangles(), tableOf(mesh));
    CHECK(cut.empty());
    CHECK(edgesOf(tour) == "1-3 3-2 2-3 3-1 ");

    cutSurface().processCut(tour, mesh.getTriangles(), tableOf(mesh), mesh);
    CHECK(mesh.getNumVertices() == 5);
    CHECK(faultOfDisk(mesh, support::tetrahedron()) == "");
    CHECK(support::coordinatesOf(mesh)[14] == 1.0f);  // 4 is a copy of 3
}

TEST_CASE("doubledItemsStandSideBySideAndBoundaryEdgesAlone") {
    for (auto& [name, mesh] : openAndClosedSurfaces()) {
        CAPTURE(name);
        Items const cut = cutOf(mesh);
        for (auto item = cut.begin(); item != cut.end(); ++item) {
            MeshTriangle const& triangle = mesh.getTriangles()[item->triangle];
            CHECK(Boundary::findEdge(item->start, triangle) == item->end);
            if (item->nextTriangle < 0)
                continue;
            itineraryItem const mirror{item->triangle, item->nextTriangle, item->end,
                                       item->start,    item->end,          item->start};
            ++item;
            REQUIRE(item != cut.end());
            CHECK(*item == mirror);
        }
    }
}

TEST_CASE("tourAndCutAreThoseOfPlainScans") {
    for (auto& [name, mesh] : openAndClosedSurfaces()) {
        CAPTURE(name);
        Items cut = cutOf(mesh);
        CompactMesh slow = mesh;
        PlainCut plain(slow);
        Items const expected = plain.sequence(cut);
        Items tour;
        cutSurface().sequenceEdges(cut, tour, mesh.getTriangles(), tableOf(mesh));
        REQUIRE(areEqual(tour, expected));
        CHECK(cut.empty());

        plain.split(tour);
        cutSurface().processCut(tour, mesh.getTriangles(), tableOf(mesh), mesh);
        CHECK(support::trianglesOf(mesh) == support::trianglesOf(slow));
        CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(slow));
    }
}

TEST_CASE("aTourKeepsTheSurfaceOnItsLeft") {
    // Each item ends where the next one starts, round to the first, and each item of the cut comes once.
    for (auto& [name, mesh] : openAndClosedSurfaces()) {
        CAPTURE(name);
        Items cut = cutOf(mesh);
        std::size_t const numItems = cut.size();
        Items tour;
        cutSurface().sequenceEdges(cut, tour, mesh.getTriangles(), tableOf(mesh));
        REQUIRE(tour.size() == numItems);
        for (auto item = tour.begin(); item != tour.end(); ++item) {
            auto const next = std::next(item) == tour.end() ? tour.begin() : std::next(item);
            CHECK(item->end == next->start);
        }
    }
}

TEST_CASE("aTourWithoutACandidateStops") {
    CompactMesh mesh = wheel();
    Items in = {edgeItem(0, 1), edgeItem(2, 3), edgeItem(1, 4, 0, 1), edgeItem(3, 0)};
    Items out = {edgeItem(9, 9)};
    cutSurface().sequenceEdges(in, out, mesh.getTriangles(), tableOf(mesh));
    CHECK(edgesOf(out) == "9-9 0-1 1-4 ");
    CHECK(edgesOf(in) == "2-3 3-0 ");

    Items nothing, still;
    cutSurface().sequenceEdges(nothing, still, mesh.getTriangles(), tableOf(mesh));
    CHECK(still.empty());

    // Items of no vertex, and candidates that the fan does not lead to.
    Items strange = {edgeItem(0, 4), edgeItem(4, 9), edgeItem(4, 77), edgeItem(-3, 4),
                     edgeItem(99, 4)};
    cutSurface().sequenceEdges(strange, still, mesh.getTriangles(), tableOf(mesh));
    CHECK(edgesOf(still) == "0-4 ");
    CHECK(strange.size() == 4);
}

TEST_CASE("ofTwoCandidatesTheMirrorOfTheFirstItemLoses") {
    CompactMesh mesh = wheel();
    for (bool const mirrorFirst : {true, false}) {
        itineraryItem const mirror = edgeItem(4, 0, 3, 0), other = edgeItem(4, 2, 1, 2);
        Items in = {edgeItem(0, 4, 0, 3), mirrorFirst ? mirror : other,
                    mirrorFirst ? other : mirror};
        Items out;
        cutSurface().sequenceEdges(in, out, mesh.getTriangles(), tableOf(mesh));
        CHECK(edgesOf(out) == "0-4 4-2 ");
    }
}

TEST_CASE("edgesDivideClosedFansBehindTheFirstThatLeaves") {
    CompactMesh mesh = wheel();  // sorted: 0 (0 1), 1 (1 2), 2 (2 3), 3 (3 0)
    MeshAdjTris const table = tableOf(mesh);
    auto const piecesOf = [&](Items edges) {
        Pieces pieces;
        cutSurface().sortEdgePartitions(4, edges, mesh.getTriangles(), table, pieces);
        return pieces;
    };
    CHECK(piecesOf({edgeItem(4, 2)}) == Pieces{{2, 3, 0, 1}});
    CHECK(piecesOf({edgeItem(4, 0), edgeItem(4, 2)}) == Pieces{{2, 3}, {0, 1}});
    CHECK(piecesOf({edgeItem(4, 0), edgeItem(0, 4)}) == Pieces{{0, 1, 2, 3}});
    // One that arrives divides as well, and opens where none leaves.
    CHECK(piecesOf({edgeItem(1, 4), edgeItem(4, 3)}) == Pieces{{3, 0}, {1, 2}});
    CHECK(piecesOf({edgeItem(1, 4), edgeItem(3, 4)}) == Pieces{{1, 2}, {3, 0}});
    CHECK(piecesOf({edgeItem(4, 0), edgeItem(4, 1), edgeItem(4, 2), edgeItem(4, 3)}) ==
          Pieces{{1}, {2}, {3}, {0}});
    CHECK(piecesOf({}) == Pieces{{0, 1, 2, 3}});
    CHECK(piecesOf({edgeItem(0, 1)}) == Pieces{{0, 1, 2, 3}});
}

TEST_CASE("edgesDivideOpenFansFromTheirStart") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, -1, 1, 0},
                                       {3, 4, 0, 0, 2, 3, 1, 2, 0});
    Items edges = {edgeItem(0, 1), edgeItem(4, 0), edgeItem(3, 0)};
    Pieces pieces = {{42}};
    cutSurface().sortEdgePartitions(0, edges, mesh.getTriangles(), tableOf(mesh), pieces);
    CHECK(pieces == Pieces{{42}, {2, 1}, {0}});
}

TEST_CASE("surfacesBecomeDisks") {
    for (auto& [name, mesh] : openAndClosedSurfaces()) {
        CAPTURE(name);
        CompactMesh disk = mesh;
        support::ModificationCounter counter(disk);
        cutSurface().makeDisk(disk);
        CHECK(faultOfDisk(disk, mesh) == "");
        REQUIRE(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);
        // Whatever numbers they have, old vertices are the first ones and stay where they were.
        std::vector<float> positions = support::coordinatesOf(disk);
        positions.resize(support::coordinatesOf(mesh).size());
        CHECK(positions == support::coordinatesOf(mesh));
    }
}

TEST_CASE("aSphereIsCutAlongATree") {
    CompactMesh disk = support::sphere(3);
    int const numBefore = disk.getNumVertices();
    Items const cut = cutOf(disk);
    cutSurface().makeDisk(disk);
    // Every vertex but 0 is on the tree; a tree of n vertices has n - 1 edges, walked on both sides.
    CHECK(cut.size() == static_cast<std::size_t>(2 * (numBefore - 2)));
    CHECK(support::numBorderEdges(disk) == 2 * (numBefore - 2));
    CHECK(disk.getNumVertices() == numBefore + (numBefore - 3));
    std::vector<int> numEdges(static_cast<std::size_t>(numBefore), 0);
    for (itineraryItem const& item : cut)
        ++numEdges[static_cast<std::size_t>(item.start)];
    std::vector<int> numCopies(static_cast<std::size_t>(numBefore), 0);
    for (int v = 0; v < disk.getNumVertices(); ++v)
        for (int w = 0; w < numBefore; ++w)
            numCopies[static_cast<std::size_t>(w)] +=
                std::equal(disk.getVerticesRaw() + 3 * v, disk.getVerticesRaw() + 3 * v + 3,
                           disk.getVerticesRaw() + 3 * w);
    for (int v = 1; v < numBefore; ++v)
        CHECK(numCopies[static_cast<std::size_t>(v)] == numEdges[static_cast<std::size_t>(v)]);
    CHECK(numCopies[0] == 1);
}

TEST_CASE("onlyTheComponentOfVertexZeroIsCut") {
    CompactMesh const sphere = support::sphere(2);
    CompactMesh mesh = support::joined(sphere, support::torus(9, 6), 5.0f);
    std::vector<int> const before = support::trianglesOf(mesh);
    cutSurface().makeDisk(mesh);
    std::vector<int> const after = support::trianglesOf(mesh);
    auto const numFirst = static_cast<std::ptrdiff_t>(3 * sphere.getNumTriangles());
    CHECK(
        std::equal(before.begin() + numFirst, before.end(), after.begin() + numFirst, after.end()));
    CHECK(numLoops(mesh) == 1);
    CHECK(support::eulerNumber(mesh) == 1 + 0);
}

TEST_CASE("whatHasNothingToCutStays") {
    CompactMesh doubled = support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 1});
    for (auto& [name, mesh] :
         {NamedMesh{"nothing", {}}, NamedMesh{"one vertex", support::meshOf({1, 2, 3}, {})},
          NamedMesh{"vertex 0 unused", support::meshOf(std::vector<float>(12, 1.0f), {1, 2, 3})},
          NamedMesh{"two triangles back to back", doubled}}) {
        CAPTURE(name);
        CompactMesh cut = mesh;
        support::ModificationCounter counter(cut);
        cutSurface().makeDisk(cut);
        CHECK(counter.total() == 0);
        CHECK(support::trianglesOf(cut) == support::trianglesOf(mesh));
        CHECK(cut.getNumVertices() == mesh.getNumVertices());
    }
}

TEST_CASE("brokenMeshesAreCutSafely") {
    std::vector<NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 60; ++seed)
        meshes.push_back({"soup " + std::to_string(seed),
                          support::latticeSoup(8 + static_cast<int>(seed), 40, seed)});
    for (auto& [name, mesh] : meshes) {
        CAPTURE(name);
        CompactMesh cut = mesh;
        cutSurface().makeDisk(cut);
        CHECK(support::faultOf(cut) == "");
        CHECK(cornersOf(cut) == cornersOf(mesh));
    }
}

//      6 ------ 7 ------ 8       the grid of 2 by 2, diagonals upward to the right
//      |     /  |     /  |
//      3 ------ 4 ------ 5
//      |     /  |     /  |
//      0 ------ 1 ------ 2
TEST_CASE("walksFourEdgesByFirstNeighbours") {
    CompactMesh mesh = support::grid(2, 2);
    SimpleMeshCache cache;
    Items curve = {edgeItem(8, 8)};
    cutSurface().makeSingleCurveCut(curve, mesh, cache);
    REQUIRE(curve.size() == 5);
    auto const table = cache.getAdjVertices(mesh);
    int at = 0;
    for (auto item = std::next(curve.begin()); item != curve.end(); ++item) {
        int const next = table->neighbours(at)[0];
        CHECK(*item == itineraryItem{0, 0, at, next, at, next});
        at = next;
    }
    CHECK(edgesOf(curve) == "8-8 0-1 1-0 0-1 1-0 ");  // there and back

    CompactMesh loose = support::meshOf({0, 0, 0}, {});
    Items none;
    cutSurface().makeSingleCurveCut(none, loose, cache);
    CompactMesh nothing;
    cutSurface().makeSingleCurveCut(none, nothing, cache);
    CHECK(none.empty());
}

TEST_CASE("opensAlongAChainFromBorderToInside") {
    CompactMesh mesh = support::grid(2, 2);
    SimpleMeshCache cache;
    Items curve = {edgeItem(1, 4), edgeItem(4, 7)};
    support::ModificationCounter counter(mesh);
    cutSurface().processSingleCurveCut(curve, mesh.getTriangles(), tableOf(mesh), mesh, cache);
    CHECK(counter.total() == 0);
    // 1 and 7 lie on the border, 4 inside: three copies, in the order of the chain for those that items name.
    REQUIRE(mesh.getNumVertices() == 12);
    CHECK(curve.front() == itineraryItem{-1, 0, 1, 4, 9, 4});
    CHECK(curve.back() == itineraryItem{-1, 0, 4, 7, 10, 7});
    std::vector<float> const c = support::coordinatesOf(mesh);
    CHECK(std::vector(c.begin() + 27, c.end()) == std::vector<float>{1, 0, 0, 1, 1, 0, 1, 2, 0});
    // The copy of 1 is used by none; that of 4 by what lies right of the chain; that of 7 by the one triangle left of its last edge.
    std::vector<int> const after = support::trianglesOf(mesh);
    CHECK(after ==
          std::vector{0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 10, 3, 4, 11, 3, 7, 6, 10, 5, 8, 10, 8, 7});
}

TEST_CASE("aChainInsideTheSurfaceSplitsItsInnerVertices") {
    CompactMesh mesh = support::grid(4, 4);  // 11 12 13 in the middle row
    SimpleMeshCache cache;
    Items curve = {edgeItem(11, 12), edgeItem(12, 13)};
    cutSurface().processSingleCurveCut(curve, mesh.getTriangles(), tableOf(mesh), mesh, cache);
    REQUIRE(mesh.getNumVertices() == 26);
    CHECK(curve.back().newStart == 25);
    CHECK(curve.front().newStart == 11);
    CHECK(numLoops(mesh) == 2);
    CHECK(support::eulerNumber(mesh) == 0);
    // Below the chain, which runs to the right.
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int const v : mesh.getTriangles()[t].vertices)
            if (v == 25)
                for (int const w : mesh.getTriangles()[t].vertices)
                    CHECK(mesh.getVertices()[w].y <= 2.0f);
}

TEST_CASE("aChainThatDoesNotTurnAwayLeavesItsVertex") {
    CompactMesh mesh = support::triangle();
    SimpleMeshCache cache;
    Items curve = {edgeItem(0, 1), edgeItem(1, 2)};
    cutSurface().processSingleCurveCut(curve, mesh.getTriangles(), tableOf(mesh), mesh, cache);
    CHECK(curve.back().newStart == 1);
    CHECK(mesh.getNumVertices() == 5);  // both ends lie on the border
    CHECK(support::trianglesOf(mesh) == std::vector{0, 1, 2});
    Items none;
    cutSurface().processSingleCurveCut(none, mesh.getTriangles(), tableOf(mesh), mesh, cache);
    CHECK(mesh.getNumVertices() == 5);
}

TEST_CASE("startsThatAreMetAgainGetCopies") {
    CompactMesh mesh = support::grid(2, 2);
    Items curve = {edgeItem(0, 4, 1), edgeItem(4, 8, 6), edgeItem(8, 4, 7), edgeItem(4, 0, 0),
                   edgeItem(0, 3, 1)};
    cutSurface().updateVertReferences(curve, mesh.getTriangles(), mesh);
    REQUIRE(mesh.getNumVertices() == 11);
    auto item = curve.begin();
    CHECK(*item++ == itineraryItem{-1, 1, 0, 4, 0, 4});
    CHECK(*item++ == itineraryItem{-1, 6, 4, 8, 4, 8});
    CHECK(*item++ == itineraryItem{-1, 7, 8, 4, 8, 9});
    CHECK(*item++ == itineraryItem{-1, 0, 4, 0, 9, 10});
    CHECK(*item++ == itineraryItem{-1, 1, 0, 3, 10, 3});
    std::vector<float> const c = support::coordinatesOf(mesh);
    CHECK(std::vector(c.begin() + 27, c.end()) == std::vector<float>{1, 1, 0, 0, 0, 0});
    std::vector<int> const after = support::trianglesOf(mesh);
    CHECK(std::vector(after.begin(), after.begin() + 6) == std::vector{10, 1, 9, 10, 4, 3});
    CHECK(std::vector(after.begin() + 18, after.end()) == std::vector{4, 5, 8, 9, 8, 7});
}
