#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/meshCurvature.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

using namespace koGeom;

namespace {

constexpr double pi = std::numbers::pi;
constexpr MeshCurvature allKinds[] = {MeanCurvature, GaussianCurvature, MinCurvature, MaxCurvature};

struct Tables {
    MeshAdjTris tris;
    MeshAdjVertices vertices;

    explicit Tables(CompactMesh const& mesh) {
        meshAdjTris(mesh, tris);
        meshAdjVertices(mesh, tris, vertices);
    }
};

std::vector<float> curvatureOf(CompactMesh const& mesh, MeshCurvature kind,
                               AffineMatrixFlt const& matrix = AffineMatrixFlt::Identity) {
    Tables const tables(mesh);
    // What the caller's memory holds before must not matter.
    std::vector<float> result(static_cast<std::size_t>(mesh.getNumVertices()) + 1, -77.0f);
    meshCurvature(mesh, tables.tris, tables.vertices, matrix, kind, result.data());
    CHECK(result.back() == -77.0f);
    result.pop_back();
    return result;
}

CompactMesh withNormals(CompactMesh mesh) {
    meshComputeNormals(mesh);
    return mesh;
}

bool sameBits(std::vector<float> const& a, std::vector<float> const& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

bool sameValues(std::vector<float> const& a, std::vector<float> const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

// The definition, vertex by vertex, with nothing kept between vertices and the fan ordered by plain
// search. Interior vertices only.
class ByDefinition {
public:
    ByDefinition(CompactMesh const& mesh, MeshCurvature kind)
        : mesh_(mesh), tables_(mesh), triangles_(mesh.getTrianglesRaw()), kind_(kind) {}

    bool isInterior(int v) const {
        return tables_.vertices.numNeighbours(v) == tables_.tris.numTris(v);
    }

    float at(int v) const {
        int const count = tables_.tris.numTris(v);
        if (tables_.vertices.numNeighbours(v) < 2)
            return 0.0f;
        std::vector<int> fan(tables_.tris.triIndices(v), tables_.tris.triIndices(v) + count);
        for (std::size_t i = 1; i < fan.size(); ++i) {
            int const wanted = corner(fan[i - 1], v, 2);
            for (std::size_t j = i; j < fan.size(); ++j)
                if (hasDirectedEdge(fan[j], v, wanted)) {
                    std::swap(fan[i], fan[j]);
                    break;
                }
        }
        double angles = 0.0;
        double area = 0.0;
        Vector laplace;
        for (std::size_t i = 0; i < fan.size(); ++i) {
            int const t = fan[i];
            int const u = fan[(i + 1) % fan.size()];
            Point const p = point(v);
            Point const q = point(corner(t, v, 1));
            Point const r = point(corner(t, v, 2));
            angles +=
                std::acos(dot(p - r, p - q) / std::sqrt((p - r).length2() * (p - q).length2()));
            laplace += (cotangent(t, v, 1) + cotangent(u, v, 2)) * (p - r);
            double const doubled = cross(q - p, r - p).length();
            if (cotangent(t, v, 0) < 0.0)
                area += doubled * 0.25;
            else if (cotangent(t, v, 1) < 0.0 || cotangent(t, v, 2) < 0.0)
                area += doubled * 0.125;
            else
                area += ((p - q).length2() * cotangent(t, v, 2) +
                         (p - r).length2() * cotangent(t, v, 1)) *
                        0.125;
        }
        double length = laplace.length();
        if (mesh_.getNormals() != nullptr && std::abs(length) > epsilonTol) {
            MeshNormal const& n = mesh_.getNormals()[v];
            if (dot(laplace / length, Vector(n.x, n.y, n.z)) < 0.0)
                length = -length;
        }
        double const mean = length / (area * 4.0);
        double const gaussian = (6.283185307179586 - angles) / area;
        double const root = std::sqrt(std::abs(mean * mean - gaussian));
        double larger = mean + root;
        double smaller = 2.0 * mean - larger;
        if (std::abs(smaller) > std::abs(larger))
            std::swap(smaller, larger);
        double const values[4] = {mean, gaussian, smaller, larger};
        return static_cast<float>(values[kind_]);
    }

private:
    Point point(int v) const {
        MeshVertex const& p = mesh_.getVertices()[v];
        return {p.x, p.y, p.z};
    }
    int place(int t, int v) const {
        int const* const c = triangles_ + 3 * t;
        return static_cast<int>(std::find(c, c + 3, v) - c);
    }
    int corner(int t, int v, int steps) const {
        return triangles_[3 * t + (place(t, v) + steps) % 3];
    }
    bool hasDirectedEdge(int t, int from, int to) const {
        for (int k = 0; k < 3; ++k)
            if (triangles_[3 * t + k] == from && triangles_[3 * t + (k + 1) % 3] == to)
                return true;
        return false;
    }
    double cotangent(int t, int v, int steps) const {
        Point p[3];
        for (int k = 0; k < 3; ++k)
            p[k] = point(triangles_[3 * t + k]);
        int const k = (place(t, v) + steps) % 3;
        Vector const in = p[k] - p[(k + 2) % 3];
        Vector const out = p[(k + 1) % 3] - p[k];
        double const product = dot(in, out);
        return -product / std::sqrt(in.length2() * out.length2() - product * product);
    }

    CompactMesh const& mesh_;
    Tables tables_;
    int const* triangles_;
    MeshCurvature kind_;
};

void checkAgainstDefinition(CompactMesh const& mesh, std::string const& name) {
    for (MeshCurvature const kind : allKinds) {
        std::vector<float> const result = curvatureOf(mesh, kind);
        ByDefinition const definition(mesh, kind);
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            if (!definition.isInterior(v))
                continue;
            float const expected = definition.at(v);
            float const actual = result[static_cast<std::size_t>(v)];
            CHECK_MESSAGE((actual == expected || (std::isnan(actual) && std::isnan(expected))),
                          name, " vertex ", v, " kind ", kind, ": ", actual, " is not ", expected);
        }
    }
}

// Closed fan of n triangles round vertex 0, given in random order, the rim a wavy circle.
CompactMesh closedFan(int n, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<float> coordinates = {0.0f, 0.0f, 1.0f};
    std::vector<int> order;
    for (int i = 0; i < n; ++i) {
        double const turn = 2.0 * pi * i / n;
        coordinates.insert(coordinates.end(),
                           {static_cast<float>(std::cos(turn)), static_cast<float>(std::sin(turn)),
                            static_cast<float>(0.1 * std::sin(5.0 * turn))});
        order.push_back(i);
        std::swap(order.back(), order[static_cast<std::size_t>(random.index(i + 1))]);
    }
    std::vector<int> triangles;
    for (int const i : order)
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % n});
    return support::meshOf(coordinates, triangles);
}

