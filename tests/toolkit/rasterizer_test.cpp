// What a camera sees, against literal patterns, plain rays in doubles, and the packet tracer as the judge of depth.

#include "support/builders.h"
#include "toolkit/rasterizer.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/spatial/QuadRayTracer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;
using koLinear::VectorFlt;
using trimora::Camera;
using trimora::VisibilityBuffer;
using trimora::VisiblePoint;

namespace {

/// Looks along -z from the origin: what lies at z = -1 has x and -y for its place in the picture.
Camera plainCamera(int width, int height) {
    Camera camera;
    camera.right = {1.0, 0.0, 0.0};
    camera.down = {0.0, -1.0, 0.0};
    camera.forward = {0.0, 0.0, -1.0};
    camera.up = {0.0, 1.0, 0.0};
    camera.focal = 1.0;
    camera.centreX = camera.centreY = 0.0;
    camera.width = width;
    camera.height = height;
    camera.nearest = 0.01;
    return camera;
}

Camera cameraOn(CompactMesh const& mesh, trimora::View const& view, int width, int height) {
    koGeom::BoundingBox box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        for (int axis = 0; axis < 3; ++axis) {
            float const value = mesh.getVerticesRaw()[3 * v + axis];
            box.bounds[axis] = std::min(box.bounds[axis], value);
            box.bounds[axis + 3] = std::max(box.bounds[axis + 3], value);
        }
    return trimora::fitCamera(box, view, trimora::UpAxis::Y, width, height);
}

VisibilityBuffer draw(CompactMesh const& mesh, Camera const& camera, double offset = 0.5) {
    VisibilityBuffer buffer;
    trimora::Rasterizer(mesh, camera).draw(offset, offset, buffer);
    return buffer;
}

std::vector<std::string> pattern(VisibilityBuffer const& buffer) {
    std::vector<std::string> rows;
    for (int y = 0; y < buffer.height; ++y) {
        rows.emplace_back();
        for (int x = 0; x < buffer.width; ++x) {
            int const triangle = buffer.at(x, y).triangle;
            rows.back() += triangle < 0 ? '.' : static_cast<char>('0' + triangle);
        }
    }
    return rows;
}

/// The nearest triangle along a ray by Cramer's rule, with its depth; edges count.
VisiblePoint plainHit(CompactMesh const& mesh, Camera const& camera, Vector const& ray) {
    VisiblePoint best = {std::numeric_limits<float>::infinity(), -1, 0.0f, 0.0f};
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        Point const a = mesh.getVertices()[corners[0]].asPoint();
        Vector const e1 = mesh.getVertices()[corners[1]].asPoint() - a;
        Vector const e2 = mesh.getVertices()[corners[2]].asPoint() - a;
        Vector const s = camera.eye - a;
        double const det = dot(e1, cross(ray, e2));
        double const u = dot(s, cross(ray, e2)) / det;
        double const v = dot(ray, cross(s, e1)) / det;
        double const depth = dot(e2, cross(s, e1)) / det;
        if (det != 0.0 && u >= 0.0 && v >= 0.0 && u + v <= 1.0 && depth >= camera.nearest &&
            static_cast<float>(depth) < best.depth)
            best = {static_cast<float>(depth), t, static_cast<float>(u), static_cast<float>(v)};
    }
    return best;
}

/// Random triangles round the eye, many of them partly behind it.
CompactMesh trianglesAround(int count, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < 9 * count; ++i)
        coordinates.push_back(static_cast<float>(random.real(-2.0, 2.0)));
    for (int i = 0; i < 3 * count; ++i)
        triangles.push_back(i);
    return support::meshOf(coordinates, triangles);
}

struct Differences {
    int covered = 0;
    int missed = 0;        // seen by one of them only
    double largest = 0.0;  // of depths, where both see something
    int beyond = 0;        // depths that differ by more than the bound
};

