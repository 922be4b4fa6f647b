#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/intersectRayTriangle.h"
#include "trimora/spatial/meshRayIntersectScreen.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

constexpr double nowhere = std::numeric_limits<double>::max();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

using Corners = std::array<int, 3>;

/// An eye above the mesh's middle that looks down on it: a picture of 200 x 200, and the ray of each place in it.
struct Camera {
    double eye[3];
    ProjMatrixFlt m;
    static constexpr double focus = 150.0, middle = 100.0;

    explicit Camera(CompactMesh const& mesh, double height = 3.0) : eye{0.0, 0.0, 0.0} {
        double low[3], high[3];
        for (int k = 0; k < 3; ++k) {
            low[k] = high[k] = double(mesh.getVerticesRaw()[k]);
            for (int v = 0; v < mesh.getNumVertices(); ++v) {
                low[k] = std::min(low[k], double(mesh.getVerticesRaw()[3 * v + k]));
                high[k] = std::max(high[k], double(mesh.getVerticesRaw()[3 * v + k]));
            }
            eye[k] = 0.5 * (low[k] + high[k]);
        }
        eye[2] += height * std::max(high[0] - low[0], high[2] - low[2]);
        ProjMatrix exact(0.0);
        exact.m[0] = exact.m[5] = focus;
        exact.m[8] = exact.m[9] = -middle;
        exact.m[11] = -1.0;
        exact.m[12] = -focus * eye[0] + middle * eye[2];
        exact.m[13] = -focus * eye[1] + middle * eye[2];
        exact.m[15] = eye[2];
        m = ProjMatrixFlt(exact);
    }
    Line through(double x, double y) const {
        return Line(Point(eye[0], eye[1], eye[2]),
                    Vector((x - middle) / focus, (y - middle) / focus, -1.0));
    }
};

struct Found {
    double distance = nowhere;
    MeshCoord coord;

    bool operator==(Found const& other) const {
        return distance == other.distance && coord.triangle == other.coord.triangle &&
               std::equal(coord.weights, coord.weights + 3, other.coord.weights);
    }
};

/// All triangles, one after the other, in plain floats.
Found plainPick(float const* vertices, int stride, std::vector<Corners> const& triangles,
                ProjMatrixFlt const& a, std::array<float, 4> const& rectangle, Line const& ray) {
    auto const at = [&](int vertex) { return vertices + std::ptrdiff_t(stride) * vertex; };
    auto const onScreen = [&](int vertex, int i) {
        float const* const p = at(vertex);
        auto const row = [&](int k) {
            return a.m[k] * p[0] + a.m[k + 4] * p[1] + a.m[k + 8] * p[2] + a.m[k + 12];
        };
        return row(i) * (1.0f / row(3));
    };
    Found best;
    Vector const direction(ray.direction);
    PointFlt const origin(ray.origin);
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        Corners const& c = triangles[i];
        bool isOutside = false;
        for (int axis = 0; axis < 2; ++axis) {
            float const low = rectangle[std::size_t(2 * axis)],
                        high = rectangle[std::size_t(2 * axis + 1)];
            int numBelow = 0, numAbove = 0;
            for (int const corner : c) {
                float const value = onScreen(corner, axis);
                if (value < low)
                    ++numBelow;
                else if (value > high)
                    ++numAbove;
            }
            isOutside = isOutside || numBelow == 3 || numAbove == 3;
        }
        double t, u, v;
        if (!isOutside &&
            intersectRayTriangle(&direction.x, &origin.x, at(c[0]), at(c[1]), at(c[2]), t, u, v) &&
            t < best.distance && t >= epsilonTol)
            best = {t, MeshCoord(static_cast<int>(i), 1.0 - u - v, u, v)};
    }
    return best;
}

std::vector<Corners> trianglesOf(CompactMesh const& mesh) {
    std::vector<Corners> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& c = mesh.getTriangles()[t];
        triangles.push_back({c[0], c[1], c[2]});
    }
    return triangles;
}

struct Strips {
    MeshSequenceShort sequence;
    std::vector<Corners> triangles;
};

Strips stripsOf(std::vector<std::vector<int>> const& runs) {
    Strips strips;
    int numPoints = 0, place = 0;
    for (auto const& run : runs)
        numPoints += static_cast<int>(run.size());
    strips.sequence.resize(numPoints, static_cast<int>(runs.size()));
    for (std::size_t i = 0; i < runs.size(); ++i) {
        auto const& run = runs[i];
        strips.sequence.lengths[static_cast<int>(i)] = static_cast<int>(run.size());
        for (std::size_t k = 0; k < run.size(); ++k) {
            strips.sequence.points[place++] = static_cast<std::uint16_t>(run[k]);
            if (k >= 2)
                strips.triangles.push_back(k % 2 == 0 ? Corners{run[k - 2], run[k - 1], run[k]}
                                                      : Corners{run[k - 1], run[k - 2], run[k]});
        }
    }
    return strips;
}

