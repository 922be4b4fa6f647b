#include "queryOracles.h"
#include "queryScenes.h"
#include "support/checks.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/RayTracer.h"
#include "trimora/spatial/intersectRayTriangle.h"
#include "trimora/spatial/octreeIterators.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;
using queryScenes::nearestHitInVoxels;
using queryScenes::nearestHitOfAll;
using queryScenes::noHit;
using queryScenes::RayQuery;
using queryScenes::Scene;

namespace {

Vector drawDirection(support::Random& random) {
    double const odd[] = {0.0, -0.0, 1.0, -1.0, 1e-7};
    double component[3];
    for (double& value : component)
        value = random.index(3) == 0 ? odd[random.index(5)] : random.real(-1.0, 1.0);
    return {component[0], component[1], component[2]};
}

/// Through anything: vertices, edges, voxel corners; along axes; within the planes of triangles.
Vector drawTarget(support::Random& random, Scene const& scene, Point& target) {
    int const numTriangles = scene.mesh.getNumTriangles();
    target = scene.at(random.real(0, 1), random.real(0, 1), random.real(0, 1));
    Vector dir = drawDirection(random);
    if (numTriangles == 0)
        return dir;
    int const triangle = random.index(numTriangles);
    Point const a = scene.corner(triangle, 0), b = scene.corner(triangle, 1),
                c = scene.corner(triangle, 2);
    double const grazing = 1e-3 * random.real(-1.0, 1.0) * random.real(0.0, 1.0);
    switch (random.index(6)) {
    case 0:
        target = a;
        break;
    case 1:
        target = combine(b, c);
        break;
    case 2:
        target = scene.at(random.index(9) / 8.0, random.index(9) / 8.0, random.index(9) / 8.0);
        break;
    case 3:
        target = a + (b - a) / 3.0 + (c - a) / 3.0;
        break;
    case 4:  // at a small angle to the triangle
        target = combine(a, b);
        dir = (b - c) + grazing * cross(b - a, c - a);
        break;
    default:
        break;
    }
    return dir;
}

RayQuery drawRay(support::Random& random, Scene const& scene) {
    Point target;
    Vector dir = drawTarget(random, scene, target);
    double const size = random.index(2) == 0 ? 1.0 : std::exp2(random.index(40) - 20);
    Vector const unit = dir;
    double const length = unit.length() > 0.0 ? unit.length() : 1.0;
    double const away[] = {0.0, 0.3, 2.0, 300.0};
    double const back = away[random.index(4)] * scene.diagonal() / length;
    // tiny meshes are met only by long directions, since the determinant has an absolute tolerance
    dir = (scene.diagonal() < 1e-6 ? 1e40 : size) * dir;
    return {PointFlt(target - back * unit), dir};
}

struct Tally {
    int hits = 0;
    int rays = 0;
};

void compare(Scene const& scene, int numRays, std::uint64_t seed, Tally& tally) {
    support::Random random(seed);
    RayTracer nearest(scene.octree, scene.octreeTris, &scene.mesh);
    RayTracer any(scene.octree, scene.octreeTris, &scene.mesh);
    nearest.setFindNearestHit(true);
    for (int i = 0; i < numRays; ++i) {
        RayQuery const query = drawRay(random, scene);
        double const expected = nearestHitInVoxels(scene, query);
        bool const hit = nearest.intersect(query.origin, query.dir);
        REQUIRE(hit == (expected < noHit));
        REQUIRE(nearest.intersectionDist() == expected);
        REQUIRE(any.intersect(query.origin, query.dir) == hit);
        REQUIRE(any.intersectionDist() == noHit);
        tally.hits += hit;
        ++tally.rays;
    }
}

}  // namespace

