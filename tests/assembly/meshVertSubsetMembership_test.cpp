#include "support/builders.h"

#include "trimora/assembly/meshVertSubsetMembership.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

ko::Reference<MeshSubset> subsetOf(std::vector<int> const& vertices,
                                   std::vector<int> const& triangles) {
    return new MeshSubset(static_cast<int>(vertices.size()), vertices.data(),
                          static_cast<int>(triangles.size()), triangles.data());
}

}  // namespace

TEST_CASE("membershipsAreSubsetPositionsAscending") {
    CompactMesh const mesh = support::grid(1, 1);
    ko::list<ko::Reference<MeshSubset>> const subsets = {subsetOf({3, 1}, {1}), subsetOf({}, {}),
                                                         subsetOf({1, 1, 0}, {0, 1})};
    ArrayOfSets vertexSubsets(7, 7);
    meshVertSubsetMembership(mesh, subsets, vertexSubsets);
    std::vector<std::vector<int>> const expected = {{2}, {0, 2, 2}, {}, {0}};
    REQUIRE(vertexSubsets.getNumSets() == 4);
    for (int v = 0; v < 4; ++v) {
        int const* const set = vertexSubsets.getSet(v);
        CHECK(std::vector<int>(set, set + vertexSubsets.getSetSize(v)) ==
              expected[static_cast<std::size_t>(v)]);
    }
    CHECK(vertexSubsets.items.size() == 5);
}

TEST_CASE("theLastSubsetWinsATriangle") {
    CompactMesh const mesh = support::grid(2, 1);
    Remap triangleSubsets;
    meshTriSubsetMembership(mesh, {subsetOf({}, {1, 0}), subsetOf({}, {1}), subsetOf({}, {3})},
                            triangleSubsets);
    CHECK(std::vector<int>(triangleSubsets.table.begin(), triangleSubsets.table.end()) ==
          std::vector<int>{0, 1, -1, 2});
    CHECK(triangleSubsets.rangeSize == 3);
    meshTriSubsetMembership(mesh, {}, triangleSubsets);
    CHECK(triangleSubsets(1) == -1);
    CHECK(triangleSubsets.rangeSize == 0);
}
