// Shapes of triangles and quads: literal tables, orientation on every axis, and how areas and volumes converge.

#include "support/TopoModificationCounter.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/assembly/primitives.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <array>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <new>
#include <numbers>

using namespace koGeom;
using support::coordinatesOf;
using support::trianglesOf;

namespace {

using Floats = std::vector<float>;
using Ints = std::vector<int>;
using Builder = std::function<void(CompactMesh&)>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

Floats normalsOf(CompactMesh const& mesh) {
    float const* const n = mesh.getNormalsRaw();
    return n == nullptr ? Floats() : Floats(n, n + 3 * mesh.getNumVertices());
}

Floats uvsOf(CompactMesh const& mesh) {
    float const* const uv = mesh.getUVsRaw();
    return uv == nullptr ? Floats() : Floats(uv, uv + 2 * mesh.getNumVertices());
}

CompactMesh made(Builder const& build) {
    CompactMesh mesh;
    build(mesh);
    return mesh;
}

CompactMesh sphere(int n, double radius = 1.0) {
    return made(
        [&](CompactMesh& m) { constructSphere(Point(), static_cast<float>(radius), n, m); });
}

/// Twice the area of a triangle as a vector, in the direction from which it runs counter-clockwise.
Vector facing(CompactMesh const& mesh, int t) {
    MeshTriangle const& c = mesh.getTriangles()[t];
    Point const a = mesh.getVertices()[c[0]].asPoint();
    return cross(mesh.getVertices()[c[1]].asPoint() - a, mesh.getVertices()[c[2]].asPoint() - a);
}

/// Each corner's normal, where it has one, points to the side that its triangles face.
void checkNormalsAgree(CompactMesh const& mesh) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int const v : mesh.getTriangles()[t].vertices) {
            Vector const normal = mesh.getNormals()[v].asVector();
            if (normal.length2() > 0.0)
                CHECK(dot(normal, facing(mesh, t)) > 0.0);
        }
    }
}

/// The boundary of a cube with its corners welded by position, for oracles of closed surfaces.
int numOpenEdges(CompactMesh const& mesh) {
    CompactMesh welded = mesh;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int& v : welded.getTriangles()[t].vertices) {
            for (int w = v; w >= 0; --w) {
                if (mesh.getVertices()[w].asPointFlt() == mesh.getVertices()[v].asPointFlt())
                    v = w;
            }
        }
    }
    return support::numBorderEdges(welded);
}

float const r0[2] = {2.0f, 5.0f};
float const r1[2] = {-1.0f, 3.0f};
float const unit[2] = {0.0f, 1.0f};

}  // namespace

TEST_CASE("aRectangleLiesAcrossItsAxis") {
    CompactMesh z;
    constructRectangle(r0, r1, 7.0f, 2, z, false);
    CHECK(coordinatesOf(z) == Floats{2, -1, 7, 5, -1, 7, 2, 3, 7, 5, 3, 7});
    CHECK(normalsOf(z) == Floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1});
    CHECK(trianglesOf(z) == Ints{0, 1, 2, 3, 2, 1});
    CHECK(z.getUVs() == nullptr);

    CompactMesh x;
    constructRectangle(r0, r1, 7.0f, 0, x, true);
    CHECK(coordinatesOf(x) == Floats{7, 2, -1, 7, 5, -1, 7, 2, 3, 7, 5, 3});
    CHECK(uvsOf(x) == Floats{0, 0, 1, 0, 0, 1, 1, 1});

    CompactMesh y;
    float const u[2] = {0.25f, 0.5f};
    float const v[2] = {2.0f, -2.0f};
    constructRectangle(r0, r1, 7.0f, 1, y, true, u, v);
    CHECK(coordinatesOf(y) == Floats{-1, 7, 2, -1, 7, 5, 3, 7, 2, 3, 7, 5});
    CHECK(normalsOf(y) == Floats{0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0});
    CHECK(uvsOf(y) == Floats{0.25, 2, 0.5, 2, 0.25, -2, 0.5, -2});

    CompactMesh square;
    constructSquare(r0, 1.0f, 2, square, true);
    CHECK(coordinatesOf(square) == Floats{2, 2, 1, 5, 2, 1, 2, 5, 1, 5, 5, 1});
    CHECK(uvsOf(square).size() == 8);
}