Strips stripsOf(CompactMesh mesh, int maxLength) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshTriStrip(mesh, adjTris).computeStrips(maxLength, false);
    std::vector<std::vector<int>> runs;
    int const* p = mesh.getTriStripPoints();
    for (int const length : mesh.triStrips.lengths) {
        runs.emplace_back(p, p + length);
        p += length;
    }
    return stripsOf(runs);
}

CompactMesh scaled(CompactMesh mesh, float scale) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= scale;
    return mesh;
}

}  // namespace

TEST_CASE("picksEqualPlainOnes") {
    support::Random random(91);
    CompactMesh const meshes[] = {support::terrain(30, 20, 3),
                                  scaled(support::sphere(3), 5.0f),
                                  support::soup(support::torus(20, 12)),
                                  support::latticeSoup(80, 300, 4),
                                  support::joined(support::grid(6, 6), support::grid(6, 6)),
                                  support::triangle()};
    int numHits = 0;
    for (CompactMesh const& mesh : meshes) {
        Camera const camera(mesh);
        float const* const xyz = mesh.getVerticesRaw();
        int const numVertices = mesh.getNumVertices();
        std::vector<Corners> const triangles = trianglesOf(mesh);
        std::vector<std::vector<int>> runs;
        for (Corners const& c : triangles)
            runs.push_back({c[0], c[1], c[2]});
        Strips const strips = stripsOf(runs);
        for (int round = 0; round < 60; ++round) {
            int const x = 76 + random.index(48), y = 76 + random.index(48);
            int const size = random.index(6) - 1;  // below 0: hardly anything is left
            Line const ray = camera.through(x + random.real(-0.5, 0.5), y + random.real(-0.5, 0.5));
            std::array<float, 4> const rectangle{
                static_cast<float>(x - size), static_cast<float>(x + size),
                static_cast<float>(y - size), static_cast<float>(y + size)};
            Found const expected = plainPick(xyz, 3, triangles, camera.m, rectangle, ray);
            Found stripped;
            stripped.coord = meshRayIntersectScreen(xyz, numVertices, 3, strips.sequence, camera.m,
                                                    x, y, size, ray, stripped.distance);
            CHECK(stripped == expected);
            stripped.coord = meshRayIntersectScreen(mesh, camera.m, x, y, size, ray);
            CHECK(stripped == expected);
            stripped.coord =
                meshRayIntersectScreen(xyz, numVertices, mesh.getTrianglesRaw(),
                                       mesh.getNumTriangles(), camera.m, x, y, size, ray);
            CHECK(stripped == expected);
            numHits += expected.coord.valid() ? 1 : 0;
            if (size > 0) {  // the filter takes nothing away that the ray meets
                CHECK(plainPick(xyz, 3, triangles, camera.m, {-1e9f, 1e9f, -1e9f, 1e9f}, ray) ==
                      expected);
            }
        }
    }
    CHECK(numHits > 150);
}

