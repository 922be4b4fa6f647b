#include "queryScenes.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/QuadRayTracer.h"
#include "trimora/spatial/RayTracer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <set>
#include <vector>
#include <xmmintrin.h>

using namespace koGeom;
using queryScenes::Scene;

namespace {

constexpr float largest = std::numeric_limits<float>::max();
using Directions = std::array<VectorFlt, 4>;

QuadRay packet(PointFlt const& origin, Directions const& d, bool nearest) {
    return QuadRay(origin, d[0], d[1], d[2], d[3], nearest);
}

/// One lane in plain floats: the same steps in the same order.
struct Lane {
    PointFlt origin;
    VectorFlt dir;
    float best = largest;
    bool hasHit = false;

    static float smaller(float a, float b) {
        return a < b ? a : b;
    }  // as the packet's lanes have it with NaN
    static float greater(float a, float b) { return a > b ? a : b; }

    bool enters(BoundingBox const& box, bool nearest) const {
        float const o[3] = {origin.x, origin.y, origin.z}, d[3] = {dir.x, dir.y, dir.z};
        float near[3], far[3];
        for (int axis = 0; axis < 3; ++axis) {
            float const inverse = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(d[axis])));
            float const t0 = (box.min(axis) - o[axis]) * inverse;
            float const t1 = (box.max(axis) - o[axis]) * inverse;
            near[axis] = smaller(t0, t1), far[axis] = greater(t0, t1);
        }
        float const enter = greater(near[0], near[1]), leave = smaller(far[0], far[1]);
        return near[0] <= far[1] && near[1] <= far[0] && enter <= far[2] && near[2] <= leave &&
               greater(enter, near[2]) < best && 0.0f < smaller(leave, far[2]) &&
               (nearest || !hasHit);
    }

    void meet(Scene const& scene, int triangle, float cullDistance) {
        MeshVertex const* const v = scene.mesh.getVertices();
        MeshTriangle const& corners = scene.mesh.getTriangles()[triangle];
        auto const minus = [](MeshVertex const& p, MeshVertex const& q) {
            return VectorFlt(p.x - q.x, p.y - q.y, p.z - q.z);
        };
        auto const dotOf = [](VectorFlt const& a, VectorFlt const& b) {
            return a.x * b.x + a.y * b.y + a.z * b.z;
        };
        auto const crossOf = [](VectorFlt const& a, VectorFlt const& b) {
            return VectorFlt(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
        };
        VectorFlt const e1 = minus(v[corners[1]], v[corners[0]]);
        VectorFlt const e2 = minus(v[corners[2]], v[corners[0]]);
        VectorFlt const s = minus({origin.x, origin.y, origin.z}, v[corners[0]]);
        VectorFlt const p = crossOf(dir, e2), q = crossOf(s, e1);
        float const det = dotOf(e1, p), size = std::abs(det),
                    sign = std::signbit(det) ? -1.0f : 1.0f;
        float const a = dotOf(s, p) * sign, b = dotOf(q, dir) * sign;
        if (!(epsilonTolFlt <= size) || size < a || a < 0.0f || size < a + b || b < 0.0f ||
            std::signbit(dotOf(q, e2) * sign))
            return;
        float const t = dotOf(q, e2) / det;
        if (epsilonTolFlt < t && (cullDistance <= t || epsilonTolFlt <= det)) {
            hasHit = true;
            best = smaller(best, t);
        }
    }
};

/// The leaves below a node whose boxes the packet enters, asked one box at a time.
void enteredLeaves(QuadRay& ray, OctreeIterator const& place, std::vector<int>& voxels) {
    koUtil::BitField32 lanes;
    ray.intersect(place.box, lanes);
    if (!lanes.any())
        return;
    if (place.node->isLeaf != 0)
        voxels.push_back(place.node->voxelIndex);
    for (int k = 0; k < 8; ++k) {
        OctreeIterator child = place;
        if (child.descend(k))
            enteredLeaves(ray, child, voxels);
    }
}