/// Four neighbours in a row make a packet.
Differences judge(CompactMesh const& mesh, Camera const& camera, double bound) {
    VisibilityBuffer const seen = draw(mesh, camera);
    koGeom::SimpleMeshCache cache;
    auto const octree = cache.getOctree(mesh, -1);
    auto const table = cache.getOctreeTris(mesh);
    koGeom::QuadRayTracer tracer(*octree, *table, &mesh);
    Differences result;
    constexpr double length =
        64.0;  // the tracer's tolerances are no angles: longer ways, finer tests
    for (int y = 0; y < camera.height; ++y)
        for (int x = 0; x + 3 < camera.width; x += 4) {
            VectorFlt ways[4];
            for (int lane = 0; lane < 4; ++lane)
                ways[lane] = VectorFlt(camera.ray(x + lane + 0.5, y + 0.5) * length);
            koGeom::QuadRay packet(koLinear::PointFlt(camera.eye), ways[0], ways[1], ways[2],
                                   ways[3], true);
            tracer.intersect(packet);
            for (int lane = 0; lane < 4; ++lane) {
                VisiblePoint const& point = seen.at(x + lane, y);
                bool const isSeen = point.triangle >= 0;
                result.covered += isSeen ? 1 : 0;
                bool const isHit = packet.triHit(lane);
                result.missed += isSeen == isHit ? 0 : 1;
                if (isSeen && isHit) {
                    double const difference =
                        std::abs(packet.triIntersectionRayParam(lane) * length - point.depth);
                    result.largest = std::max(result.largest, difference);
                    result.beyond += difference > bound ? 1 : 0;
                }
            }
        }
    return result;
}

bool sameBits(VisibilityBuffer const& a, VisibilityBuffer const& b) {
    return a.points.size() == b.points.size() &&
           std::memcmp(a.points.data(), b.points.data(), a.points.size() * sizeof(VisiblePoint)) ==
               0;
}

}  // namespace

// Samples in the middle of the pixels; the slanted edge runs through four of them and belongs to both triangles:
//
//   (0,0) ------- (4,0)
//     |   0     /   |
//     |      /      |
//     |   /     1   |
//   (0,4) ------- (4,4)
TEST_CASE("aSampleOnASharedEdgeShowsTheLowerTriangle") {
    std::vector<float> const corners = {0, 0, -1, 4, 0, -1, 0, -4, -1, 4, -4, -1};
    std::vector<std::string> const upper = {"0000.", "0001.", "0011.", "0111.", "....."};
    CHECK(pattern(draw(support::meshOf(corners, {0, 1, 2, 1, 3, 2}), plainCamera(5, 5))) == upper);
    std::vector<std::string> const lower = {"1110.", "1100.", "1000.", "0000.", "....."};
    CHECK(pattern(draw(support::meshOf(corners, {1, 3, 2, 0, 1, 2}), plainCamera(5, 5))) == lower);
    // turned over they are seen as well
    CHECK(pattern(draw(support::meshOf(corners, {0, 2, 1, 1, 2, 3}), plainCamera(5, 5))) == upper);
}

TEST_CASE("theLowestOfEqualTrianglesIsSeenAndTheNearestOfDifferentOnes") {
    std::vector<float> const corners = {0, 0, -1, 4, 0, -1, 0, -4, -1,
                                        0, 0, -2, 8, 0, -2, 0, -8, -2};
    std::vector<std::string> const nearest = {"1111", "111.", "11..", "1..."};
    CHECK(pattern(draw(support::meshOf(corners, {3, 4, 5, 0, 1, 2, 1, 2, 0}), plainCamera(4, 4))) ==
          nearest);
}

