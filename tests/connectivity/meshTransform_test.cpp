#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/connectivity/meshNormalize.h"
#include "trimora/connectivity/meshOrthoProj.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/connectivity/testDeterminants.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

/// No two elements alike, so that a wrong one shows.
AffineMatrixFlt general() {
    AffineMatrixFlt matrix;
    for (int i = 0; i < 12; ++i)
        matrix.m[i] = 0.3f * static_cast<float>((i * 7 + 3) % 13) - 1.7f;
    return matrix;
}

AffineMatrixFlt scaled(float x, float y, float z) {
    AffineMatrixFlt matrix;
    matrix.m[0] = x, matrix.m[4] = y, matrix.m[8] = z;
    return matrix;
}

std::vector<float> randomNumbers(int count, double low = -10.0, double high = 10.0) {
    support::Random random(12);
    std::vector<float> numbers(static_cast<std::size_t>(count));
    for (float& number : numbers)
        number = static_cast<float>(random.real(low, high));
    return numbers;
}

/// Counts the notices of a half-edge mesh.
struct TopoListener {
    int geometry = 0;
    int topology = 0;
    koRTB::SignalClient client;

    explicit TopoListener(TopoMesh const& mesh) {
        mesh.modificationSignal().addCallback(
            new koRTB::FunctionArgMember<EntityModification&, TopoListener>(
                this, &TopoListener::received),
            client);
    }
    void received(EntityModification& modification) {
        auto const& topo = dynamic_cast<TopoMeshModification const&>(modification);
        ++(topo.getType() == TopoMeshModification::Geometry ? geometry : topology);
    }
};

}  // namespace

TEST_CASE("pointsMoveInTheStatedOrderOfAddition") {
    AffineMatrixFlt const a = general();
    // 9999 points stay on the calling thread, 10000 are shared out
    for (int const count : {0, 1, 5, 9999, 10000}) {
        std::vector<float> const before = randomNumbers(3 * count);
        std::vector<float> expected;
        for (std::size_t i = 0; i < before.size(); i += 3) {
            float const x = before[i];
            float const y = before[i + 1];
            float const z = before[i + 2];
            expected.push_back(((y * a.m[3] + x * a.m[0]) + z * a.m[6]) + a.m[9]);
            expected.push_back(((x * a.m[1] + y * a.m[4]) + z * a.m[7]) + a.m[10]);
            expected.push_back(((x * a.m[2] + y * a.m[5]) + z * a.m[8]) + a.m[11]);
        }
        support::withPools([&](int) {
            std::vector<float> moved = before;
            meshTransform(moved.data(), count, a);
            CHECK(moved == expected);
        });
    }
    meshTransform(static_cast<float*>(nullptr), 3, a);
    float one[3] = {1, 2, 3};
    meshTransform(one, -1, a);
    CHECK(one[0] == 1.0f);
}

TEST_CASE("anIdentityWithinTheToleranceChangesNothingAndSaysNothing") {
    CompactMesh mesh = support::tetrahedron();
    std::vector<float> const before = support::coordinatesOf(mesh);
    AffineMatrixFlt almost;
    almost.m[1] = 9e-7f;
    support::ModificationCounter counter(mesh);
    meshTransform(mesh, almost);
    meshTransform(static_cast<PointMesh&>(mesh), almost);
    meshTransform(mesh.getVerticesRaw(), 4, almost);
    CHECK(support::coordinatesOf(mesh) == before);
    CHECK(counter.total() == 0);

    almost.m[1] = 2e-6f;
    meshTransform(mesh, almost);
    CHECK(counter.total() == 1);
}

TEST_CASE("aMeshMovesWithItsNormalsAndSendsOneGeometryModification") {
    CompactMesh mesh = support::sphere(2);
    meshComputeNormals(mesh);
    meshComputeTriangleNormals(mesh);
    support::ModificationCounter counter(mesh);
    // a sphere becomes an ellipsoid: normals of x^2/4 + y^2 + 4 z^2 = 1
    meshTransform(mesh, scaled(2.0f, 1.0f, 0.5f));
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Geometry);
    REQUIRE(mesh.getNormals() != nullptr);
    REQUIRE(mesh.getTriangleNormals() != nullptr);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        Normal const gradient(Vector(p.x / 4.0, p.y, 4.0 * p.z));
        CHECK(dot(mesh.getNormals()[v].asVector(), Vector(gradient)) > 0.98);
        CHECK(mesh.getNormals()[v].asVector().length() == doctest::Approx(1.0));
    }
    CompactMesh fresh = support::meshOf(support::coordinatesOf(mesh), support::trianglesOf(mesh));
    meshComputeTriangleNormals(fresh);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        CHECK(equivalent(mesh.getTriangleNormals()[t].asVector(),
                         fresh.getTriangleNormals()[t].asVector(), 1e-5));
}