// Cylinder of radius 1 round the z axis without ends: numSteps round, numRows high, squares.
CompactMesh cylinder(int numSteps, int numRows) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int row = 0; row <= numRows; ++row)
        for (int i = 0; i < numSteps; ++i) {
            double const turn = 2.0 * pi * i / numSteps;
            coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(turn)),
                                                   static_cast<float>(std::sin(turn)),
                                                   static_cast<float>(2.0 * pi * row / numSteps)});
        }
    for (int row = 0; row < numRows; ++row)
        for (int i = 0; i < numSteps; ++i) {
            int const a = row * numSteps + i;
            int const b = row * numSteps + (i + 1) % numSteps;
            triangles.insert(triangles.end(), {a, b, b + numSteps, a, b + numSteps, a + numSteps});
        }
    return support::meshOf(coordinates, triangles);
}

struct Error {
    double largest = 0.0;
    double mean = 0.0;
};

template <typename Expected>
Error errorOf(CompactMesh const& mesh, MeshCurvature kind, Expected expected) {
    std::vector<float> const result = curvatureOf(mesh, kind);
    Error error;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        double const off =
            std::abs(result[static_cast<std::size_t>(v)] - expected(mesh.getVertices()[v]));
        error.largest = std::max(error.largest, off);
        error.mean += off / mesh.getNumVertices();
    }
    return error;
}