TEST_CASE("aPlaneGivesTheSquareOfItsParameters") {
    ParamPlane plane;
    plane.origin = Point(1.0, 2.0, 3.0);
    plane.normal = Normal::xAxis;
    plane.uAxis = Normal::yAxis;
    plane.vAxis = Normal::zAxis;
    CompactMesh mesh;
    constructRectangle(plane, mesh);
    CHECK(coordinatesOf(mesh) == Floats{1, 2, 3, 1, 3, 3, 1, 3, 4, 1, 2, 4});
    CHECK(normalsOf(mesh) == Floats{1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0});
    CHECK(uvsOf(mesh) == Floats{0, 0, 1, 0, 1, 1, 0, 1});
    CHECK(trianglesOf(mesh) == Ints{0, 1, 2, 2, 3, 0});
    checkNormalsAgree(mesh);
}

//     3-------2
//     |       |
//     4---5   |      the inner corner at (3, 1)
//         |   |
//         0---1
TEST_CASE("aCornerIsAFanRoundItsInnerVertex") {
    float const r2[2] = {3.0f, 1.0f};
    CompactMesh mesh;
    constructRectangularCorner(r0, r1, r2, mesh, true);
    CHECK(coordinatesOf(mesh) == Floats{3, -1, 0, 5, -1, 0, 5, 3, 0, 2, 3, 0, 2, 1, 0, 3, 1, 0});
    CHECK(trianglesOf(mesh) == Ints{5, 0, 1, 5, 1, 2, 5, 2, 3, 5, 3, 4});
    float const third = 1.0f / 3.0f;
    CHECK(uvsOf(mesh) == Floats{third, 0, 1, 0, 1, 1, 0, 1, 0, 0.5, third, 0.5});
    CHECK(support::area(mesh) == doctest::Approx(3 * 4 - 1 * 2));
    checkNormalsAgree(mesh);

    float const u[2] = {1.0f, 4.0f};
    float const v[2] = {10.0f, 2.0f};
    constructRectangularCorner(r0, r1, r2, mesh, true, u, v);
    CHECK(uvsOf(mesh) == Floats{2, 10, 4, 10, 4, 2, 1, 2, 1, 6, 2, 6});
    CompactMesh plain;
    constructRectangularCorner(r0, r1, r2, plain, false);
    CHECK(plain.getUVs() == nullptr);
    CHECK(normalsOf(plain) == normalsOf(mesh));
    constructRectangularCorner(unit, r0, unit, plain,
                               true);  // no extent left to divide by is no fault
    float const flat[2] = {1.0f, 1.0f};
    constructRectangularCorner(flat, flat, flat, plain, true);
    CHECK(std::isnan(plain.getUVs()[0].u));
}

TEST_CASE("aDiskIsAFanThatLeavesItsCentreWithoutNormal") {
    CompactMesh mesh;
    constructDisk(Point(1.0, 2.0, 3.0), 2.0f, 2, 4, mesh);
    CHECK(mesh.getNumVertices() == 5);
    CHECK(trianglesOf(mesh) == Ints{0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 1});
    CHECK(normalsOf(mesh) == Floats{0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1});
    float const places[5][2] = {{1, 2}, {1, 4}, {-1, 2}, {1, 0}, {3, 2}};  // the first a step on
    for (int v = 0; v < 5; ++v) {
        CHECK(mesh.getVertices()[v].x == doctest::Approx(places[v][0]));
        CHECK(mesh.getVertices()[v].y == doctest::Approx(places[v][1]));
        CHECK(mesh.getVertices()[v].z == 3.0f);
        CHECK(mesh.getUVs()[v].u == doctest::Approx((places[v][0] - 1.0f) / 4.0f + 0.5f));
        CHECK(mesh.getUVs()[v].v == doctest::Approx((places[v][1] - 2.0f) / 4.0f + 0.5f));
    }

    float const step =
        static_cast<float>(2.0 * std::numbers::pi / 97);  // angles in single precision
    constructDisk(Point(0.1, 0.2, 0.3), 0.7f, 1, 97, mesh);
    for (int i = 1; i <= 97; ++i) {
        float const angle = static_cast<float>(i) * step;
        CHECK(mesh.getVertices()[i].z == static_cast<float>(std::cos(angle) * 0.7f + 0.3));
        CHECK(mesh.getVertices()[i].x == static_cast<float>(std::sin(angle) * 0.7f + 0.1));
        CHECK(mesh.getUVs()[i].v == std::sin(angle) * 0.5f + 0.5f);
    }
    constructDisk(Point(), 1.0f, 2, 1, mesh);
    CHECK(trianglesOf(mesh) == Ints{0, 1, 1});
}