Directions drawDirections(support::Random& random) {
    float const odd[] = {0.0f, -0.0f, 1.0f, -1.0f};
    Directions d;
    for (VectorFlt& each : d)
        for (float* value : {&each.x, &each.y, &each.z})
            *value = random.index(5) == 0 ? odd[random.index(4)]
                                          : static_cast<float>(random.real(-1.0, 1.0));
    if (random.index(4) == 0)
        d = {d[0], d[0], d[0], d[0]};
    return d;
}

PointFlt drawOrigin(support::Random& random, Scene const& scene) {
    return PointFlt(scene.at(random.real(-1, 2), random.real(-1, 2), random.real(-1, 2)));
}

}  // namespace

TEST_CASE("packetsEqualTheirLanesInPlainFloats") {
    support::Random random(41);
    float const nan = std::numeric_limits<float>::quiet_NaN();
    for (Scene const& scene : queryScenes::scenes())
        for (int round = 0; round < 20; ++round) {
            PointFlt const origin = drawOrigin(random, scene);
            Directions d = drawDirections(random);
            if (round == 19)
                d[2].y = nan;
            bool const nearest = random.index(2) == 0;
            QuadRay ray = packet(origin, d, nearest);
            std::array<Lane, 4> lanes;
            for (std::size_t k = 0; k < 4; ++k)
                lanes[k] = {origin, d[k]};
            for (int step = 0; step < 40 && scene.mesh.getNumTriangles() > 0; ++step) {
                int const triangle = random.index(scene.mesh.getNumTriangles());
                ray.intersect(scene.mesh.getTriangles()[triangle], scene.mesh.getVertices());
                BoundingBox box = scene.box;
                for (int axis = 0; axis < 3; ++axis)
                    if (random.index(2) == 0)
                        box.bounds[axis + 3 * random.index(2)] =
                            0.5f * (box.min(axis) + box.max(axis));
                koUtil::BitField32 entering;
                ray.intersect(box, entering);
                for (std::size_t k = 0; k < 4; ++k) {
                    lanes[k].meet(scene, triangle, epsilonTolFlt);
                    int const lane = static_cast<int>(k);
                    REQUIRE(ray.triHit(lane) == lanes[k].hasHit);
                    REQUIRE(ray.triIntersectionRayParam(lane) == lanes[k].best);
                    REQUIRE(entering.test(lane) == lanes[k].enters(box, nearest));
                }
            }
            bool const isDone =
                lanes[0].hasHit && lanes[1].hasHit && lanes[2].hasHit && lanes[3].hasHit;
            CHECK(ray.allRaysTerminated() == (!nearest && isDone));
        }
}