// The sum over the vertices of K times the mixed area, what is missing of 2 pi around each:
// 2 pi times the Euler number on a closed surface.
double totalAngleDeficit(CompactMesh const& mesh) {
    int const* const t = mesh.getTrianglesRaw();
    MeshVertex const* const p = mesh.getVertices();
    std::vector<double> area(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int i = 0; i < mesh.getNumTriangles(); ++i) {
        Point c[3];
        double cot[3];
        for (int k = 0; k < 3; ++k) {
            MeshVertex const& v = p[t[3 * i + k]];
            c[k].set(v.x, v.y, v.z);
        }
        double const doubled = cross(c[1] - c[0], c[2] - c[0]).length();
        for (int k = 0; k < 3; ++k)
            cot[k] = dot(c[(k + 1) % 3] - c[k], c[(k + 2) % 3] - c[k]) / doubled;
        bool const obtuse = *std::min_element(cot, cot + 3) < 0.0;
        for (int k = 0; k < 3; ++k) {
            int const next = (k + 1) % 3;
            int const prev = (k + 2) % 3;
            area[static_cast<std::size_t>(t[3 * i + k])] +=
                obtuse ? doubled * (cot[k] < 0.0 ? 0.25 : 0.125)
                       : (distance2(c[k], c[next]) * cot[prev] +
                          distance2(c[k], c[prev]) * cot[next]) /
                             8.0;
        }
    }
    std::vector<float> const gaussian = curvatureOf(mesh, GaussianCurvature);
    double sum = 0.0;
    for (std::size_t v = 0; v < area.size(); ++v)
        sum += area[v] * gaussian[v];
    return sum;
}

}  // namespace

// Four equilateral triangles of side sqrt 2 at each vertex, a third of each belonging to it: so
// K = (2 pi - 4 pi / 3) / A with A = 4 / 3 of one triangle.
TEST_CASE("octahedronHasTheCurvatureThatOneCanWorkOutByHand") {
    double const triangle = std::sqrt(3.0) / 2.0;
    double const area = 4.0 * triangle / 3.0;
    double const k = (2.0 * pi - 4.0 * pi / 3.0) / area;
    // Each of the four edges (1, 0, -1) weighs 2 cot 60: the sum is 8 cot 60 along the vertex.
    double const h = 8.0 / std::sqrt(3.0) / (4.0 * area);
    CompactMesh const mesh = withNormals(support::octahedron());
    for (float const value : curvatureOf(mesh, GaussianCurvature))
        CHECK(value == doctest::Approx(k));
    for (float const value : curvatureOf(mesh, MeanCurvature))
        CHECK(value == doctest::Approx(h));
    double const root = std::sqrt(std::abs(h * h - k));
    for (float const value : curvatureOf(mesh, MaxCurvature))
        CHECK(value == doctest::Approx(h + root));
    for (float const value : curvatureOf(mesh, MinCurvature))
        CHECK(value == doctest::Approx(h - root));
}

TEST_CASE("resultIsTheDefinitionToTheLastBit") {
    for (support::NamedMesh const& named : support::zoo()) {
        checkAgainstDefinition(named.mesh, named.name);
        checkAgainstDefinition(withNormals(named.mesh), named.name + " with normals");
    }
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        checkAgainstDefinition(support::latticeSoup(12, 60, seed),
                               "lattice soup " + std::to_string(seed));
    // Fans on both sides of the size from which sortAdjTris orders them.
    for (int const n : {3, 63, 64, 65, 66, 200})
        checkAgainstDefinition(closedFan(n, 5), "fan of " + std::to_string(n));
}

TEST_CASE("sphereCurvaturesAreThatOfTheRadius") {
    for (double const radius : {1.0, 0.25, 40.0}) {
        AffineMatrixFlt const scale{AffineMatrix(radius)};
        CompactMesh const mesh = withNormals(support::sphere(5));
        for (float const h : curvatureOf(mesh, MeanCurvature, scale))
            CHECK(h * radius == doctest::Approx(1.0).epsilon(0.01));
        for (float const k : curvatureOf(mesh, GaussianCurvature, scale))
            CHECK(k * radius * radius == doctest::Approx(1.0).epsilon(0.06));
    }
}

