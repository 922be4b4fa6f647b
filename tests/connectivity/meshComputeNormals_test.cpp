#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "tables.h"

#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/connectivity/triNormal.h"

#include <cmath>
#include <cstring>
#include <doctest/doctest.h>

using namespace koGeom;

namespace {

/// Unit normals added in the order of the triangles in 32-bit floats, then brought to unit length.
std::vector<float> serialNormals(CompactMesh const& mesh) {
    std::vector<float> normals(3 * static_cast<std::size_t>(mesh.getNumVertices()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Normal const n = meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].vertices);
        for (int const v : mesh.getTriangles()[t].vertices) {
            float* const sum = normals.data() + 3 * v;
            sum[0] += static_cast<float>(n.x);
            sum[1] += static_cast<float>(n.y);
            sum[2] += static_cast<float>(n.z);
        }
    }
    for (std::size_t i = 0; i < normals.size(); i += 3) {
        float* const n = normals.data() + i;
        double const length2 = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
        float const scale = static_cast<float>(1.0 / std::sqrt(length2));
        for (int axis = 0; axis < 3; ++axis)
            n[axis] = length2 > 1e-24 ? n[axis] * scale : axis == 2 ? 1.0f : 0.0f;
    }
    return normals;
}

}  // namespace

TEST_CASE("aTriangleFacesTheSideFromWhichItRunsAnticlockwise") {
    CHECK(triNormal({0, 0, 0}, {2, 0, 0}, {0, 3, 0}) == Normal::zAxis);
    CHECK(triNormal({0, 0, 0}, {0, 3, 0}, {2, 0, 0}) == Normal(0, 0, -1));
    CHECK(triNormal({0, 0, 0}, {1e-30, 0, 0}, {0, 0, 1e-30}) ==
          Normal(0, -1, 0));  // no tolerance takes part
    CHECK(triNormal({1, 1, 1}, {2, 2, 2}, {3, 3, 3}) == Normal::zAxis);
    CHECK(triNormal({1, 1, 1}, {1, 1, 1}, {INFINITY, 0, 0}) == Normal::zAxis);
    float const corners[9] = {0, 0, 0, 0, 1, 0, 0, 0, 1};
    int const triangle[3] = {0, 1, 2};
    CHECK(meshTriNormal(corners, triangle) == Normal::xAxis);
}

TEST_CASE("vertexNormalsAreTheSerialSumBitForBitOnAnyNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        std::vector<float> const expected = serialNormals(mesh);
        support::withPools([&, &surface = mesh](int numThreads) {
            CAPTURE(numThreads);
            CompactMesh copy(surface);
            meshComputeNormals(copy);
            std::size_t const bytes = expected.size() * sizeof(float);
            CHECK((bytes == 0 || std::memcmp(copy.getNormalsRaw(), expected.data(), bytes) == 0));
        });
    }
}

//   a corner of a cube has one or two triangles on each of its three sides: each triangle counts alike
TEST_CASE("trianglesCountWithoutWeights") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 50}, {0, 1, 2, 0, 2, 3});
    meshComputeNormals(mesh);
    float const half = std::sqrt(0.5f);
    CHECK(mesh.getNormals()[0].x == doctest::Approx(half));
    CHECK(mesh.getNormals()[0].z == doctest::Approx(half));
    CHECK(mesh.getNormals()[1].z == 1.0f);
    CHECK(mesh.getNormals()[3].x == 1.0f);
}

TEST_CASE("computingNormalsSendsOneAttributesModificationAndMarksThem") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 0, 0, 1, 9, 9, 9}, {0, 1, 2});
    support::ModificationCounter counter(mesh);
    support::DebugCapture capture;
    meshComputeNormals(mesh);
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Attributes);
    CHECK(mesh.getNormalsComputed());
    CHECK(mesh.getNormals()[0].y == -1.0f);
    CHECK(mesh.getNormals()[3].z == 1.0f);  // an unused vertex
    CHECK(capture.text() == "meshComputeNormals:  vertices 4  triangles 1\n");

    CompactMesh empty;
    support::ModificationCounter none(empty);
    meshComputeNormals(empty);
    meshComputeTriangleNormals(empty);
    CHECK(none.total() == 0);
    CHECK(capture.text() == "meshComputeNormals:  vertices 4  triangles 1\n");
}

TEST_CASE("triangleNormalsAreThoseOfTheTriangles") {
    support::withPools([](int) {
        CompactMesh mesh = support::latticeSoup(60, 300, 6);
        support::ModificationCounter counter(mesh);
        support::DebugCapture capture;
        meshComputeTriangleNormals(mesh);
        REQUIRE(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Attributes);
        REQUIRE(mesh.getTriangleNormals() != nullptr);
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            MeshNormal expected;
            expected = meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].vertices);
            MeshNormal const& normal = mesh.getTriangleNormals()[t];
            CHECK((normal.x == expected.x && normal.y == expected.y && normal.z == expected.z));
        }
        CHECK(capture.text().starts_with(
            "meshComputeTriangleNormals:  vertices 60  triangles 300\n  normalized: 0."));
    });
}

TEST_CASE("uniformNormalsAreSetSilently") {
    CompactMesh mesh = support::triangle();
    support::ModificationCounter counter(mesh);
    addUniformNormals(mesh, Vector(0, -4, 0));
    CHECK(counter.total() == 0);
    for (int v = 0; v < 3; ++v)
        CHECK(mesh.getNormals()[v].y == -1.0f);
    CHECK_FALSE(mesh.getNormalsComputed());
    addUniformNormals(mesh, Vector::zero);
    CHECK(mesh.getNormals()[0].y == 0.0f);
}