TEST_CASE("picksDependNeitherOnThreadsNorOnTheCountThatThePoolIsFor") {
    // 10201 vertices and 20000 triangles at most: both sides of both thresholds.
    CompactMesh const terrain = support::terrain(100, 100, 8);
    Camera const camera(terrain, 1.5);
    float const* const xyz = terrain.getVerticesRaw();
    std::vector<Corners> const all = trianglesOf(terrain);
    Strips const strips = stripsOf(terrain, 40);
    support::withPools([&](int) {
        int numHits = 0;
        for (int numTriangles : {5000, 9999, 10000, 20000})
            for (int numVertices : {10201, 9999}) {
                std::vector<Corners> const some(all.begin(), all.begin() + numTriangles);
                int highest = 0;
                for (Corners const& c : some)
                    highest = std::max({highest, c[0], c[1], c[2]});
                if (highest >= numVertices)
                    continue;
                for (int place = 56; place < 150; place += 11) {
                    Line const ray = camera.through(place + 0.3, place * 0.7 + 0.1);
                    int const y = static_cast<int>(place * 0.7);
                    std::array<float, 4> const rectangle{float(place - 2), float(place + 2),
                                                         float(y - 2), float(y + 2)};
                    Found found;
                    found.coord =
                        meshRayIntersectScreen(xyz, numVertices, terrain.getTrianglesRaw(),
                                               numTriangles, camera.m, place, y, 2, ray);
                    Found expected = plainPick(xyz, 3, some, camera.m, rectangle, ray);
                    expected.distance = nowhere;
                    CHECK(found == expected);
                }
            }
        for (int numRuns : {strips.sequence.getNumRuns(), strips.sequence.getNumRuns() / 4}) {
            MeshSequenceShort some(strips.sequence);
            int numPoints = 0;
            for (int i = 0; i < numRuns; ++i)
                numPoints += some.lengths[i];
            some.resize(numPoints, numRuns);
            std::vector<Corners> const triangles(
                strips.triangles.begin(), strips.triangles.begin() + numPoints - 2 * numRuns);
            std::vector<Line> rays;
            for (int place = 56; place < 150; place += 11)
                rays.push_back(camera.through(place + 0.4, 200 - place));
            rays.emplace_back();  // no direction
            std::vector<double> distances;
            std::vector<MeshCoord> coords;
            meshRayIntersectScreen(xyz, 10201, 3, some, camera.m, 20.0f, 180.0f, 20.0f, 180.0f,
                                   rays, distances, coords);
            REQUIRE(distances.size() == rays.size());
            REQUIRE(coords.size() == rays.size());
            for (std::size_t i = 0; i + 1 < rays.size(); ++i) {
                Found found;
                found.coord = meshRayIntersectScreen(xyz, 10201, 3, some, camera.m, 100, 100, 80,
                                                     rays[i], found.distance);
                CHECK(
                    (found == plainPick(xyz, 3, triangles, camera.m, {20, 180, 20, 180}, rays[i])));
                CHECK((found == Found{distances[i], coords[i]}));
                numHits += found.coord.valid() ? 1 : 0;
            }
            CHECK_FALSE(coords.back().valid());
            CHECK(distances.back() == nowhere);
        }
        CHECK(numHits >= 10);
    });
}

TEST_CASE("lowestOfTrianglesThatLieOnEachOtherIsPicked") {
    CompactMesh sheets = support::grid(80, 80);
    for (int copy = 0; copy < 2; ++copy)
        sheets = support::joined(sheets, sheets);
    Camera const camera(sheets);
    Line const ray = camera.through(101.3, 99.2);
    MeshCoord const one = meshRayIntersectScreen(support::grid(80, 80), camera.m, 101, 99, 3, ray);
    REQUIRE(one.valid());
    support::withPools([&](int) {
        CHECK(meshRayIntersectScreen(sheets, camera.m, 101, 99, 3, ray).triangle == one.triangle);
    });
}

TEST_CASE("rectangleDecidesWhatIsLookedAt") {
    // Clip space and screen are the mesh's own space: the rectangle from -1 to 1 is what is looked at.
    CompactMesh const mesh = support::meshOf(
        {-3, -3, 0, 3, -3, 0, 0, 3, 0, 5, 0, 0, 9, 0, 0, 5, 4, 0}, {0, 1, 2, 3, 4, 5});
    ProjMatrixFlt const identity;
    Line const down(Point(0.25, 0, 2), Vector(0, 0, -1)), beside(Point(6, 1, 2), Vector(0, 0, -1));
    MeshCoord const hit = meshRayIntersectScreen(mesh, identity, down);
    CHECK(hit.triangle == 0);
    CHECK(
        equivalent(hit.evaluate(mesh.getVertices(), mesh.getTriangles()), Point(0.25, 0, 0), 1e-9));
    CHECK(
        meshRayIntersectScreen(mesh.getVerticesRaw(), 6, mesh.getTrianglesRaw(), 2, identity, down)
            .triangle == 0);
    CHECK_FALSE(meshRayIntersectScreen(mesh, identity, beside).valid());
    CHECK(meshRayIntersectScreen(mesh, identity, 6, 1, 1, beside).triangle == 1);
    CHECK_FALSE(meshRayIntersectScreen(mesh, identity, 60, 1, 1, down).valid());  // all to one side
    CHECK_FALSE(meshRayIntersectScreen(mesh, identity, -60, 1, 1, down).valid());
    CHECK_FALSE(meshRayIntersectScreen(mesh, identity, 0, 60, 1, down).valid());
    CHECK_FALSE(meshRayIntersectScreen(mesh, identity, 0, -60, 1, down).valid());
    // Behind the origin and from below: parameters below 0 do not count, back faces do.
    CHECK_FALSE(
        meshRayIntersectScreen(mesh, identity, Line(Point(0, 0, 2), Vector(0, 0, 1))).valid());
    CHECK(meshRayIntersectScreen(mesh, identity, Line(Point(0, 0, -2), Vector(0, 0, 1))).valid());
}