TEST_CASE("errorsShrinkWithRefinement") {
    auto const one = [](MeshVertex const&) { return 1.0; };
    // Vertices of the torus of radii 2 and 0.5 by their distance from the axis.
    auto const torusGaussian = [](MeshVertex const& v) {
        double const fromAxis = std::hypot(v.x, v.y);
        return (fromAxis - 2.0) / 0.5 / (0.5 * fromAxis);
    };
    auto const torusMean = [](MeshVertex const& v) {
        double const fromAxis = std::hypot(v.x, v.y);
        return (1.0 / 0.5 + (fromAxis - 2.0) / 0.5 / fromAxis) / 2.0;
    };
    Error sphereH[2], torusK[2], torusH[2];
    for (int level = 0; level < 2; ++level) {
        sphereH[level] = errorOf(withNormals(support::sphere(3 + level)), MeanCurvature, one);
        CompactMesh const torus = withNormals(support::torus(64 << level, 16 << level));
        torusK[level] = errorOf(torus, GaussianCurvature, torusGaussian);
        torusH[level] = errorOf(torus, MeanCurvature, torusMean);
    }
    CHECK(sphereH[0].largest < 1e-3);
    CHECK(torusK[0].largest < 0.02);
    CHECK(torusH[0].largest < 0.01);
    // Second order: half the edge length, a quarter of the error.
    CHECK(sphereH[1].largest < 0.3 * sphereH[0].largest);
    CHECK(torusK[1].largest < 0.3 * torusK[0].largest);
    CHECK(torusH[1].largest < 0.3 * torusH[0].largest);
}

// What the documentation warns of: even triangles make the formulas good, refinement does not.
TEST_CASE("unevenTrianglesKeepTheirErrorUnderRefinement") {
    auto const one = [](MeshVertex const&) { return 1.0; };
    for (int const level : {3, 5}) {
        CompactMesh mesh = support::sphere(level);
        support::Random random(3);
        double const third = 0.3 * (pi / 2.0) / (1 << level);
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            MeshVertex& p = mesh.getVertices()[v];
            Vector moved(p.x + random.real(-third, third), p.y + random.real(-third, third),
                         p.z + random.real(-third, third));
            moved.normalize();
            p = {static_cast<float>(moved.x), static_cast<float>(moved.y),
                 static_cast<float>(moved.z)};
        }
        double const off = errorOf(withNormals(mesh), MeanCurvature, one).mean;
        CHECK(off > 0.02);
        CHECK(off < 0.08);
    }
}

TEST_CASE("cylinderIsFlatAlongItsAxis") {
    CompactMesh const mesh = withNormals(cylinder(64, 20));
    std::vector<float> const k = curvatureOf(mesh, GaussianCurvature);
    std::vector<float> const h = curvatureOf(mesh, MeanCurvature);
    std::vector<float> const smaller = curvatureOf(mesh, MinCurvature);
    std::vector<float> const larger = curvatureOf(mesh, MaxCurvature);
    for (std::size_t v = 0; v < h.size(); ++v) {  // the border takes over what its neighbours have
        CHECK(std::abs(k[v]) < 1e-3f);
        CHECK(h[v] == doctest::Approx(0.5).epsilon(2e-3));
        CHECK(std::abs(smaller[v]) < 1e-3f);
        CHECK(larger[v] == doctest::Approx(1.0).epsilon(2e-3));
    }
}

TEST_CASE("angleDeficitsAddUpToTheEulerNumber") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        if (support::numBorderEdges(named.mesh) > 0 || named.mesh.getNumTriangles() == 0)
            continue;
        double const expected = 2.0 * pi * support::eulerNumber(named.mesh);
        CHECK_MESSAGE(totalAngleDeficit(named.mesh) ==
                          doctest::Approx(expected).epsilon(1e-4).scale(1),
                      named.name);
    }
    CHECK(totalAngleDeficit(support::shuffled(support::sphere(4), 3)) ==
          doctest::Approx(4.0 * pi).epsilon(1e-4));
    CHECK(std::abs(totalAngleDeficit(support::torus(60, 30))) < 1e-3);
}