TEST_CASE("aCuboidHasSixFacesOfTheirOwn") {
    float const ranges[3][2] = {{0, 1}, {0, 2}, {0, 3}};
    CompactMesh mesh;
    constructCuboid(ranges, mesh);
    CHECK(coordinatesOf(mesh) == Floats{1, 0, 0, 1, 0, 3, 1, 2, 0, 1, 2, 3, 0, 0, 3, 0, 0, 0,
                                        0, 2, 3, 0, 2, 0, 0, 2, 0, 1, 2, 0, 0, 2, 3, 1, 2, 3,
                                        0, 0, 3, 1, 0, 3, 0, 0, 0, 1, 0, 0, 1, 0, 3, 0, 0, 3,
                                        1, 2, 3, 0, 2, 3, 0, 0, 0, 1, 0, 0, 0, 2, 0, 1, 2, 0});
    CHECK(trianglesOf(mesh) == Ints{2,  1,  0,  1,  2,  3,  6,  5,  4,  5,  6,  7,
                                    10, 9,  8,  9,  10, 11, 14, 13, 12, 13, 14, 15,
                                    18, 17, 16, 17, 18, 19, 22, 21, 20, 21, 22, 23});
    CHECK(normalsOf(mesh) == Floats{1, 0, 0,  1, 0, 0,  1, 0, 0,  1, 0, 0,  -1, 0, 0, -1, 0, 0, -1,
                                    0, 0, -1, 0, 0, 0,  1, 0, 0,  1, 0, 0,  1,  0, 0, 1,  0, 0, -1,
                                    0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, 0,  1,  0, 0, 1,  0, 0, 1,
                                    0, 0, 1,  0, 0, -1, 0, 0, -1, 0, 0, -1, 0,  0, -1});
    CHECK(support::volume(mesh) == doctest::Approx(6.0));
    CHECK(support::area(mesh) == doctest::Approx(22.0));
    CHECK(numOpenEdges(mesh) == 0);
    checkNormalsAgree(mesh);

    CompactMesh cube;
    constructCube(r0, cube);
    CHECK(support::volume(cube) == doctest::Approx(27.0));
    CHECK(trianglesOf(cube) == trianglesOf(mesh));
}

TEST_CASE("theCoarsestSphereIsAnOctahedron") {
    CompactMesh mesh;
    constructSphere(Point(1.0, 2.0, 3.0), 2.0f, 1, mesh);
    REQUIRE(mesh.getNumVertices() == 6);
    float const expected[6][3] = {{1, 2, 5}, {1, 2, 1}, {1, 4, 3},
                                  {3, 2, 3}, {1, 0, 3}, {-1, 2, 3}};
    for (int v = 0; v < 6; ++v) {
        for (int k = 0; k < 3; ++k) {
            CHECK((&mesh.getVertices()[v].x)[k] == doctest::Approx(expected[v][k]));
            float const center[3] = {1, 2, 3};
            CHECK((&mesh.getNormals()[v].x)[k] ==
                  doctest::Approx((expected[v][k] - center[k]) / 2));
        }
    }
    CHECK(trianglesOf(mesh) ==
          Ints{0, 2, 5, 0, 3, 2, 0, 4, 3, 0, 5, 4, 2, 1, 5, 3, 1, 2, 4, 1, 3, 5, 1, 4});
    CHECK(mesh.getUVs() == nullptr);
}

// The rings of n = 2 begin at 2, 10 and 18, the pole caps have 8 triangles each, the bands 16.
TEST_CASE("bandsOfASphereJoinEachVertexToTheOneBefore") {
    CompactMesh const mesh = sphere(2);
    Ints const triangles = trianglesOf(mesh);
    REQUIRE(mesh.getNumVertices() == 26);
    REQUIRE(mesh.getNumTriangles() == 48);
    CHECK(Ints(triangles.begin() + 24, triangles.begin() + 36) ==
          Ints{9, 2, 10, 9, 10, 17, 2, 3, 11, 2, 11, 10});
    CHECK(Ints(triangles.begin() + 72, triangles.begin() + 78) == Ints{17, 10, 18, 17, 18, 25});
    CHECK(Ints(triangles.end() - 3, triangles.end()) == Ints{25, 1, 24});
}

