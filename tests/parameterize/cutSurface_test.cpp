#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "surfaces.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/parameterize/cutSurface.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <iterator>
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
    return "";
}

std::vector<NamedMesh> openAndClosedSurfaces() {
    using namespace surfaces;
    std::vector<NamedMesh> meshes = support::manifoldZoo();
    meshes.pop_back();  // two components
    for (auto const& [name, mesh] :
         {NamedMesh{"bipyramid", bipyramid(40)},
          {"coarse torus", support::torus(3, 3)},
          {"genus 3", pillow(3)},
          {"strip", support::grid(9, 1)},
          {"annulus", holedGrid(6, {{3, 3}})},
          {"three holes", holedGrid(12, {{3, 3}, {9, 4}, {6, 9}})},
          {"pierced sphere", pierced(support::sphere(3), {0, 1, 2, 3, 4})},
          {"pierced torus", pierced(support::torus(20, 12), {7, 100, 130})},
          {"pierced genus 3", pierced(pillow(3), {0})}})
        meshes.push_back({name, mesh});
    std::size_t const numPlain = meshes.size();
    for (std::size_t i = 0; i < numPlain; ++i)
        for (std::uint64_t seed = 1; seed <= 3; ++seed)
            meshes.push_back({meshes[i].name + " shuffled " + std::to_string(seed),
                              support::shuffled(meshes[i].mesh, seed)});
    return meshes;
}

//      3 ----- 2         a fan of vertex 4 inside a square
//      | \ 2 / |
//      |3  4  1|
//      | / 0 \ |
//      0 ----- 1
CompactMesh wheel() {
    return support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5f, 0.5f, 0},
                           {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4});
}

//      4 --- 3 --- 2
//       \  2 | 1  /
//          \ | / 0
//            0 ----- 1
CompactMesh openFan() {
    return support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, -1, 1, 0},
                           {1, 2, 0, 0, 2, 3, 3, 4, 0});
}

}  // namespace

// --- helpers ---

TEST_CASE("looksForTrianglesEdgesAndVertices") {
    cutSurface cut;
    int const triangle[] = {7, 8, 9};
    int rotated[3];
    for (auto const& [vertex, expected] :
         {std::pair(7, std::array{7, 8, 9}), {8, {8, 9, 7}}, {9, {9, 7, 8}}, {5, {9, 7, 8}}}) {
        cut.orientVertices(vertex, triangle, rotated);
        CHECK(std::equal(rotated, rotated + 3, expected.begin()));
    }
    CHECK(cut.sameTriangle(triangle, triangle));
    for (auto const& other : {std::array{8, 9, 7}, {5, 8, 9}, {7, 5, 9}, {7, 8, 5}})
        CHECK_FALSE(cut.sameTriangle(triangle, other.data()));

    Items items = {edgeItem(3, 1), edgeItem(1, 4)};
    itineraryItem forward = edgeItem(1, 4, 9, 9), backward = edgeItem(4, 1);
    CHECK(cut.listContainsEdge(forward, items));
    CHECK_FALSE(cut.listContainsEdge(backward, items));
    ko::set<int> vertices;
    vertices.insert(7);
    cut.extractVertices(items, vertices);
    CHECK(std::vector<int>(vertices.begin(), vertices.end()) == std::vector{1, 3, 4, 7});

    MeshBoundaries const boundaries = *SimpleMeshCache().getBoundaries(wheel());
    for (int v = 0; v < 5; ++v)
        CHECK(cut.boundaryVertex(boundaries, v) == (v < 4));
}