TEST_CASE("principalCurvaturesAreOrderedBySizeAndGiveMeanAndGaussianBack") {
    CompactMesh const mesh = withNormals(support::torus(80, 40));
    std::vector<float> const h = curvatureOf(mesh, MeanCurvature);
    std::vector<float> const k = curvatureOf(mesh, GaussianCurvature);
    std::vector<float> const smaller = curvatureOf(mesh, MinCurvature);
    std::vector<float> const larger = curvatureOf(mesh, MaxCurvature);
    for (std::size_t v = 0; v < h.size(); ++v) {
        CHECK(std::abs(smaller[v]) <= std::abs(larger[v]));
        CHECK((smaller[v] + larger[v]) / 2.0f == doctest::Approx(h[v]).epsilon(1e-5).scale(1));
        if (h[v] * h[v] > k[v])
            CHECK(smaller[v] * larger[v] == doctest::Approx(k[v]).epsilon(1e-5).scale(1));
    }
}

TEST_CASE("meanCurvatureTakesItsSignFromTheNormals") {
    CompactMesh const bare = support::sphere(3);
    CompactMesh const outward = withNormals(bare);
    CompactMesh inward = outward;
    for (int i = 0; i < 3 * inward.getNumVertices(); ++i)
        inward.getNormalsRaw()[i] = -inward.getNormalsRaw()[i];
    std::vector<float> const h = curvatureOf(outward, MeanCurvature);
    CHECK(sameBits(curvatureOf(bare, MeanCurvature), h));
    CHECK(*std::min_element(h.begin(), h.end()) > 0.9f);
    std::vector<float> const turned = curvatureOf(inward, MeanCurvature);
    CHECK(*std::max_element(turned.begin(), turned.end()) < -0.9f);
    CHECK(
        sameBits(curvatureOf(inward, GaussianCurvature), curvatureOf(outward, GaussianCurvature)));
}

//   12--13--14--15   Grid of 3 x 3 squares, each cut from lower left to upper right. 5, 6, 9, 10
//    | / | / | / |   are interior; 15 and 0 have three neighbours, 3 and 12 only two. A tent pole
//    8---9--10--11   at 5 and a pit at 10 give the four different values.
//    | / | / | / |
//    4---5---6---7
//    | / | / | / |
//    0---1---2---3
TEST_CASE("boundaryTakesTheMeanOfItsNeighbours") {
    CompactMesh mesh = support::grid(3, 3);
    mesh.getVertices()[5].z = 1.0f;
    mesh.getVertices()[10].z = -0.5f;
    for (MeshCurvature const kind : allKinds) {
        std::vector<float> const c = curvatureOf(mesh, kind);
        auto const mean = [](std::vector<float> const& values) {
            double sum = 0.0;
            for (float const value : values)
                sum += value;
            return static_cast<float>(sum / static_cast<double>(values.size()));
        };
        CHECK(c[5] != c[10]);
        CHECK(c[0] == c[5]);
        CHECK(c[1] == mean({c[5], c[6]}));
        CHECK(c[2] == c[6]);
        CHECK(c[4] == mean({c[5], c[9]}));
        CHECK(c[14] == mean({c[10], c[9]}));
        CHECK(c[15] == c[10]);
        // The corners come last and see what the border has become.
        CHECK(c[3] == mean({c[2], c[7]}));
        CHECK(c[12] == mean({c[8], c[13]}));
    }
}

TEST_CASE("boundaryWithoutInteriorIsZero") {
    for (MeshCurvature const kind : allKinds) {
        for (CompactMesh const& mesh :
             {support::triangle(), support::grid(1, 1), support::grid(5, 1)})
            for (float const value : curvatureOf(mesh, kind))
                CHECK(value == 0.0f);
        CompactMesh const unused = support::joined(
            support::octahedron(), support::meshOf({9.0f, 9.0f, 9.0f, 8.0f, 8.0f, 8.0f}, {}));
        CHECK(curvatureOf(unused, kind)[6] == 0.0f);
        CHECK(curvatureOf(unused, kind)[7] == 0.0f);
        CHECK(curvatureOf(support::meshOf({}, {}), kind).empty());
    }
}