TEST_CASE("depthAndWeightsAreThoseOfTheSurface") {
    // a triangle that leans away: depth 1 at x = 0, 3 at x = 6
    CompactMesh const mesh = support::meshOf({0, 0, -1, 6, 0, -3, 0, -6, -1}, {0, 1, 2});
    Camera const camera = plainCamera(3, 3);
    VisiblePoint const point = draw(mesh, camera).at(1, 0);  // the way (1.5, -0.5, -1)
    double const depth = 1.0 / (1.0 - 1.5 / 3.0);            // z = -1 - x / 3
    CHECK(point.triangle == 0);
    CHECK(point.depth == doctest::Approx(depth));
    CHECK(point.weight1 == doctest::Approx(1.5 * depth / 6.0));
    CHECK(point.weight2 == doctest::Approx(0.5 * depth / 6.0));
}

TEST_CASE("whatIsBehindTheEyeIsCutOff") {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CompactMesh const mesh = trianglesAround(12, seed);
        Camera camera = plainCamera(24, 18);
        camera.focal = 9.0;
        camera.centreX = 12.0;
        camera.centreY = 9.0;
        camera.nearest = 0.05;
        VisibilityBuffer const seen = draw(mesh, camera, 0.25);
        int numDifferent = 0;
        for (int y = 0; y < camera.height; ++y)
            for (int x = 0; x < camera.width; ++x) {
                VisiblePoint const expected =
                    plainHit(mesh, camera, camera.ray(x + 0.25, y + 0.25));
                VisiblePoint const& point = seen.at(x, y);
                bool const isSame =
                    point.triangle == expected.triangle &&
                    (point.triangle < 0 || (std::abs(point.depth - expected.depth) <= 1e-5f &&
                                            std::abs(point.weight1 - expected.weight1) <= 1e-5f &&
                                            std::abs(point.weight2 - expected.weight2) <= 1e-5f));
                numDifferent += isSame ? 0 : 1;
            }
        CAPTURE(seed);
        CHECK(numDifferent == 0);
    }
}

// A jittered square, cut into slivers and seen askew: each sample within its outline is covered.
TEST_CASE("thereAreNoPinHolesBetweenNeighbours") {
    support::Random random(7);
    for (int round = 0; round < 10; ++round) {
        int const n = 30;
        CompactMesh mesh =
            support::shuffled(support::grid(n, n), static_cast<std::uint64_t>(round));
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            koGeom::MeshVertex& p = mesh.getVertices()[v];
            bool const isInside = p.x > 0.5f && p.x < n - 0.5f && p.y > 0.5f && p.y < n - 0.5f;
            p.x += isInside ? static_cast<float>(random.real(-0.3, 0.3)) : 0.0f;
            p.y += isInside ? static_cast<float>(random.real(-0.3, 0.3)) : 0.0f;
        }
        Camera const camera =
            cameraOn(mesh, {random.real(-60.0, 60.0), random.real(-50.0, 50.0)}, 160, 120);
        VisibilityBuffer const seen = draw(mesh, camera);
        int numHoles = 0;
        for (int y = 0; y < camera.height; ++y)
            for (int x = 0; x < camera.width; ++x) {
                Vector const ray = camera.ray(x + 0.5, y + 0.5);
                Point const p = camera.eye + ray * (-camera.eye.z / ray.z);
                bool const isInside = p.x > 1e-6 && p.x < n - 1e-6 && p.y > 1e-6 && p.y < n - 1e-6;
                bool const isOutside =
                    p.x < -1e-6 || p.x > n + 1e-6 || p.y < -1e-6 || p.y > n + 1e-6;
                numHoles += (isInside && seen.at(x, y).triangle < 0) ||
                                    (isOutside && seen.at(x, y).triangle >= 0)
                                ? 1
                                : 0;
            }
        CHECK(numHoles == 0);
    }
}