TEST_CASE("anglesOfASphereAdvanceByAddition") {
    int const n = 50;
    double const step = std::numbers::pi / (2.0 * n);
    CompactMesh mesh;
    constructSphere(Point(0.1, -0.2, 0.3), 1.7f, n, mesh);
    bool differsFromProducts = false;
    double theta = step;
    for (int k = 1; k < 2 * n; ++k, theta += step) {
        double phi = 0.0;
        for (int j = 0; j < 4 * n; ++j, phi += step) {
            MeshNormal const& normal = mesh.getNormals()[2 + (k - 1) * 4 * n + j];
            MeshVertex const& vertex = mesh.getVertices()[2 + (k - 1) * 4 * n + j];
            REQUIRE(normal.x == static_cast<float>(std::sin(phi) * std::sin(theta)));
            REQUIRE(normal.y == static_cast<float>(std::cos(phi) * std::sin(theta)));
            REQUIRE(normal.z == static_cast<float>(std::cos(theta)));
            REQUIRE(vertex.x == static_cast<float>(1.7f * normal.x + 0.1));
            differsFromProducts =
                differsFromProducts ||
                normal.x != static_cast<float>(std::sin(j * step) * std::sin(k * step));
        }
    }
    CHECK(differsFromProducts);  // else the test could not tell
}

TEST_CASE("spheresAreClosedAndConvergeQuadratically") {
    double const trueVolume = 4.0 / 3.0 * std::numbers::pi;
    double const trueArea = 4.0 * std::numbers::pi;
    double volumeError = 0.0;
    double areaError = 0.0;
    for (int n = 4; n <= 64; n *= 2) {
        CAPTURE(n);
        CompactMesh const mesh = sphere(n);
        CHECK(support::faultOf(mesh) == "");
        CHECK(support::eulerNumber(mesh) == 2);
        CHECK(support::numBorderEdges(mesh) == 0);
        double const newVolumeError = trueVolume - support::volume(mesh);
        double const newAreaError = trueArea - support::area(mesh);
        CHECK(newVolumeError > 0.0);  // inscribed
        if (n > 4) {
            CHECK(volumeError / newVolumeError == doctest::Approx(4.0).epsilon(0.05));
            CHECK(areaError / newAreaError == doctest::Approx(4.0).epsilon(0.05));
        }
        volumeError = newVolumeError;
        areaError = newAreaError;
        checkNormalsAgree(mesh);
    }
    CHECK(support::volume(sphere(16, 3.0)) ==
          doctest::Approx(27.0 * support::volume(sphere(16))).epsilon(1e-5));
}

TEST_CASE("flatShapesFaceAlongTheirAxisAndConverge") {
    for (int axis = 0; axis < 3; ++axis) {
        CAPTURE(axis);
        CompactMesh rectangle;
        constructRectangle(r0, r1, 7.0f, axis, rectangle, false);
        checkNormalsAgree(rectangle);
        CHECK(support::area(rectangle) == doctest::Approx(12.0));
        double error = 0.0;
        for (int segments = 8; segments <= 512; segments *= 4) {
            CompactMesh disk;
            constructDisk(Point(1.0, 2.0, 3.0), 1.0f, axis, segments, disk);
            CHECK(disk.getNumTriangles() == segments);
            checkNormalsAgree(disk);
            double const newError = std::numbers::pi - support::area(disk);
            if (segments > 8)
                CHECK(error / newError == doctest::Approx(16.0).epsilon(0.1));
            error = newError;
        }
    }
}

