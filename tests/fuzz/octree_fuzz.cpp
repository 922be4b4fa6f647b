// A lattice mesh into an octree and its table of triangles, then closest points and rays from the lattice: the tree is sound, the table
// is that of testing every voxel with every triangle, the queries answer what measuring everything answers.

#include "contract/pointTreeChecks.h"
#include "fuzzMesh.h"
#include "spatial/queryOracles.h"
#include "spatial/voxelTables.h"

#include "trimora/spatial/RayTracer.h"

using namespace koGeom;
using queryScenes::noHit;
using queryScenes::Scene;

namespace {

constexpr std::size_t bytesOfQueries = 48;

void requireSoundTree(Scene const& scene, int capacity) {
    int const numVertices = scene.mesh.getNumVertices();
    float const* const points = scene.mesh.getVerticesRaw();
    pointTrees::Cloud const cloud(points, points + 3 * numVertices);
    std::string const fault = pointTrees::faultOf<3>(scene.octree, cloud, capacity);
    fuzz::require(fault.empty(), fault.c_str());
    Octree const serial(numVertices, points, scene.box, false, capacity);
    fuzz::require(pointTrees::shapeOf(serial) == pointTrees::shapeOf(scene.octree),
                  "the pool builds another tree");
    fuzz::require(voxelTables::setsOf(scene.octreeTris.getData()) ==
                      voxelTables::expectedSets(scene.mesh, scene.octree),
                  "the table of triangles is wrong");
}

double coordinateFrom(fuzz::Bytes& bytes) {
    int const byte = bytes.next();
    return 0.5 * (byte % 32 - 6) + (byte >= 192 ? 1e-7 : 0.0);
}

Point pointFrom(fuzz::Bytes& bytes) {
    double const x = coordinateFrom(bytes);
    double const y = coordinateFrom(bytes);
    return {x, y, coordinateFrom(bytes)};
}

/// On broken numbers only what the voxels hold is promised.
void requireClosest(Scene const& scene, MeshClosestPoint& query, Point const& p, bool isHard) {
    queryScenes::Found found;
    found.distance = query.compute(p, &found.coord);
    fuzz::require(found == queryScenes::nearestPlaceInVoxels(scene, p),
                  "the closest point is not that of the voxels");
    double const nearest = queryScenes::nearestPlaceOfAll(scene, p).distance;
    bool const areBothNone = found.distance == nearest;
    fuzz::require(isHard || areBothNone || std::abs(found.distance - nearest) <= 1e-4,
                  "the closest point is not the nearest");
}

void requireHits(Scene const& scene, RayTracer& nearest, RayTracer& any,
                 queryScenes::RayQuery const& ray) {
    double const expected = queryScenes::nearestHitInVoxels(scene, ray);
    bool const hit = nearest.intersect(ray.origin, ray.dir);
    fuzz::require(hit == (expected < noHit) && nearest.intersectionDist() == expected,
                  "the nearest hit is not that of the voxels");
    fuzz::require(any.intersect(ray.origin, ray.dir) == hit, "the two modes disagree");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    bool const isHard = (flags & 16) != 0;
    int const capacity = 1 + (flags & 7);
    CompactMesh const mesh = fuzz::latticeMesh(bytes, isHard, bytesOfQueries);
    BoundingBox box = voxelTables::finiteBoxOf(mesh);
    if ((flags & 32) != 0)
        box = queryScenes::halved(box);
    Scene const scene(mesh, box, capacity);
    requireSoundTree(scene, capacity);

    MeshClosestPoint closest(scene.mesh, scene.octree, scene.octreeTris);
    RayTracer nearest(scene.octree, scene.octreeTris, &scene.mesh);
    RayTracer any(scene.octree, scene.octreeTris, &scene.mesh);
    nearest.setFindNearestHit(true);
    bool const isPartial = isHard || (flags & 32) != 0;
    do {
        Point const p = pointFrom(bytes);
        requireClosest(scene, closest, p, isPartial);
        requireHits(scene, nearest, any, {PointFlt(p), pointFrom(bytes) - p});
    } while (bytes.left() > 0);
    return 0;
}
