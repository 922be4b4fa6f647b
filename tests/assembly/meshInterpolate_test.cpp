#include "support/builders.h"

#include "trimora/assembly/meshInterpolate.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("cornersOfTheParameterTriangleGiveTheCornersUVs") {
    CompactMesh mesh = support::grid(1, 1);
    mesh.allocUVArray();
    for (int v = 0; v < 4; ++v)
        mesh.getUVs()[v].set(static_cast<float>(v), static_cast<float>(v * v));
    float const parameters[3][2] = {{0, 0}, {1, 0}, {0, 1}};
    for (int k = 0; k < 3; ++k) {
        MeshUV uv{9, 9};
        meshInterpolate(mesh, 1, parameters[k][0], parameters[k][1], uv);
        CHECK(uv.u == static_cast<float>(mesh.getTriangles()[1][k]));
    }
    MeshUV middle{};
    meshInterpolate(mesh, 0, 0.25f, 0.5f, middle);  // corners 0, 1, 3
    CHECK(middle.u == 1.75f);
    CHECK(middle.v == 4.75f);
}

TEST_CASE("withoutUVsOrTriangleTheResultIsZero") {
    CompactMesh mesh = support::triangle();
    MeshUV uv{9, 9};
    meshInterpolate(mesh, 0, 0.5f, 0.5f, uv);
    CHECK(uv.u == 0.0f);
    mesh.allocUVArray();
    uv.set(9.0f, 9.0f);
    meshInterpolate(mesh, 1, 0.5f, 0.5f, uv);
    CHECK(uv.v == 0.0f);
}

TEST_CASE("everyComponentOfASetIsBlended") {
    for (int dimension = 1; dimension <= 4; ++dimension) {
        MeshAttributes source("a", dimension, 3);
        MeshAttributes target("b", dimension, 2);
        for (int i = 0; i < 3 * dimension; ++i)
            source.asFloat()[i] = static_cast<float>(i * i);
        meshInterpolate(source, 2, 0, 1, 0.25f, 0.5f, target, 1);
        for (int c = 0; c < dimension; ++c) {
            float const* const value = source.asFloat() + c;
            CHECK(target.asFloat()[dimension + c] ==
                  0.25f * value[2 * dimension] + 0.25f * value[0] + 0.5f * value[dimension]);
            CHECK(target.asFloat()[c] == 0.0f);
        }
    }
}
