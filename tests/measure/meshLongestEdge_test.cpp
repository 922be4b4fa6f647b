#include "support/builders.h"

#include "trimora/measure/meshLongestEdge.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

TEST_CASE("longestEdgeIsThatOfAnyCornerPair") {
    // 3-4-5 triangles whose longest edge is (0,1), (1,2), (2,0) in turn
    CHECK(meshLongestEdge(support::meshOf({0, 0, 0, 3, 4, 0, 3, 0, 0}, {0, 1, 2})) == 5.0);
    CHECK(meshLongestEdge(support::meshOf({3, 0, 0, 0, 0, 0, 3, 4, 0}, {0, 1, 2})) == 5.0);
    CHECK(meshLongestEdge(support::meshOf({3, 4, 0, 3, 0, 0, 0, 0, 0}, {0, 1, 2})) == 5.0);
    CHECK(meshLongestEdge(support::grid(3, 2)) == static_cast<double>(std::sqrt(2.0f)));
}

TEST_CASE("longestEdgeIsWorkedOutInFloats") {
    CompactMesh const mesh = support::terrain(10, 10, 2);
    float expected = 0.0f;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            MeshVertex const& a = mesh.getVertices()[mesh.getTriangles()[t][k]];
            MeshVertex const& b = mesh.getVertices()[mesh.getTriangles()[t][(k + 1) % 3]];
            float const x = b.x - a.x, y = b.y - a.y, z = b.z - a.z;
            expected = std::fmax(expected, x * x + y * y + z * z);
        }
    CHECK(meshLongestEdge(mesh) == static_cast<double>(std::sqrt(expected)));
}

TEST_CASE("longestEdgeOfNothingIs0AndBrokenEdgesDoNotCount") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CHECK(meshLongestEdge(CompactMesh()) == 0.0);
    CHECK(meshLongestEdge(support::meshOf({0, 0, 0, 9, 9, 9}, {})) == 0.0);
    CHECK(meshLongestEdge(support::meshOf({1, 1, 1}, {0, 0, 0})) == 0.0);
    CHECK(meshLongestEdge(support::meshOf({0, 0, 0, 2, 0, 0, nan, 0, 0}, {0, 1, 2})) == 2.0);
    CHECK(meshLongestEdge2D(CompactMesh(), nullptr) == 0.0);
}

TEST_CASE("longestEdgeInThePlaneReadsTwoFloatsAVertex") {
    float const uv[6] = {0, 0, 3, 4, 3, 0};
    CHECK(meshLongestEdge2D(support::triangle(), uv) == 5.0);
}