// The tracer computes in floats and cuts edges short by its tolerance: a few samples in a hundred thousand fall between triangles
// or beside an outline; the others agree to floats' precision at the distance of the eye.
TEST_CASE("thePacketTracerJudgesTheDepthPixelByPixel") {
    struct Case {
        char const* name;
        CompactMesh mesh;
    };
    constexpr double allowed = 0.002;  // of the covered ones
    std::vector<Case> const cases = {{"octahedron", support::octahedron()},
                                     {"sphere", support::sphere(5)},
                                     {"torus", support::torus(60, 30)},
                                     {"terrain", support::terrain(50, 40, 3)},
                                     {"soup", support::latticeSoup(300, 200, 4)}};
    for (Case const& each : cases) {
        Camera const camera = cameraOn(each.mesh, {33.0, 21.0}, 320, 240);
        double const bound = 2e-5 * (camera.eye - Point()).length();
        Differences const found = judge(each.mesh, camera, bound);
        CAPTURE(each.name);
        CAPTURE(found.covered);
        CAPTURE(found.missed);
        CAPTURE(found.beyond);
        CAPTURE(found.largest);
        CHECK(found.covered > 5000);
        CHECK(found.missed <= allowed * found.covered);
        CHECK(found.beyond <= allowed * found.covered);
    }
}

TEST_CASE("theNumberOfThreadsIsNotSeen") {
    std::vector<CompactMesh> const meshes = {support::terrain(60, 60, 1),
                                             support::latticeSoup(200, 3000, 2), support::cube()};
    for (CompactMesh const& mesh : meshes) {
        Camera const camera = cameraOn(mesh, {20.0, 35.0}, 211, 157);
        koUtil::ThreadPool one(1);
        koUtil::ThreadPool::setShared(&one);
        VisibilityBuffer const expected = draw(mesh, camera);
        for (int const numThreads : {2, 3, 7}) {
            koUtil::ThreadPool pool(numThreads);
            koUtil::ThreadPool::setShared(&pool);
            CHECK(sameBits(draw(mesh, camera), expected));
            koUtil::ThreadPool::setShared(nullptr);
        }
        koUtil::ThreadPool::setShared(nullptr);
    }
}

TEST_CASE("whatCannotBeSeenIsLeftOut") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinite = std::numeric_limits<float>::infinity();
    float const huge = std::numeric_limits<float>::max();
    // a triangle; the same with NaN, with infinity; a point; a line; one seen edge on; one beyond all measure
    CompactMesh const mesh = support::meshOf(
        {0, 0, -1, 4, 0, -1, 0,    -4,   -1, nan,   0,    -1, infinite, 0,     -1,
         2, 0, -1, 0, 0, -3, huge, huge, -1, -huge, huge, -1, 0,        -huge, -huge},
        {3, 1, 2, 4, 1, 2, 0, 0, 0, 0, 1, 5, 0, 1, 0, 0, 6, 0, 7, 8, 9, 0, 1, 2});
    VisibilityBuffer const seen = draw(mesh, plainCamera(4, 4));
    CHECK(seen.at(0, 0).triangle == 7);
    for (VisiblePoint const& point : seen.points)
        CHECK((point.triangle == -1 || point.triangle == 6 || point.triangle == 7));
    CHECK(draw(CompactMesh(), plainCamera(1, 1)).at(0, 0).triangle == -1);
    CHECK(draw(support::meshOf({0, 0, -1}, {}), plainCamera(3, 1)).at(2, 0).triangle == -1);
}

TEST_CASE("edgesAreMeasuredInPixels") {
    CompactMesh const mesh = support::meshOf({0, 0, -1, 8, 0, -1, 0, -4, -1}, {0, 1, 2});
    trimora::Rasterizer const rasterizer(mesh, plainCamera(8, 8));
    auto const distances = rasterizer.edgeDistances(0, 1.0, 2.0);
    CHECK(distances.toEdge[0] == doctest::Approx((8.0 - 1.0 - 4.0) / std::sqrt(5.0)));
    CHECK(distances.toEdge[1] == doctest::Approx(1.0));
    CHECK(distances.toEdge[2] == doctest::Approx(2.0));
    CHECK(distances.heights[1] == doctest::Approx(8.0));
    CHECK(distances.heights[2] == doctest::Approx(4.0));
    CHECK(rasterizer.edgeDistances(0, -1.0, 2.0).toEdge[1] == doctest::Approx(-1.0));
}
