#pragma once

#include "trimora/connectivity/MeshCache.h"

namespace koGeom {

class SimpleMeshCacheImpl;

/// A MeshCache that stores the tables and drops all tables of a mesh on any modification of that
/// mesh and at its death.
///
/// Filled lazily, without a limit of size. Cache and meshes may die in either order. It hears of
/// changes through the mesh's signals: code that writes a mesh's arrays and sends no modification
/// leaves stale tables behind.
///
/// A copy shares the tables and owns nothing: it must not be used after the cache that it was
/// copied from is gone.
class TRIMORA_API SimpleMeshCache : public MeshCache {
public:
    SimpleMeshCache();
    SimpleMeshCache(SimpleMeshCache const& other);
    SimpleMeshCache& operator=(SimpleMeshCache const& other);
    ~SimpleMeshCache() override;

    /// Drops all tables of all meshes.
    void clear();

protected:
    ko::Reference<MeshAdjTris> getAdjTrisImpl(CompactMesh const& mesh) override;
    ko::Reference<MeshAdjVertices> getAdjVerticesImpl(CompactMesh const& mesh) override;
    ko::Reference<Octree> getOctreeImpl(CompactMesh const& mesh) override;
    ko::Reference<OctreeTris> getOctreeTrisImpl(CompactMesh const& mesh) override;
    ko::Reference<OctreeLines> getOctreeLinesImpl(CompactMesh const& mesh) override;
    ko::Reference<MeshBoundaries> getBoundariesImpl(CompactMesh const& mesh) override;

    void setAdjTrisImpl(CompactMesh const& mesh, ko::Reference<MeshAdjTris> table) override;
    void setAdjVerticesImpl(CompactMesh const& mesh, ko::Reference<MeshAdjVertices> table) override;
    void setOctreeImpl(CompactMesh const& mesh, ko::Reference<Octree> table) override;
    void setOctreeTrisImpl(CompactMesh const& mesh, ko::Reference<OctreeTris> table) override;
    void setOctreeLinesImpl(CompactMesh const& mesh, ko::Reference<OctreeLines> table) override;
    void setBoundariesImpl(CompactMesh const& mesh, ko::Reference<MeshBoundaries> table) override;

private:
    SimpleMeshCacheImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