//     1---3---5      pairs of vertices from the x axis on
//     |\  |\  |
//     |  \|  \|
//     0---2---4
TEST_CASE("aRibbonSpansItsWholeAngle") {
    CompactMesh mesh;
    constructAnnularArc(1.0f, 2.0f, std::numbers::pi, 3, mesh);
    CHECK(trianglesOf(mesh) == Ints{0, 2, 1, 1, 2, 3, 2, 4, 3, 3, 4, 5});
    CHECK(uvsOf(mesh) == Floats{0, 0, 0, 1, 0.5, 0, 0.5, 1, 1, 0, 1, 1});
    float const expected[6][2] = {{1, 0}, {2, 0}, {0, 1}, {0, 2}, {-1, 0}, {-2, 0}};
    for (int v = 0; v < 6; ++v) {
        CHECK(mesh.getVertices()[v].x == doctest::Approx(expected[v][0]));
        CHECK(mesh.getVertices()[v].y == doctest::Approx(expected[v][1]));
        CHECK(mesh.getVertices()[v].z == 0.0f);
    }
    double error = 0.0;
    for (int n = 9; n <= 513; n = 4 * n - 3) {
        for (double const angle : {2.0, -2.0}) {
            constructAnnularArc(1.0f, 2.0f, angle, n, mesh);
            CHECK(mesh.getNormals()[0].z == (angle > 0.0 ? -1.0f : 1.0f));
            checkNormalsAgree(mesh);
        }
        double const newError = 3.0 - support::area(mesh);
        if (n > 9)
            CHECK(error / newError == doctest::Approx(16.0).epsilon(0.1));
        error = newError;
    }
    float const step = static_cast<float>(-2.0 / (2 * 513 - 2));  // angles in single precision
    for (int k = 0; k < 2 * 513; k += 2)
        CHECK(mesh.getVertices()[k].x == std::cos(static_cast<float>(k) * step) * 1.0f);
}

TEST_CASE("aRibbonIsBentAndOthersAreLeftAlone") {
    CompactMesh ribbon;
    constructAnnularArc(1.0f, 2.0f, 1.0, 5, ribbon);
    CompactMesh fresh;
    constructAnnularArc(0.5f, 3.0f, -4.0, 5, fresh);
    updateAnnularArc(0.5f, 3.0f, -4.0, ribbon);
    CHECK(coordinatesOf(ribbon) == coordinatesOf(fresh));
    CHECK(normalsOf(ribbon) == normalsOf(fresh));
    updateAnnularArc(1.0f, 2.0f, 0.0, ribbon);
    CHECK(ribbon.getNormals()[9].z == -1.0f);

    ribbon.deleteNormals();
    updateAnnularArc(0.5f, 3.0f, -4.0, ribbon);
    CHECK(coordinatesOf(ribbon) == coordinatesOf(fresh));
    CHECK(ribbon.getNormals() == nullptr);

    CompactMesh odd = support::grid(2, 2);  // 9 vertices
    odd.resizeTriangleArray(7);
    CompactMesh unlike = support::cube();  // 8 vertices, 12 triangles
    CompactMesh empty;
    for (CompactMesh* mesh : {&odd, &unlike, &empty}) {
        Floats const before = coordinatesOf(*mesh);
        updateAnnularArc(1.0f, 2.0f, 1.0, *mesh);
        CHECK(coordinatesOf(*mesh) == before);
    }
    CompactMesh none = support::cube();
    constructAnnularArc(1.0f, 2.0f, 1.0, 0, none);
    constructAnnularArc(1.0f, 2.0f, 1.0, INT_MIN, none);
    CHECK(none.getNumVertices() == 8);
}

TEST_CASE("aRibbonOfOnePairDividesByZero") {
    CompactMesh mesh;
    constructAnnularArc(1.0f, 2.0f, 1.0, 1, mesh);
    CHECK(mesh.getNumVertices() == 2);
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(std::isnan(mesh.getUVs()[0].u));
    CHECK(mesh.getUVs()[1].v == 1.0f);
    CHECK(std::isnan(mesh.getVertices()[1].x));
    CHECK(mesh.getVertices()[1].z == 0.0f);
    CHECK(mesh.getNormals()[0].z == -1.0f);
}

TEST_CASE("aConvexBoundaryIsFilledFromItsFirstVertex") {
    ko::vector<Point2> const corners = {{0.0, 0.0}, {2.0, 0.0}, {3.0, 1.0}, {0.0, 2.0}};
    ko::Reference<CompactMesh> const mesh =
        constructPolygonFromConvexBoundary(Polyline2d(corners, {}));
    CHECK(coordinatesOf(*mesh) == Floats{0, 0, 0, 2, 0, 0, 3, 1, 0, 0, 2, 0});
    CHECK(trianglesOf(*mesh) == Ints{0, 1, 2, 0, 2, 3});
    CHECK(mesh->getNormals() == nullptr);

    ko::vector<Point2> closed = corners;
    closed.push_back(corners[0]);  // a vertex like any other
    CHECK(trianglesOf(*constructPolygonFromConvexBoundary(Polyline2d(closed, {}))) ==
          Ints{0, 1, 2, 0, 2, 3, 0, 3, 4});
    for (std::size_t count = 0; count < 3; ++count) {
        ko::vector<Point2> const few(corners.begin(), corners.begin() + std::ptrdiff_t(count));
        ko::Reference<CompactMesh> const result =
            constructPolygonFromConvexBoundary(Polyline2d(few, {}));
        CHECK(result->getNumVertices() == int(count));
        CHECK(result->getNumTriangles() == 0);
    }
}