/// From vertex to vertex of a lattice: within the planes of many triangles but for the rounding of
/// the direction. On large triangles the determinant passes its tolerance all the same, and the
/// exact test gives parameters and weights that are far off.
RayQuery drawRayInAPlane(support::Random& random, Scene const& scene) {
    int const numVertices = scene.mesh.getNumVertices();
    Point const from = scene.vertex(random.index(numVertices));
    Vector dir = scene.vertex(random.index(numVertices)) - from;
    dir.normalize();
    double const back = random.real(-0.5, 0.5) * scene.diagonal();
    Point const origin = random.index(2) == 0 ? from : from - back * dir;
    return {PointFlt(origin), std::exp2(random.index(6)) * dir};
}

// Nothing that is passed over may change a bit of the answer.
TEST_CASE("nearestHitIsThatOfAWalkToTheEndThroughEveryVoxel") {
    Tally tally;
    std::uint64_t seed = 0;
    for (Scene const& scene : queryScenes::scenes())
        compare(scene, 1000, ++seed, tally);
    CHECK(tally.hits > tally.rays / 5);
}

TEST_CASE("nearestHitIsThatOfAWalkToTheEndWhereRoundingMakesHits") {
    support::Random random(12);
    int numHits = 0;
    for (float const scale : {1e3f, 1e4f, 1e5f, 1e6f, 1e7f}) {
        Scene const scene(queryScenes::scaled(support::latticeSoup(500, 800, 7), scale, 0.0f));
        RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        tracer.setFindNearestHit(true);
        for (int i = 0; i < 2000; ++i) {
            RayQuery const query = drawRayInAPlane(random, scene);
            double const expected = nearestHitInVoxels(scene, query);
            REQUIRE(tracer.intersect(query.origin, query.dir) == (expected < noHit));
            REQUIRE(tracer.intersectionDist() == expected);
            numHits += expected < noHit;
        }
    }
    CHECK(numHits > 1000);
}

TEST_CASE("nearestHitIsTheNearestOfAllTriangles") {
    support::Random random(9);
    for (CompactMesh const& mesh :
         {support::sphere(3), support::terrain(20, 20, 4), support::torus(30, 12)}) {
        Scene const scene(mesh);
        RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        tracer.setFindNearestHit(true);
        for (int i = 0; i < 1000; ++i) {
            Point const from = scene.at(random.real(-1, 2), random.real(-1, 2), random.real(-1, 2));
            Point const to = scene.at(random.real(0, 1), random.real(0, 1), random.real(0, 1));
            RayQuery const query{PointFlt(from), to - from};
            CHECK(tracer.intersect(query.origin, query.dir) ==
                  (nearestHitOfAll(scene, query) < noHit));
            CHECK(tracer.intersectionDist() == nearestHitOfAll(scene, query));
        }
    }
}