TEST_CASE("sortsFansAndFindsTheirEdges") {
    CompactMesh closed = wheel(), open = openFan();
    std::vector<int> fan = {2, 0, 1, 3};
    cutSurface().sortFanTriangles(4, 4, fan.data(), closed.getTriangles());
    CHECK(fan == std::vector{2, 3, 0, 1});  // from its first triangle on
    std::vector<int> order = {0, 1, 2};
    do {
        std::vector<int> sorted = order;
        cutSurface().sortFanTriangles(0, 3, sorted.data(), open.getTriangles());
        CHECK(sorted == std::vector{0, 1, 2});  // from border to border
    } while (std::next_permutation(order.begin(), order.end()));

    // The edge that a triangle has with the next one, at the seam as well; at the start of an open fan the border.
    itineraryItem edge = edgeItem(-5, -5, -5, -5);
    auto const head = [&](CompactMesh& mesh, int vertex, std::vector<int>& sorted, int position) {
        cutSurface().getFirstCCEdge(mesh.getTriangles(), vertex, sorted.data(), position,
                                    static_cast<int>(sorted.size()), edge);
        CHECK(edge == itineraryItem{-5, -5, vertex, edge.end, -5, -5});
        return edge.end;
    };
    for (int position = 0; position < 4; ++position)
        CHECK(head(closed, 4, fan, position) ==
              std::array{3, 0, 1, 2}[static_cast<unsigned>(position)]);
    CHECK(head(open, 0, order, 0) == 1);
    CHECK(head(open, 0, order, 1) == 3);
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

// --- the flood ---

TEST_CASE("neighboursAreQueuedInTheOrderOfTheFans") {
    CompactMesh mesh = wheel();
    bool visited[4] = {};
    Items queue, cut;
    auto const check = [&](CompactMesh& of, int triangle) {
        queue.clear();
        cut.clear();
        cutSurface().checkNeighborhood(triangle, tableOf(of), of.getTriangles(), visited, queue,
                                       cut);
    };
    check(mesh, 1);
    // Of triangle (1, 2, 4): across 4-1 through the fan of 1, then across 2-4 through that of 2.
    CHECK(edgesOf(queue) == "4-1 2-4 ");
    CHECK(queue.front() == itineraryItem{0, 1, 4, 1, 4, 1});
    CHECK(queue.back() == itineraryItem{2, 1, 2, 4, 2, 4});
    CHECK(edgesOf(cut) == "1-2 ");
    CHECK(cut.front() == itineraryItem{-1, 1, 1, 2, 1, 2});
    visited[0] = true;
    check(mesh, 1);
    CHECK(edgesOf(queue) == "2-4 ");
    CHECK(edgesOf(cut) == "1-2 ");
    CompactMesh lone = support::triangle();
    check(lone, 0);
    CHECK(edgesOf(cut) == "0-1 1-2 2-0 ");
}

// --- tour and pieces ---

TEST_CASE("aTourWithoutACandidateStops") {
    CompactMesh mesh = wheel();
    Items in = {edgeItem(0, 1), edgeItem(2, 3), edgeItem(1, 4, 0, 1), edgeItem(3, 0)};
    Items out = {edgeItem(9, 9)};
    cutSurface().sequenceEdges(in, out, mesh.getTriangles(), tableOf(mesh));
    CHECK(edgesOf(out) == "9-9 0-1 1-4 ");
    CHECK(edgesOf(in) == "2-3 3-0 ");
    // Items of no vertex, and candidates that the fan does not lead to; then none at all.
    Items strange = {edgeItem(0, 4), edgeItem(4, 9), edgeItem(4, 77), edgeItem(-3, 4),
                     edgeItem(99, 4)};
    out.clear();
    cutSurface().sequenceEdges(strange, out, mesh.getTriangles(), tableOf(mesh));
    CHECK(edgesOf(out) == "0-4 ");
    CHECK(strange.size() == 4);
    Items none;
    cutSurface().sequenceEdges(none, out, mesh.getTriangles(), tableOf(mesh));
    CHECK(out.size() == 1);
}

TEST_CASE("twoCandidatesAreToldApart") {
    CompactMesh mesh = wheel();
    itineraryItem const mirror = edgeItem(4, 3, 3, 0), other = edgeItem(4, 2, 1, 2);
    auto const second = [&](itineraryItem const& a, itineraryItem const& b) {
        Items in = {edgeItem(0, 4, 0, 3), a, b}, out;
        cutSurface().sequenceEdges(in, out, mesh.getTriangles(), tableOf(mesh));
        return *std::next(out.begin());
    };
    // Clockwise from 0 comes 3 before 2: but by then the mirror of the first item has lost.
    CHECK(second(mirror, other) == other);
    CHECK(second(other, mirror) == other);
    for (itineraryItem const& half : {edgeItem(4, 3, 3, 2), edgeItem(4, 3, 1, 0)})
        CHECK(second(other, half) == half);
    // Of equal edges the first, also after another one has been taken.
    CHECK(second(other, edgeItem(4, 2, 2, 1)) == other);
    Items in = {edgeItem(3, 4), edgeItem(4, 2), edgeItem(4, 1, 0, 1), edgeItem(4, 1, 1, 0),
                edgeItem(2, 4)};
    Items out;
    cutSurface().sequenceEdges(in, out, mesh.getTriangles(), tableOf(mesh));
    CHECK(out.back() == edgeItem(4, 1, 0, 1));
}

TEST_CASE("edgesDivideFans") {
    CompactMesh mesh = wheel();  // sorted: 0 (0 1), 1 (1 2), 2 (2 3), 3 (3 0)
    auto const piecesOf = [&](Items edges) {
        Pieces pieces;
        cutSurface().sortEdgePartitions(4, edges, mesh.getTriangles(), tableOf(mesh), pieces);
        return pieces;
    };
    CHECK(piecesOf({edgeItem(4, 2)}) == Pieces{{2, 3, 0, 1}});
    CHECK(piecesOf({edgeItem(4, 0), edgeItem(4, 2)}) == Pieces{{2, 3}, {0, 1}});
    CHECK(piecesOf({edgeItem(4, 0), edgeItem(0, 4)}) == Pieces{{0, 1, 2, 3}});
    // One that arrives divides as well, and opens where none leaves.
    CHECK(piecesOf({edgeItem(1, 4), edgeItem(4, 3)}) == Pieces{{3, 0}, {1, 2}});
    CHECK(piecesOf({edgeItem(1, 4), edgeItem(3, 4)}) == Pieces{{1, 2}, {3, 0}});
    CHECK(piecesOf({edgeItem(0, 1)}) == Pieces{{0, 1, 2, 3}});

    // An open fan from its start on, behind what is there.
    CompactMesh open = openFan();
    Items edges = {edgeItem(0, 1), edgeItem(4, 0), edgeItem(3, 0)};
    Pieces pieces = {{42}};
    cutSurface().sortEdgePartitions(0, edges, open.getTriangles(), tableOf(open), pieces);
    CHECK(pieces == Pieces{{42}, {0, 1}, {2}});

    Items arriving = {edgeItem(1, 4), edgeItem(3, 4)};  // copies 5 of 1, 6 of 3, 7 of 4
    cutSurface().processCut(arriving, mesh.getTriangles(), tableOf(mesh), mesh);
    CHECK(support::trianglesOf(mesh) == std::vector{0, 5, 7, 1, 2, 4, 2, 6, 4, 3, 0, 7});
}

// --- the whole ---

TEST_CASE("surfacesBecomeDisks") {
    for (auto& [name, mesh] : openAndClosedSurfaces()) {
        CAPTURE_BINDING(name);
        Items cut = cutOf(mesh);
        for (auto item = cut.begin(); item != cut.end(); ++item) {
            MeshTriangle const& triangle = mesh.getTriangles()[item->triangle];
            CHECK(Boundary::findEdge(item->start, triangle) == item->end);
            if (item->nextTriangle < 0)
                continue;
            itineraryItem const mirror =
                edgeItem(item->end, item->start, item->nextTriangle, item->triangle);
            REQUIRE(++item != cut.end());
            CHECK(*item == mirror);
        }
        // A tour: each item once, and each ends where the next one starts, round to the first.
        std::size_t const numItems = cut.size();
        Items tour;
        cutSurface().sequenceEdges(cut, tour, mesh.getTriangles(), tableOf(mesh));
        CHECK(tour.size() == numItems);
        int at = tour.back().end;
        for (itineraryItem const& item : tour)
            CHECK(std::exchange(at, item.end) == item.start);

        CompactMesh disk = mesh;
        support::ModificationCounter counter(disk);
        cutSurface().makeDisk(disk);
        CHECK(faultOfDisk(disk, mesh) == "");
        std::vector<float> const before = support::coordinatesOf(mesh);
        std::vector<float> const after = support::coordinatesOf(disk);
        CHECK(std::equal(before.begin(), before.end(), after.begin()));
        std::vector<std::ptrdiff_t> sources;  // of the copies
        for (auto copy = after.begin() + std::ssize(before); copy != after.end(); copy += 3)
            for (auto p = before.begin(); p != before.end(); p += 3)
                if (std::equal(p, p + 3, copy))
                    sources.push_back(p - before.begin());
        CHECK(std::ssize(sources) == disk.getNumVertices() - mesh.getNumVertices());
        CHECK(std::is_sorted(sources.begin(), sources.end()));
        REQUIRE(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);
    }
}

TEST_CASE("copiesAreNumberedByVertexAndPiece") {
    CompactMesh disk = support::octahedron();
    cutSurface().makeDisk(disk);
    // All edges of vertex 1 are cut. It stays with the triangle behind its edge to 2, which the fan meets first.
    CHECK(support::trianglesOf(disk) ==
          std::vector{0, 2, 4, 2, 8, 4, 7, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 6, 5, 0, 3, 5});
}

TEST_CASE("onlyTheComponentOfVertexZeroIsCut") {
    CompactMesh const sphere = support::sphere(2);
    CompactMesh mesh = support::joined(sphere, support::torus(9, 6), 5.0f);
    std::vector<int> const before = support::trianglesOf(mesh);
    cutSurface().makeDisk(mesh);
    std::vector<int> const after = support::trianglesOf(mesh);
    auto const numFirst = static_cast<std::ptrdiff_t>(3 * sphere.getNumTriangles());
    CHECK(std::equal(before.begin() + numFirst, before.end(), after.begin() + numFirst));
    CHECK(numLoops(mesh) == 1);
    CHECK(support::eulerNumber(mesh) == 1 + 0);
}

TEST_CASE("whatHasNothingToCutStays") {
    for (auto& [name, mesh, numNotices] :
         {std::tuple("nothing", CompactMesh(), 0),
          {"one vertex", support::meshOf({1, 2, 3}, {}), 0},
          {"vertex 0 unused", support::meshOf(std::vector<float>(12, 1.0f), {1, 2, 3}), 0},
          {"back to back", support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 1}), 1}}) {
        CAPTURE_BINDING(name);
        CompactMesh cut = mesh;
        support::ModificationCounter counter(cut);
        cutSurface().makeDisk(cut);
        CHECK(counter.total() == numNotices);
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
        CAPTURE_BINDING(name);
        CompactMesh cut = mesh;
        cutSurface().makeDisk(cut);
        CHECK(support::faultOf(cut) == "");
        CHECK(cornersOf(cut) == cornersOf(mesh));
    }
}

