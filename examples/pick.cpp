// Shoot a ray at a mesh and take the closest point to another: the two questions that a picking tool asks.

#include "toolkit/sampleMeshes.h"

#include "trimora/trimora.h"

#include <cstdio>

int main() {
    using namespace koGeom;
    CompactMesh const mesh = trimora::makeScan(5, 3);
    SimpleMeshCache cache;
    ko::Reference<Octree> const octree = cache.getOctree(mesh, -1);
    ko::Reference<OctreeTris> const octreeTris = cache.getOctreeTris(mesh);

    RayTracer tracer(*octree, *octreeTris, &mesh);
    tracer.setFindNearestHit(true);
    Vector direction;
    direction.x = -1.0;
    PointFlt origin;
    origin.set(5.0f, 0.0f, 0.0f);
    if (!tracer.intersect(origin, direction))
        return 1;
    std::printf("the ray meets the surface after %.4f\n", tracer.intersectionDist());
    return 0;
}