TEST_CASE("quadsGoToHalfEdgeMeshesWithOneNotice") {
    TopoMesh cube;
    support::TopoModificationCounter const ofCube(cube);
    constructQuadCube(r0, cube);
    CHECK(ofCube.types() == Ints{TopoMeshModification::Topology});
    CHECK(support::faultOf(cube) == "");
    CHECK(cube.numVertices() == 8);
    CHECK(cube.numFaces() == 6);
    CHECK(cube.numEdges() == 24);
    double volume = 0.0;
    for (TopoMeshFace f = cube.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const e = f.edge();
        Vector const corners[4] = {
            e.origin().point().asVector(), e.next().origin().point().asVector(),
            e.next().next().origin().point().asVector(), e.prev().origin().point().asVector()};
        for (int k = 1; k < 3; ++k)
            volume += dot(corners[0], cross(corners[k], corners[k + 1])) / 6.0;
        for (TopoMeshEdge side = e;;) {
            CHECK(bool(side.twin()));  // closed
            side = side.next();
            if (side == e)
                break;
        }
    }
    CHECK(volume == doctest::Approx(27.0));
    CHECK(cube.firstVertex().nextInList().point() == Point(5.0, 2.0, 2.0));

    // The ring takes the corners in the order of their making, and so crosses itself.
    for (int axis = 0; axis < 3; ++axis) {
        TopoMesh quad;
        support::TopoModificationCounter const ofQuad(quad);
        if (axis == 1)
            constructSquare(r0, 7.0f, axis, quad);
        else
            constructRectangle(r0, r1, 7.0f, axis, quad);
        CHECK(ofQuad.types() == Ints{TopoMeshModification::Topology});
        CHECK(support::faultOf(quad) == "");
        REQUIRE(quad.numFaces() == 1);
        float const* const second = axis == 1 ? r0 : r1;
        TopoMeshEdge e = quad.firstFace().edge();
        for (int k = 0; k < 4; ++k, e = e.next()) {
            Point const p = e.origin().point();
            double const xyz[3] = {p.x, p.y, p.z};
            CHECK(xyz[(axis + 1) % 3] == r0[k & 1]);
            CHECK(xyz[(axis + 2) % 3] == second[k >> 1]);
            CHECK(xyz[axis] == 7.0);
        }
    }
}

TEST_CASE("shapesSendNothingAndLeaveOtherArraysAlone") {
    float const cube[3][2] = {{0, 1}, {0, 1}, {0, 1}};
    Builder const builders[] = {
        [](CompactMesh& m) { constructRectangle(r0, r1, 0.0f, 2, m, true); },
        [](CompactMesh& m) { constructRectangle(ParamPlane(), m); },
        [](CompactMesh& m) { constructRectangularCorner(r0, r1, unit, m, true); },
        [](CompactMesh& m) { constructDisk(Point(), 1.0f, 2, 5, m); },
        [&](CompactMesh& m) { constructCuboid(cube, m); },
        [](CompactMesh& m) { constructSphere(Point(), 1.0f, 2, m); },
        [](CompactMesh& m) { constructAnnularArc(1.0f, 2.0f, 1.0, 4, m); },
        [](CompactMesh& m) {
            constructAnnularArc(1.0f, 2.0f, 1.0, 4, m);
            updateAnnularArc(1.0f, 2.0f, 2.0, m);
        }};
    for (Builder const& build : builders) {
        CompactMesh mesh = support::grid(3, 3);
        mesh.resizeLineArray(2);
        mesh.getLines()[1] = MeshLine{{1, 2}};
        mesh.resizeLineStripArrays(3, 1);
        mesh.getLineStripLengths()[0] = 3;
        mesh.allocAttributes("heat", 1)->asFloat()[0] = 7.0f;
        mesh.allocTriangleNormalArray();
        support::ModificationCounter const notices(mesh);
        build(mesh);
        CHECK(notices.total() == 0);
        CHECK(support::faultOf(mesh) == "");
        CHECK(mesh.getNumLines() == 2);
        CHECK(mesh.getNumLineStripPoints() == 3);
        CHECK(mesh.getAttributes("heat")->getNumElements() == mesh.getNumVertices());
        CHECK(mesh.getAttributes("heat")->asFloat()[0] == 7.0f);
        CHECK(!mesh.getNormalsComputed());
        CHECK(coordinatesOf(mesh) == coordinatesOf(made(build)));  // whatever was there before
        CHECK(normalsOf(mesh) == normalsOf(made(build)));
    }
}

