#include "queryScenes.h"
#include "support/checks.h"

#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/MeshPtInside.h"

#include <cmath>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;
using queryScenes::Scene;
using Result = MeshPtInside::Result;

namespace {

Scene withNormals(CompactMesh mesh, int capacity = 4) {
    meshComputeNormals(mesh);
    return Scene(mesh, capacity);
}

}  // namespace

TEST_CASE("pointsOfATorusAreInsideByTheDistanceFromItsTube") {
    Scene const scene = withNormals(support::torus(96, 48));
    MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 1e-9);
    support::Random random(1);
    for (int i = 0; i < 3000; ++i) {
        Point const p(random.real(-3, 3), random.real(-3, 3), random.real(-1, 1));
        double const fromTube = std::hypot(std::hypot(p.x, p.y) - 2.0, p.z) - 0.5;
        if (std::abs(fromTube) > 0.01)
            CHECK(inside.evaluate(p) == (fromTube < 0.0 ? Result::Inside : Result::Outside));
    }
}

TEST_CASE("onSurfaceIsStrictlyWithinTheToleranceWhateverTheNormals") {
    Scene const scene(support::cube());  // without normals
    REQUIRE(scene.mesh.getNormals() == nullptr);
    MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 0.25);
    CHECK(inside.evaluate({0.5, 0.5, 1.0}) == Result::OnSurface);
    CHECK(inside.evaluate({0.5, 0.5, 0.875}) == Result::OnSurface);
    CHECK(inside.evaluate({0.5, 0.5, 0.75}) == Result::Outside);  // at it; nothing tells the sides
    // outside the box nothing is searched
    CHECK(inside.evaluate({0.5, 0.5, 1.001}) == Result::Outside);
}

TEST_CASE("pointAtRightAnglesToTheNormalIsInside") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 4, 4, 4}, {0, 1, 2});
    mesh.allocNormalArray();
    for (int v = 0; v < 5; ++v)
        mesh.getNormals()[v] = Normal(1, 0, 0);  // in the triangle's plane
    Scene const scene(mesh);
    MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 0.0);
    CHECK(inside.evaluate({1, 1, 1}) == Result::Inside);
    for (int v = 0; v < 5; ++v)
        mesh.getNormals()[v] = Normal(0, 0, 1);
    Scene const up(mesh);
    MeshPtInside below(up.mesh, up.octree, up.octreeTris, 0.0);
    CHECK(below.evaluate({1, 1, 1}) == Result::Outside);
    CHECK(below.evaluate({1, 1, 0}) == Result::Inside);  // on it, with no tolerance
}

TEST_CASE("meshWithoutTrianglesHasNoInside") {
    double const nan = std::nan("");
    for (CompactMesh const& mesh : {CompactMesh(), support::meshOf({0, 0, 0, 1, 1, 1}, {})}) {
        Scene const scene(mesh);
        MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 1.0);
        CHECK(inside.evaluate({0.5, 0.5, 0.5}) == Result::Outside);
        CHECK(inside.evaluate({nan, nan, nan}) == Result::Outside);
    }
    Scene const scene = withNormals(support::cube());
    MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 0.0);
    CHECK(inside.evaluate({nan, 0.5, 0.5}) == Result::Outside);
}

TEST_CASE("insideDoesNotDependOnTheThreadsThatAsk") {
    struct Ask : koUtil::ThreadedAlg {
        explicit Ask(Scene const& all) : scene(all), answers(1000) {}
        void execute(int thread, int numThreads) override {
            MeshPtInside inside(scene.mesh, scene.octree, scene.octreeTris, 1e-3);
            MeshPtInside copy(inside);
            for (int i = getBeginIndex(thread, numThreads, 1000);
                 i < getBeginIndex(thread + 1, numThreads, 1000); ++i)
                answers[static_cast<std::size_t>(i)] =
                    (i % 2 == 0 ? inside : copy)
                        .evaluate(scene.at(i % 10 / 9.0, i / 10 % 10 / 9.0, i / 100 / 9.0));
        }
        Scene const& scene;
        std::vector<Result> answers;
    };
    Scene const scene = withNormals(support::sphere(3));
    std::vector<Result> expected;
    support::withPools([&](int) {
        Ask alg(scene);
        koUtil::ThreadPool::get().run(alg);
        if (expected.empty())
            expected = alg.answers;
        CHECK(alg.answers == expected);
    });
}