// From the center of a closed mesh every ray hits; from outside, entry is nearer than exit.
TEST_CASE("raysMeetAClosedSurfaceFromInsideAndOutside") {
    Scene const scene(support::sphere(4));
    RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
    tracer.setFindNearestHit(true);
    support::Random random(3);
    for (int i = 0; i < 2000; ++i) {
        Vector dir(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
        if (!dir.normalize())
            continue;
        CHECK(tracer.intersect({0, 0, 0}, dir));
        CHECK(tracer.intersectionDist() == doctest::Approx(1.0).epsilon(0.01));
        PointFlt const outside(Point::origin - 3.0 * dir);
        CHECK(tracer.intersect(outside, dir));
        CHECK(tracer.intersectionDist() == doctest::Approx(2.0).epsilon(0.01));
        CHECK_FALSE(tracer.intersect(outside, -dir));
        CHECK(tracer.intersectionDist() == noHit);
    }
}

// Called by itself it works under the mark of the ray in hand and leaves the marks.
TEST_CASE("intersectVoxelPassesOverWhatTheRayInHandHasMet") {
    Scene const scene(support::grid(1, 1), 16);  // one voxel
    REQUIRE(scene.octree.numVoxels == 1);
    PointFlt const origin(0.7f, 0.2f, 1.0f);
    Vector const down(0, 0, -1);
    for (bool const nearest : {false, true}) {
        RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        tracer.setFindNearestHit(nearest);
        Ray const ray(origin, down);
        CHECK(tracer.intersectVoxel(ray, 0));
        CHECK(ray.triIntersectionRayParam() == 1.0);
        Ray const other({0.7f, 0.2f, 0.5f}, down);
        CHECK_FALSE(tracer.intersectVoxel(other, 0));
        CHECK_FALSE(tracer.intersect(origin, down));  // the marks still stand
        CHECK(tracer.intersect(origin, down));
        CHECK(tracer.intersectVoxel(other, 0));
    }
}

// In any-hit mode the first hit ends the voxel; a triangle that is missed is marked all the same.
TEST_CASE("intersectVoxelMarksTheTrianglesThatItMisses") {
    Scene const scene(support::grid(1, 1), 16);
    RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
    Vector const down(0, 0, -1);
    CHECK_FALSE(tracer.intersectVoxel(Ray({5.0f, 5.0f, 1.0f}, down), 0));
    CHECK_FALSE(tracer.intersectVoxel(Ray({0.7f, 0.2f, 1.0f}, down), 0));
}

TEST_CASE("nothingIsHitWhereThereIsNothing") {
    for (CompactMesh const& mesh : {CompactMesh(), support::meshOf({0, 0, 0, 1, 1, 1}, {})}) {
        Scene const scene(mesh);
        RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        RayTracer nullTracer(scene.octree, scene.octreeTris, nullptr);
        for (bool const nearest : {false, true}) {
            tracer.setFindNearestHit(nearest);
            nullTracer.setFindNearestHit(nearest);
            CHECK_FALSE(tracer.intersect({0.5f, 0.5f, 5.0f}, {0, 0, -1}));
            CHECK_FALSE(nullTracer.intersect({0.5f, 0.5f, 5.0f}, {0, 0, -1}));
            CHECK(tracer.intersectionDist() == noHit);
        }
    }
}

TEST_CASE("brokenRaysEndAndAgreeWithTheWalkToTheEnd") {
    double const nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    double const values[] = {0.0, 1.0, -1.0, nan, infinity, -infinity, 1e300, 1e-300, 3e38};
    support::Random random(6);
    auto const draw = [&] { return values[random.index(9)]; };
    for (Scene const& scene : queryScenes::scenes()) {
        RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        tracer.setFindNearestHit(true);
        for (int i = 0; i < 50; ++i) {
            RayQuery const query{PointFlt(Point(draw(), draw(), draw())),
                                 Vector(draw(), draw(), draw())};
            double const expected = nearestHitInVoxels(scene, query);
            CHECK(tracer.intersect(query.origin, query.dir) == (expected < noHit));
            CHECK(tracer.intersectionDist() == expected);
        }
    }
}

TEST_CASE("tracersOfManyThreadsShareMeshAndTree") {
    struct Shoot : koUtil::ThreadedAlg {
        Shoot(Scene const& all, std::vector<RayQuery> const& list)
            : scene(all), rays(list), distances(list.size()) {}
        void execute(int thread, int numThreads) override {
            RayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
            tracer.setFindNearestHit(true);
            int const count = static_cast<int>(rays.size());
            for (int i = getBeginIndex(thread, numThreads, count);
                 i < getBeginIndex(thread + 1, numThreads, count); ++i) {
                auto const k = static_cast<std::size_t>(i);
                tracer.intersect(rays[k].origin, rays[k].dir);
                distances[k] = tracer.intersectionDist();
            }
        }
        Scene const& scene;
        std::vector<RayQuery> const& rays;
        std::vector<double> distances;
    };
    Scene const scene(support::terrain(40, 40, 2));
    support::Random random(8);
    std::vector<RayQuery> rays;
    for (int i = 0; i < 2000; ++i)
        rays.push_back(drawRay(random, scene));
    std::vector<double> expected;
    support::withPools([&](int) {
        Shoot alg(scene, rays);
        koUtil::ThreadPool::get().run(alg);
        if (expected.empty())
            expected = alg.distances;
        CHECK(alg.distances == expected);
    });
}