// --- along a chain ---

TEST_CASE("walksFourEdgesByFirstNeighbours") {
    CompactMesh mesh = support::grid(2, 2);
    SimpleMeshCache cache;
    Items curve = {edgeItem(8, 8)};
    cutSurface().makeSingleCurveCut(curve, mesh, cache);
    CHECK(edgesOf(curve) == "8-8 0-1 1-0 0-1 1-0 ");  // there and back
    CHECK(curve.back() == itineraryItem{0, 0, 1, 0, 1, 0});
    CompactMesh loose = support::meshOf({0, 0, 0}, {}), nothing;
    Items none;
    cutSurface().makeSingleCurveCut(none, loose, cache);
    cutSurface().makeSingleCurveCut(none, nothing, cache);
    CHECK(none.empty());
}

void openAlong(CompactMesh& mesh, Items& curve) {
    SimpleMeshCache cache;
    support::ModificationCounter counter(mesh);
    cutSurface().processSingleCurveCut(curve, mesh.getTriangles(), tableOf(mesh), mesh, cache);
    CHECK(counter.total() == 0);
}

//      6 ------ 7 ------ 8       the grid of 2 by 2, diagonals upward to the right
//      |     /  |     /  |
//      3 ------ 4 ------ 5
//      |     /  |     /  |
//      0 ------ 1 ------ 2
TEST_CASE("opensAlongAChain") {
    CompactMesh mesh = support::grid(2, 2);
    Items curve = {edgeItem(1, 4), edgeItem(4, 7)};
    openAlong(mesh, curve);
    // 1 and 7 lie on the border, 4 inside: three copies, in the order of the chain for those that items name.
    REQUIRE(mesh.getNumVertices() == 12);
    CHECK(curve.front() == itineraryItem{-1, 0, 1, 4, 9, 4});
    CHECK(curve.back() == itineraryItem{-1, 0, 4, 7, 10, 7});
    std::vector<float> const c = support::coordinatesOf(mesh);
    CHECK(std::vector(c.begin() + 27, c.end()) == std::vector<float>{1, 0, 0, 1, 1, 0, 1, 2, 0});
    // The copy of 1 is used by none; that of 4 by what lies right of the chain; that of 7 by the one triangle left of its last edge.
    CHECK(support::trianglesOf(mesh) ==
          std::vector{0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 10, 3, 4, 11, 3, 7, 6, 10, 5, 8, 10, 8, 7});

    // A chain that ends along the border has no triangle on its other side; nor has the middle one of a lone triangle.
    CompactMesh whole = support::grid(2, 2), lone = support::triangle();
    Items along = {edgeItem(2, 1)}, round = {edgeItem(0, 1), edgeItem(1, 2)}, none;
    openAlong(whole, along);
    CHECK(whole.getNumVertices() == 11);  // both ends lie on the border
    CHECK(support::trianglesOf(whole) == support::trianglesOf(support::grid(2, 2)));
    openAlong(lone, round);
    CHECK(round.back().newStart == 1);
    CHECK(lone.getNumVertices() == 5);
    CHECK(support::trianglesOf(lone) == std::vector{0, 1, 2});
    openAlong(lone, none);
    CHECK(lone.getNumVertices() == 5);
}