TEST_CASE("kindOutsideTheEnumerationIsZeroEverywhere") {
    for (int const kind : {-1, 4, 1000})
        for (float const value : curvatureOf(support::sphere(1), static_cast<MeshCurvature>(kind)))
            CHECK(value == 0.0f);
}

TEST_CASE("degenerateTriangleSpoilsItsOwnVerticesOnly") {
    CompactMesh mesh = support::sphere(3);
    int const* const t = mesh.getTrianglesRaw();
    mesh.getVertices()[t[0]] = mesh.getVertices()[t[1]];
    std::vector<float> const spoiled = curvatureOf(mesh, MeanCurvature);
    std::vector<float> const before = curvatureOf(support::sphere(3), MeanCurvature);
    CHECK_FALSE(std::isfinite(spoiled[static_cast<std::size_t>(t[0])]));
    std::size_t numChanged = 0;
    for (std::size_t v = 0; v < before.size(); ++v)
        numChanged += spoiled[v] != before[v];
    CHECK(numChanged <= 12);  // the moved vertex and the ring around it
}

TEST_CASE("matrixGivesTheCurvatureOfTheTransformedSurface") {
    AffineMatrix matrix;
    matrix.setFrame({5.0, -2.0, 1.0}, {2.0, 0.0, 0.5}, {0.0, -1.0, 0.25}, {1.0, 0.0, 3.0});
    AffineMatrixFlt const narrow(matrix);
    CompactMesh const mesh = withNormals(support::terrain(20, 20, 4));
    CompactMesh moved = mesh;
    meshTransform(moved, narrow);
    for (MeshCurvature const kind : allKinds)
        CHECK(sameValues(curvatureOf(mesh, kind, narrow), curvatureOf(moved, kind)));
    CompactMesh const bare = support::terrain(20, 20, 4);
    CompactMesh movedBare = bare;
    meshTransform(movedBare, narrow);
    CHECK(sameValues(curvatureOf(bare, MeanCurvature, narrow),
                     curvatureOf(movedBare, MeanCurvature)));
    // What is the identity within the tolerance changes no bit.
    AffineMatrixFlt almost;
    almost.m[9] = 1e-6f;
    CHECK(sameBits(curvatureOf(mesh, MeanCurvature, almost), curvatureOf(mesh, MeanCurvature)));
}

TEST_CASE("threadsDoNotChangeABit") {
    std::vector<CompactMesh> const meshes = {
        withNormals(support::terrain(60, 60, 2)),
        withNormals(support::holed(support::sphere(4), 0.8, 6)), support::latticeSoup(200, 900, 3),
        support::triangle()};
    for (CompactMesh const& mesh : meshes)
        for (MeshCurvature const kind : allKinds) {
            std::vector<float> first;
            support::withPools([&](int numThreads) {
                std::vector<float> const result = curvatureOf(mesh, kind);
                if (numThreads == 1)
                    first = result;
                CHECK(sameValues(result, first));
            });
        }
}

TEST_CASE("oneLineAtTheStartAndATimeForEachPass") {
    CompactMesh const mesh = support::octahedron();
    Tables const tables(mesh);
    std::vector<float> result(6);
    support::DebugCapture capture;
    meshCurvature(mesh, tables.tris, tables.vertices, AffineMatrixFlt::Identity, MeanCurvature,
                  result.data());
    std::string text = capture.text();
    for (char const* const line :
         {"meshCurvature:  vertices 6  triangles 8\n", " cotangents computed in: ",
          "  interior curvature computed: ", "  boundary curvature computed: "}) {
        std::size_t const at = text.find(line);
        REQUIRE_MESSAGE(at != std::string::npos, line, " in ", capture.text());
        text.erase(0, at + std::strlen(line));
    }
    CHECK(text.substr(text.size() - 3) == " s\n");
}

TEST_CASE("aFanOfVeryManyTrianglesIsOrderedInReasonableTime") {
    int const n = 200000;
    std::vector<float> const h = curvatureOf(closedFan(n, 7), GaussianCurvature);
    CHECK(std::isfinite(h[0]));
}
