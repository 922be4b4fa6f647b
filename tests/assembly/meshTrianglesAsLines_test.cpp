#include "support/builders.h"
#include "support/oracles.h"

#include "trimora/assembly/meshTrianglesAsLines.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>
#include <memory>
#include <vector>

using namespace koGeom;

namespace {

std::vector<int> linesOf(CompactMesh const& mesh) {
    int count = -1;
    int* lines = nullptr;
    meshTrianglesAsLines(mesh, count, lines);
    std::unique_ptr<int[]> const owner(lines);
    return {lines, lines + 2 * count};
}

}  // namespace

TEST_CASE("twoTrianglesOnOneEdgeHaveFiveLines") {
    CHECK(linesOf(support::grid(1, 1)) == std::vector<int>{0, 1, 0, 2, 0, 3, 1, 3, 2, 3});
}

TEST_CASE("aMeshWithoutTrianglesHasNoArray") {
    int count = 7;
    int some = 0;
    int* lines = &some;
    meshTrianglesAsLines(CompactMesh(3, nullptr, nullptr, nullptr, nullptr), count, lines);
    CHECK(count == 0);
    CHECK(lines == nullptr);
}

TEST_CASE("linesAreTheEdgesInOrderOverTheZoo") {
    for (support::NamedMesh const& named : support::zoo()) {
        std::vector<int> expected;
        for (auto const& [edge, triangles] : support::edgeTable(named.mesh))
            expected.insert(expected.end(), {edge[0], edge[1]});
        INFO(named.name);
        CHECK(linesOf(named.mesh) == expected);
    }
}
