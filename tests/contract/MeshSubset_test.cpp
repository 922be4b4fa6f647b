#include "trimora/contract/koGeom/MeshSubset.h"

#include <doctest/doctest.h>

using koGeom::MeshSubset;

TEST_CASE("aSubsetOwnsCopiesOfItsLists") {
    int vertices[] = {4, 2};
    int triangles[] = {7, 8, 9};
    MeshSubset const subset(2, vertices, 3, triangles);
    MeshSubset const copy(subset);
    vertices[0] = triangles[0] = 0;
    CHECK(subset.vertices[0] == 4);
    CHECK(subset.triangles[0] == 7);
    CHECK(copy.triangles[2] == 9);
    CHECK(copy.vertices != subset.vertices);
    MeshSubset const empty(0, nullptr, -1, nullptr);
    CHECK(empty.numTriangles == 0);
    CHECK(empty.vertices == nullptr);
}
