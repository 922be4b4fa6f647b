#include "pieces.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/meshVertSubsetMembership.h"
#include "trimora/assembly/polygonalPartition.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/contract/koGeom/Remap.h"

#include <algorithm>
#include <climits>
#include <doctest/doctest.h>
#include <map>
#include <queue>
#include <set>
#include <vector>

using namespace koGeom;
using partitionTest::Ints;
using partitionTest::Piece;
using partitionTest::pieceOf;
using partitionTest::SubsetList;

namespace {

/// A mesh with polygons, and the polygon of each triangle.
struct PolygonMesh {
    CompactMesh mesh;
    Remap polygons;
    MeshTriAdjTris adjacent;

    PolygonMesh(CompactMesh const& triangles, Ints const& polygonOf, int numPolygons)
        : mesh(triangles), polygons(static_cast<int>(polygonOf.size()), numPolygons) {
        mesh.polys.resize(0, numPolygons);  // what counts is how many there are
        for (std::size_t t = 0; t < polygonOf.size(); ++t)
            polygons.set(static_cast<int>(t), polygonOf[t]);
        meshTriAdjTris(mesh, adjacent);
    }
    SubsetList repaired(SubsetList const& subsets) const {
        return polygonalPartition(mesh, polygons, adjacent, subsets);
    }
};

ko::Reference<MeshSubset> subsetOf(Ints const& triangles) {
    return new MeshSubset(0, nullptr, static_cast<int>(triangles.size()), triangles.data());
}

std::vector<Piece> pieces(SubsetList const& subsets) {
    std::vector<Piece> all;
    for (auto const& subset : subsets)
        all.push_back(pieceOf(*subset));
    return all;
}

/// The same repair with plain searches, with searches from one end to the other.
std::vector<Piece> plainPieces(PolygonMesh const& input, SubsetList const& subsets) {
    Remap membership;
    meshTriSubsetMembership(input.mesh, subsets, membership);
    std::vector<Ints> lists;
    for (auto const& subset : subsets)
        lists.emplace_back(subset->triangles, subset->triangles + subset->numTriangles);
    bool isChanged = false;
    for (int p = 0; p < input.mesh.getNumPolys(); ++p) {
        std::multimap<int, int> found;
        for (int t = 0; t < input.polygons.getDomainSize(); ++t)
            if (input.polygons(t) == p && membership(t) >= 0)
                found.emplace(membership(t), t);
        for (auto const& [subset, triangle] : found) {
            int const keeper = found.begin()->first;
            if (subset == keeper)
                continue;
            Ints& list = lists[std::size_t(subset)];
            std::swap(*std::find(list.begin(), list.end(), triangle), list.back());
            list.pop_back();
            lists[std::size_t(keeper)].push_back(triangle);
            isChanged = true;
        }
    }
    if (!isChanged)
        return pieces(subsets);
    std::vector<Piece> all;
    for (Ints const& list : lists) {
        std::set<int> const inList(list.begin(), list.end());
        std::set<int> visited;
        for (int const first : list) {
            Piece piece;
            std::queue<int> queue({first});
            for (; !queue.empty(); queue.pop()) {
                int const t = queue.front();
                if (!visited.insert(t).second)
                    continue;
                piece.triangles.push_back(t);
                for (int k = 0; k < input.adjacent.numTris(t); ++k)
                    if (inList.count(input.adjacent.triIndices(t)[k]) > 0)
                        queue.push(input.adjacent.triIndices(t)[k]);
            }
            std::set<int> corners;
            for (int const t : piece.triangles)
                for (int const v : input.mesh.getTriangles()[t].vertices)
                    corners.insert(v);
            piece.vertices.assign(corners.begin(), corners.end());
            if (!piece.triangles.empty())
                all.push_back(piece);
        }
    }
    return all;
}

}  // namespace