// Leaves are no smaller than a hundredth of the distance here, where reciprocals of 12 bits lose nothing.
TEST_CASE("tracedPacketsAgreeWithSingleRays") {
    support::Random random(43);
    int numHits = 0, numDifferent = 0;
    for (CompactMesh const& mesh :
         {support::sphere(3), support::torus(20, 12), support::terrain(15, 15, 4),
          support::soup(support::cube()), support::latticeSoup(60, 80, 2)}) {
        Scene const scene(mesh, 16);
        RayTracer single(scene.octree, scene.octreeTris, &scene.mesh);
        single.setFindNearestHit(true);
        QuadRayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
        for (int round = 0; round < 400; ++round) {
            PointFlt const origin = drawOrigin(random, scene);
            Directions d = drawDirections(random);
            for (VectorFlt& each : d)  // mostly towards the mesh
                if (random.index(4) != 0) {
                    Point const target =
                        scene.at(random.real(0, 1), random.real(0, 1), random.real(0, 1));
                    each = VectorFlt(target - Point(origin));
                }
            QuadRay nearest = packet(origin, d, true), any = packet(origin, d, false);
            std::array<Lane, 4> all;
            tracer.intersect(nearest);
            tracer.intersect(any);
            CHECK_FALSE(nearest.allRaysTerminated());
            for (std::size_t k = 0; k < 4; ++k) {
                all[k] = {origin, d[k]};
                for (int t = 0; t < mesh.getNumTriangles(); ++t)
                    all[k].meet(scene, t, epsilonTolFlt);
                int const lane = static_cast<int>(k);
                CHECK(nearest.triHit(lane) == all[k].hasHit);
                CHECK(nearest.triIntersectionRayParam(lane) == all[k].best);
                CHECK(any.triHit(lane) == all[k].hasHit);
                CHECK(any.triIntersectionRayParam(lane) >= all[k].best);
                numHits += all[k].hasHit ? 1 : 0;

                // In doubles the same, but for rays that pass within rounding of an edge or of a tolerance.
                bool const hit = single.intersect(
                    origin, Vector(double(d[k].x), double(d[k].y), double(d[k].z)));
                double const t = single.intersectionDist();
                if (hit != nearest.triHit(lane) ||
                    (hit && std::abs(double(all[k].best) - t) > 1e-3 * t))
                    ++numDifferent;
            }
        }
    }
    CHECK(numHits > 3000);
    CHECK(numDifferent < 30);  // of 8000
}

TEST_CASE("walkVisitsTheLeavesThatALaneEnters") {
    support::Random random(47);
    for (CompactMesh const& mesh : {support::sphere(3), support::terrain(15, 15, 4)}) {
        Scene const scene(mesh, 2);
        OctreeQuadRayIntersectIt walk(scene.octree);
        CHECK_FALSE(walk.valid());
        CHECK(walk.get().node == nullptr);
        for (int round = 0; round < 100; ++round) {
            QuadRay ray = packet(drawOrigin(random, scene), drawDirections(random), true);
            std::vector<int> visited[2];
            for (bool frontToBack : {false, true})
                for (walk.reset(ray, frontToBack); walk.valid(); walk.next())
                    visited[frontToBack].push_back(walk.get().node->voxelIndex);
            std::set<int> const set(visited[0].begin(), visited[0].end());
            CHECK(set.size() == visited[0].size());
            CHECK((set == std::set<int>(visited[1].begin(), visited[1].end())));
            std::vector<int> own;
            for (OctreeQuadRayIntersectIt it(scene.octree, ray); it.valid(); it.next())
                own.push_back(it.get().node->voxelIndex);
            CHECK(own == visited[0]);
            CHECK(std::is_sorted(own.begin(), own.end()));  // the tree's own order
        }
    }
}

TEST_CASE("childrenAreEnteredAsTheirBoxesAre") {
    support::Random random(53);
    float const notANumber = std::numeric_limits<float>::quiet_NaN();
    std::size_t numEntered = 0;
    for (Scene const& scene : queryScenes::scenes()) {
        OctreeQuadRayIntersectIt walk(scene.octree);
        for (int round = 0; round < 30; ++round) {
            Directions d = drawDirections(random);
            if (round % 10 == 9)
                d[1].z = notANumber;
            PointFlt const origin = drawOrigin(random, scene);
            for (std::size_t k = 2; k < 4; ++k)  // towards the mesh
                d[k] = VectorFlt(scene.at(random.real(0, 1), random.real(0, 1), random.real(0, 1)) -
                                 Point(origin));
            QuadRay ray = packet(origin, d, round % 2 == 0);
            for (int t = 0; t < std::min(scene.mesh.getNumTriangles(), 3 * (round % 7)); ++t)
                ray.intersect(scene.mesh.getTriangles()[t], scene.mesh.getVertices());
            std::vector<int> expected, visited;
            if (scene.octree.numVoxels > 0)
                enteredLeaves(ray, scene.octree.getRoot(), expected);
            for (walk.reset(ray, false); walk.valid(); walk.next())
                visited.push_back(walk.get().node->voxelIndex);
            CHECK(visited == expected);
            numEntered += visited.size();
        }
    }
    CHECK(numEntered > 5000);
}