TEST_CASE("stripsAreWalkedWithTheirStrideAndWinding") {
    //   1 --- 3      five floats a vertex; the second triangle is 2 1 3
    //   | 0 / |
    //   0 --- 2  ...
    float const xyz[] = {0, 0, 0, 9, 9, 0, 1, 0, 9, 9, 1, 0, 0, 9, 9, 1, 1, 0, 9, 9};
    Strips const strips = stripsOf({{0, 2, 1, 3}});
    ProjMatrixFlt const identity;
    Line const ray(Point(0.75, 0.5, 1), Vector(0, 0, -1));
    double distance = 0.0;
    MeshCoord const hit =
        meshRayIntersectScreen(xyz, 4, 5, strips.sequence, identity, 0, 0, 1, ray, distance);
    CHECK(hit.triangle == 1);  // corners 1, 2, 3
    CHECK(hit.weights[0] == 0.25);
    CHECK(hit.weights[1] == 0.5);
    CHECK(hit.weights[2] == 0.25);
    CHECK(distance == 1.0);

    // Strips without triangles count for none, wherever they stand.
    MeshSequenceShort const odd =
        stripsOf({{}, {0, 2, 1}, {3}, {1, 2}, {1, 2, 3, 0}, {0, 0}}).sequence;
    MeshCoord const second =
        meshRayIntersectScreen(xyz, 4, 5, odd, identity, 0, 0, 1, ray, distance);
    CHECK(second.triangle == 1);
    CHECK(second.weights[1] == 0.5);
    MeshSequenceShort cut(odd);
    for (int wrong : {-3, INT_MAX, INT_MIN, 0}) {
        cut.lengths[4] = wrong;
        meshRayIntersectScreen(xyz, 4, 5, cut, identity, 0, 0, 1, ray, distance);
    }
    CHECK(distance == nowhere);  // (0 2 1) alone is left
    for (int stride : {2, 0, -1}) {
        distance = 0.0;
        CHECK_FALSE(meshRayIntersectScreen(xyz, 4, stride, strips.sequence, identity, 0, 0, 1, ray,
                                           distance)
                        .valid());
        CHECK(distance == nowhere);
    }
}

TEST_CASE("nothingAndBrokenNumbersGiveNothingOrAnAnswer") {
    ProjMatrixFlt const identity;
    Line const ray(Point(0.3, 0.3, 1), Vector(0, 0, -1));
    CHECK_FALSE(meshRayIntersectScreen(CompactMesh(), identity, ray).valid());
    CHECK_FALSE(meshRayIntersectScreen(nullptr, 0, nullptr, 0, identity, ray).valid());
    CHECK_FALSE(meshRayIntersectScreen(nullptr, -4, nullptr, -4, identity, 1, 2, 3, ray).valid());
    std::vector<double> distances(7);
    std::vector<MeshCoord> coords(2);
    MeshSequenceShort const none;
    meshRayIntersectScreen(nullptr, 0, 3, none, identity, 0, 1, 0, 1, {ray, Line()}, distances,
                           coords);
    CHECK((distances == std::vector<double>{nowhere, nowhere}));
    CHECK(coords.size() == 2);
    CompactMesh const cube = support::cube();
    meshRayIntersectScreen(cube.getVerticesRaw(), 8, 3, none, identity, 0, 1, 0, 1, {}, distances,
                           coords);
    CHECK(distances.empty());

    CHECK(meshRayIntersectScreen(cube, identity, 0, 0, INT_MAX, ray).valid());
    CHECK_FALSE(meshRayIntersectScreen(cube, identity, INT_MAX, INT_MIN, INT_MAX, ray).valid());
    CHECK_FALSE(meshRayIntersectScreen(cube, identity, 5, 0, -1, ray).valid());
    meshRayIntersectScreen(cube, identity, 0, 0, INT_MIN, ray);
    for (float odd : {notANumber, infinity, -infinity, 0.0f, 3e38f})
        for (int i = 0; i < 16; ++i) {
            ProjMatrixFlt m;
            m.m[i] = odd;
            MeshCoord const hit = meshRayIntersectScreen(cube, m, 0, 0, 2, ray);
            CHECK(hit.triangle < 12);
        }
    ProjMatrixFlt allNan;
    std::fill(allNan.m, allNan.m + 16, notANumber);  // to no side: every triangle is tested
    CHECK(meshRayIntersectScreen(cube, allNan, 500, 500, 1, ray).valid());
    double const broken = std::numeric_limits<double>::quiet_NaN();
    CHECK_FALSE(
        meshRayIntersectScreen(cube, identity, Line(Point(broken, 0.3, 1), Normal(0.0, 0.0, -1.0)))
            .valid());
    CHECK_FALSE(meshRayIntersectScreen(cube, identity,
                                       Line(Point(0.3, 0.3, 1), Normal(broken, broken, broken)))
                    .valid());
}