//  4 ---- 5 ---- 6 ---- 7     a row of quads 0, 1, 2; quad q has triangles 2q and 2q + 1
//  |  /   |  /   |  /   |
//  0 ---- 1 ---- 2 ---- 3
TEST_CASE("polygonsGoToTheFirstOfTheirSubsets") {
    PolygonMesh const row(support::grid(3, 1), {0, 0, 1, 1, 2, 2}, 3);
    // Quad 1 is across: 3 leaves the second list, its last one takes the place. 2 and 3 hang on 0 and 1 through edge 1 5.
    SubsetList const subsets = {subsetOf({2, 0, 1}), subsetOf({3, 4, 5})};
    CHECK((pieces(row.repaired(subsets)) ==
           std::vector<Piece>{{{0, 1, 2, 4, 5, 6}, {2, 3, 0, 1}}, {{2, 3, 6, 7}, {5, 4}}}));
    // Quad 0 joins the keeper, where it does not hang on quad 2; the second list ends empty.
    SubsetList const apart = {subsetOf({4, 5, 0}), subsetOf({1}), subsetOf({2, 3})};
    CHECK((pieces(row.repaired(apart)) == std::vector<Piece>{{{2, 3, 6, 7}, {4, 5}},
                                                             {{0, 1, 4, 5}, {0, 1}},
                                                             {{1, 2, 5, 6}, {2, 3}}}));
}

TEST_CASE("whatNeedsNoRepairComesBackAsItIs") {
    PolygonMesh const row(support::grid(3, 1), {0, 0, 1, 1, 2, 2}, 3);
    // Also when a list does not hang together, and when triangles of a polygon are in no subset.
    SubsetList const subsets = {subsetOf({0, 1, 5}), subsetOf({}), subsetOf({2})};
    CHECK((row.repaired(subsets) == subsets));
    CHECK(row.repaired({}).empty());
    PolygonMesh const none(CompactMesh(), {}, 0);
    CHECK(none.repaired({}).empty());
    SubsetList const withNull = {nullptr, subsetOf({0, 1})};
    CHECK((row.repaired(withNull) == withNull));
}

TEST_CASE("repairIsThatOfPlainSearches") {
    support::Random random(7);
    for (auto const& [name, mesh] : support::zoo()) {
        if (mesh.getNumTriangles() == 0)
            continue;
        for (int const numPolygons : {1, 9, mesh.getNumTriangles()}) {
            CAPTURE_BINDING(name);
            Ints polygonOf;
            for (int t = 0; t < mesh.getNumTriangles();
                 ++t)  // some neighbours, some anywhere, some none
                polygonOf.push_back(random.index(4) > 0 ? t / 2 % numPolygons
                                                        : random.index(numPolygons + 1) - 1);
            PolygonMesh const input(mesh, polygonOf, numPolygons);
            MeshAdjTris adjTris;
            meshAdjTris(mesh, adjTris);
            SubsetList const grown = MeshPartition(mesh, adjTris, 12).partition();
            CHECK((pieces(input.repaired(grown)) == plainPieces(input, grown)));

            // Subsets that overlap, leave triangles out, and list some twice.
            SubsetList odd;
            for (int s = 0; s < 5; ++s) {
                Ints triangles;
                for (int k = 0; k < mesh.getNumTriangles() / 3; ++k)
                    triangles.push_back(random.index(mesh.getNumTriangles()));
                odd.push_back(subsetOf(triangles));
            }
            CHECK((pieces(input.repaired(odd)) == plainPieces(input, odd)));
        }
    }
}

TEST_CASE("noPolygonIsAcrossTwoSubsetsOfARepair") {
    CompactMesh const mesh = support::terrain(60, 60, 1);
    Ints polygonOf;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        polygonOf.push_back(t / 2);
    PolygonMesh const input(mesh, polygonOf, mesh.getNumTriangles() / 2);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    SubsetList const repaired = input.repaired(MeshPartition(mesh, adjTris, 100).partition());
    Remap membership;
    meshTriSubsetMembership(mesh, repaired, membership);
    int numTriangles = 0;
    for (auto const& subset : repaired)
        numTriangles += subset->numTriangles;
    CHECK(numTriangles == mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles(); t += 2) {
        CHECK(membership(t) >= 0);
        CHECK(membership(t) == membership(t + 1));
    }
}

TEST_CASE("remapsOfOtherSizesAreReadAsFarAsTheyGo") {
    CompactMesh const mesh = support::grid(3, 1);
    SubsetList const subsets = {subsetOf({0, 2}), subsetOf({1, 3, 4, 5})};
    PolygonMesh const shorter(mesh, {0, 0, 1}, 2);
    CHECK((pieces(shorter.repaired(subsets)) == plainPieces(shorter, subsets)));
    PolygonMesh const longer(mesh, {-1, -1, 0, 0, 0, 0, 0, 0, INT_MAX}, 1);
    CHECK((pieces(longer.repaired(subsets)) == plainPieces(longer, subsets)));
    PolygonMesh beyond(mesh, {7, 7, 1, 1, 7, 7}, 2);
    CHECK((pieces(beyond.repaired(subsets)) == plainPieces(beyond, subsets)));
}