TEST_CASE("walkHasNothingToVisitWithoutTreeOrRay") {
    Scene const scene(support::sphere(1), 4);
    OctreeQuadRayIntersectIt walk(scene.octree);
    walk.push(scene.octree.getRoot());  // no ray yet
    walk.next();
    CHECK_FALSE(walk.valid());
    QuadRay ray =
        packet({0, 0, 5}, {VectorFlt(0, 0, -1), {0, 0, -1}, {0, 0, -1}, {0, 0, -1}}, true);
    walk.reset(ray, true);
    std::size_t numLeaves = 0;
    for (; walk.valid(); walk.next())
        ++numLeaves;
    walk.push(OctreeIterator());  // no node
    CHECK_FALSE(walk.valid());
    walk.push(scene.octree.getRoot());
    for (walk.next(); walk.valid(); walk.next())
        --numLeaves;
    CHECK(numLeaves == 0);
    Octree const empty(0, nullptr, BoundingBox(), true, 4);
    CHECK_FALSE(OctreeQuadRayIntersectIt(empty, ray).valid());
}

TEST_CASE("anyHitEndsWhenAllLanesHaveOne") {
    // Two sheets: what the walk meets first is enough, so the other sheet's voxels are not tested.
    CompactMesh const sheets = support::joined(support::grid(8, 8), support::grid(8, 8), 0.0);
    Scene const scene(sheets, 4);
    QuadRayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
    Directions const down{VectorFlt(0, 0, -1), VectorFlt(0.1f, 0, -1), VectorFlt(0, 0.1f, -1),
                          VectorFlt(0.1f, 0.1f, -1)};
    QuadRay ray = packet({4.3f, 4.1f, 2.0f}, down, false);
    CHECK((ray.meanDirection() == VectorFlt(0.05f, 0.05f, -1)));
    tracer.intersect(ray);
    CHECK(ray.allRaysTerminated());
    koUtil::BitField32 lanes;
    ray.intersect(scene.box, lanes);
    CHECK_FALSE(lanes.any());
    QuadRay const copy = ray;
    CHECK(copy.triIntersectionRayParam(0) == 2.0f);

    QuadRay up = packet({4.3f, 4.1f, 2.0f}, {VectorFlt(0, 0, 1), down[1], down[2], down[3]}, false);
    tracer.intersect(up);
    CHECK_FALSE(up.triHit(0));
    CHECK(up.triIntersectionRayParam(0) == largest);
    CHECK(up.triHit(3));
    CHECK_FALSE(up.allRaysTerminated());
}

TEST_CASE("backFacesCountFromTheCullDistanceOn") {
    Scene const scene(support::grid(2, 2));
    QuadRayTracer tracer(scene.octree, scene.octreeTris, &scene.mesh);
    VectorFlt const up(0, 0, 1);
    auto const hits = [&] {
        QuadRay ray = packet({0.7f, 0.6f, -2.0f}, {up, up, up, up}, true);
        tracer.intersect(ray);
        return ray.triHit(0);
    };
    CHECK(hits());
    QuadRay::setBackfaceCullDistance(3.0f);
    bool const isCulled = !hits();
    QuadRay::setBackfaceCullDistance(1.0f);
    bool const isCounted = hits();
    QuadRay::setBackfaceCullDistance(epsilonTolFlt);
    CHECK(isCulled);
    CHECK(isCounted);

    QuadRayTracer none(scene.octree, scene.octreeTris, nullptr);
    QuadRay ray = packet({0.7f, 0.6f, -2.0f}, {up, up, up, up}, true);
    none.intersect(ray);
    CHECK_FALSE(ray.triHit(0));
}