TEST_CASE("countsBelowZeroAreZero") {
    for (int const count : {0, -1, INT_MIN}) {
        CompactMesh mesh = support::cube();
        constructDisk(Point(1.0, 2.0, 3.0), 1.0f, 2, count, mesh);
        CHECK(coordinatesOf(mesh) == Floats{1, 2, 3});
        CHECK(mesh.getNumTriangles() == 0);
        CHECK(uvsOf(mesh) == Floats{0.5f, 0.5f});
        mesh = support::cube();
        constructSphere(Point(1.0, 2.0, 3.0), 1.0f, count, mesh);
        CHECK(coordinatesOf(mesh) == Floats{1, 2, 4, 1, 2, 2});
        CHECK(normalsOf(mesh) == Floats{0, 0, 1, 0, 0, -1});
        CHECK(mesh.getNumTriangles() == 0);
    }
}

TEST_CASE("countsBeyondTheArraysFailBeforeAnythingIsWritten") {
    CompactMesh mesh = support::cube();
    mesh.allocAttributes("heat", 1);
    Floats const before = coordinatesOf(mesh);
    for (int const count : {INT_MAX, INT_MAX - 1, INT_MAX / 3 + 1}) {
        CHECK_THROWS_AS(constructDisk(Point(), 1.0f, 2, count, mesh), std::bad_alloc);
        CHECK_THROWS_AS(constructSphere(Point(), 1.0f, count, mesh), std::bad_alloc);
        CHECK_THROWS_AS(constructAnnularArc(1.0f, 2.0f, 1.0, count, mesh), std::bad_alloc);
    }
    CHECK_THROWS_AS(constructSphere(Point(), 1.0f, 9460, mesh),
                    std::bad_alloc);  // the first too many
    CHECK(coordinatesOf(mesh) == before);
    CHECK(mesh.getNumTriangles() == 12);
    CHECK(mesh.getAttributes("heat")->getNumElements() == 8);
    CHECK(mesh.getNormals() == nullptr);
}

TEST_CASE("strangeAxesAndNumbersStayInBounds") {
    for (int const axis : {-1, 3, 5, INT_MIN, INT_MAX}) {
        int const plain = static_cast<int>((std::int64_t(axis) % 3 + 3) % 3);
        CompactMesh strange;
        CompactMesh usual;
        constructRectangle(r0, r1, 1.0f, axis, strange, false);
        constructRectangle(r0, r1, 1.0f, plain, usual, false);
        CHECK(coordinatesOf(strange) == coordinatesOf(usual));
        CHECK(normalsOf(strange) == normalsOf(usual));
        constructDisk(Point(), 1.0f, axis, 5, strange);
        constructDisk(Point(), 1.0f, plain, 5, usual);
        CHECK(coordinatesOf(strange) == coordinatesOf(usual));
        TopoMesh topo;
        constructSquare(r0, 1.0f, axis, topo);
        CHECK(topo.numFaces() == 1);
    }
    float const infinite = std::numeric_limits<float>::infinity();
    CompactMesh mesh;
    constructSphere(Point(notANumber, 0.0, 0.0), infinite, 2, mesh);
    CHECK(std::isnan(mesh.getVertices()[0].x));
    CHECK(mesh.getVertices()[1].y == 0.0f);  // a pole moves along z alone
    CHECK(mesh.getVertices()[1].z == -infinite);
    constructDisk(Point(0.0, 1e300, 0.0), notANumber, 2, 3, mesh);
    CHECK(mesh.getVertices()[0].y == infinite);
    constructAnnularArc(infinite, notANumber, notANumber, 3, mesh);
    CHECK(mesh.getNormals()[0].z == 1.0f);
    CHECK(support::faultOf(mesh) == "");
}