TEST_CASE("startsThatAreMetAgainGetCopies") {
    CompactMesh mesh = support::grid(2, 2);
    Items curve = {edgeItem(0, 4, 1), edgeItem(4, 8, 6), edgeItem(8, 4, 7), edgeItem(4, 0, 0),
                   edgeItem(0, 3, 1)};
    cutSurface().updateVertReferences(curve, mesh.getTriangles(), mesh);
    REQUIRE(mesh.getNumVertices() == 11);
    std::string renamed;
    for (itineraryItem const& item : curve)
        renamed += std::to_string(item.newStart) + "-" + std::to_string(item.newEnd) + " ";
    CHECK(edgesOf(curve) == "0-4 4-8 8-4 4-0 0-3 ");
    CHECK(renamed == "0-4 4-8 8-9 9-10 10-3 ");
    std::vector<float> const c = support::coordinatesOf(mesh);
    CHECK(std::vector(c.begin() + 27, c.end()) == std::vector<float>{1, 1, 0, 0, 0, 0});
    std::vector<int> const after = support::trianglesOf(mesh);
    CHECK(std::vector(after.begin(), after.begin() + 6) == std::vector{10, 1, 9, 10, 4, 3});
    CHECK(std::vector(after.begin() + 18, after.end()) == std::vector{4, 5, 8, 9, 8, 7});
}
