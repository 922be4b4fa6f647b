#include "trimora/connectivity/MeshCache.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/computeOctreeTris.h"
#include "trimora/spatial/meshOctreeLines.h"

// Every getter has the same four steps: the stored table, what the new one stands on, the new one, storing.

namespace koGeom {

namespace {

constexpr int defaultLeafCapacity = 16;

}  // namespace

MeshCache::~MeshCache() = default;

ko::Reference<MeshAdjTris> MeshCache::getAdjTris(CompactMesh const& mesh) {
    if (ko::Reference<MeshAdjTris> stored = getAdjTrisImpl(mesh))
        return stored;
    ko::Reference<MeshAdjTris> table(new MeshAdjTris);
    meshAdjTris(mesh, *table);
    setAdjTrisImpl(mesh, table);
    return table;
}

ko::Reference<MeshAdjVertices> MeshCache::getAdjVertices(CompactMesh const& mesh) {
    if (ko::Reference<MeshAdjVertices> stored = getAdjVerticesImpl(mesh))
        return stored;
    ko::Reference<MeshAdjTris> const adjTris = getAdjTris(mesh);
    ko::Reference<MeshAdjVertices> table(new MeshAdjVertices);
    meshAdjVertices(mesh, *adjTris, *table);
    setAdjVerticesImpl(mesh, table);
    return table;
}

ko::Reference<Octree> MeshCache::getOctree(CompactMesh const& mesh, int maxDepth) {
    if (ko::Reference<Octree> stored = getOctreeImpl(mesh))
        return stored;
    BoundingBox box;
    meshBoundingBox(mesh, box);
    int const leafCapacity = maxDepth > 0 ? maxDepth : defaultLeafCapacity;
    ko::Reference<Octree> tree(
        new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, leafCapacity));
    setOctreeImpl(mesh, tree);
    return tree;
}

ko::Reference<OctreeTris> MeshCache::getOctreeTris(CompactMesh const& mesh) {
    if (ko::Reference<OctreeTris> stored = getOctreeTrisImpl(mesh))
        return stored;
    ko::Reference<Octree> const octree = getOctree(mesh, -1);
    ko::Reference<OctreeTris> table(new OctreeTris);
    computeOctreeTris(mesh, *octree, *table);
    setOctreeTrisImpl(mesh, table);
    return table;
}

ko::Reference<OctreeLines> MeshCache::getOctreeLines(CompactMesh const& mesh) {
    if (ko::Reference<OctreeLines> stored = getOctreeLinesImpl(mesh))
        return stored;
    ko::Reference<Octree> const octree = getOctree(mesh, -1);
    ko::Reference<OctreeLines> table(new OctreeLines);
    meshOctreeLines(mesh, *octree, *table);
    setOctreeLinesImpl(mesh, table);
    return table;
}

ko::Reference<MeshBoundaries> MeshCache::getBoundaries(CompactMesh const& mesh) {
    if (ko::Reference<MeshBoundaries> stored = getBoundariesImpl(mesh))
        return stored;
    ko::Reference<MeshAdjTris> const adjTris = getAdjTris(mesh);
    ko::Reference<MeshAdjVertices> const adjVertices = getAdjVertices(mesh);
    ko::Reference<MeshBoundaries> table(new MeshBoundaries);
    meshComputeBoundary(mesh, *adjTris, *adjVertices, *table);
    setBoundariesImpl(mesh, table);
    return table;
}

}  // namespace koGeom