TEST_CASE("aPointMeshMovesAndSendsOneGeometryModification") {
    PointMesh mesh(2);
    mesh.allocNormalArray();
    mesh.getNormals()[1] = Normal::xAxis;
    support::ModificationCounter counter(mesh);
    AffineMatrixFlt matrix = scaled(2, 2, 2);
    matrix.m[9] = 5.0f;
    meshTransform(mesh, matrix);
    CHECK(counter.total() == 1);
    CHECK(mesh.getVertices()[1].x == 5.0f);
    REQUIRE(mesh.getNormals() != nullptr);
    CHECK(mesh.getNormals()[1].x == 1.0f);
    CHECK(mesh.getNormals()[0].z == 1.0f);  // a zero normal becomes the z axis
}

TEST_CASE("normalsTurnEvenByAnIdentity") {
    float normals[6] = {0, 3, 0, 0, 0, 0};
    meshTransformNormals(normals, 2, AffineMatrixFlt::Identity);
    CHECK(normals[1] == 1.0f);
    CHECK(normals[5] == 1.0f);
    meshTransformNormals(nullptr, 2, AffineMatrixFlt::Identity);
}

TEST_CASE("normalizingGivesUnitLengthOrTheZAxis") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float vectors[] = {3, 0, 4, 0, 0, 0, 9e-13f, 0, 0, 1.1e-12f, 0, 0, nan, 1, 1};
    meshNormalize(vectors, 5);
    CHECK(std::vector<float>(vectors, vectors + 9) ==
          std::vector<float>{0.6f, 0, 0.8f, 0, 0, 1, 0, 0, 1});
    CHECK(vectors[9] == doctest::Approx(1.0));  // above the tolerance of the squared length
    CHECK(std::vector<float>(vectors + 12, vectors + 15) == std::vector<float>{0, 0, 1});
    meshNormalize(vectors, -3);
    meshNormalize(nullptr, 0);

    CompactMesh mesh = support::triangle();
    support::ModificationCounter counter(mesh);
    meshNormalize(mesh);  // without normals nothing happens
    CHECK(counter.total() == 0);
    mesh.allocNormalArray();
    mesh.getNormals()[2].x = -7.0f;
    meshNormalize(mesh);
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Attributes);
    CHECK(mesh.getNormals()[2].x == -1.0f);
    CHECK(mesh.getNormals()[0].z == 1.0f);
}

TEST_CASE("projectionDropsTheThirdCoordinate") {
    CompactMesh const mesh = support::terrain(110, 110, 2);
    AffineMatrixFlt const matrix = general();
    std::vector<float> moved = support::coordinatesOf(mesh);
    meshTransform(moved.data(), mesh.getNumVertices(), matrix);
    support::withPools([&](int) {
        support::DebugCapture capture;
        std::unique_ptr<float[]> const projected(meshOrthoProj(mesh, matrix));
        bool agrees = true;
        for (std::size_t v = 0; v < moved.size() / 3; ++v)
            agrees = agrees && projected[2 * v] == moved[3 * v] &&
                     projected[2 * v + 1] == moved[3 * v + 1];
        CHECK(agrees);
        CHECK(capture.text().starts_with("meshOrthoProj: vertices 12321: 0."));
    });
    delete[] meshOrthoProj(CompactMesh(), matrix);
}

TEST_CASE("mirroringPlacementsAreTold") {
    ko::vector<bool> flags{true};
    testDeterminants({}, flags);
    CHECK(flags.empty());
    CompactMesh const mesh;
    testDeterminants(
        {{scaled(-1, 1, 1), &mesh}, {scaled(-1, -1, 1), &mesh}, {scaled(0, 1, 1), nullptr}}, flags);
    CHECK(flags == ko::vector<bool>{true, false, false});
}

TEST_CASE("aHalfEdgeMeshMovesEachVertexOnceHoweverManyEntitiesReachIt") {
    TopoMesh mesh;
    ko::vector<TopoMeshVertex> v;
    for (int i = 0; i < 5; ++i)
        v.push_back(mesh.allocVertex(Point(i, i * i, 0)));
    TopoMeshFace const face = mesh.allocTriangle(v[0], v[1], v[2]);
    TopoMeshFace const next = mesh.allocTriangle(v[0], v[2], v[3]);
    TopoListener listener(mesh);

    AffineMatrix up;
    up.m[11] = 1.0;
    meshTransform(mesh, {v[0], face.edge(), face, TopoMeshEntity(), v[0]}, up);
    CHECK(listener.geometry == 1);
    std::vector<double> heights;
    for (TopoMeshVertex const vertex : v)
        heights.push_back(vertex.point().z);
    CHECK(heights == std::vector<double>{1, 1, 1, 0, 0});

    meshTransform(mesh, {next.edge()}, up);
    CHECK(v[0].point().z + v[2].point().z + v[3].point().z == 4.0);
    meshTransform(mesh, up);
    CHECK(v[4].point() == Point(4, 16, 1));
    CHECK(v[1].point().z == 2.0);
    CHECK(listener.geometry == 3);
    CHECK(listener.topology == 0);
}
