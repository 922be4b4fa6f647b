#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Hands out the derived tables of meshes, each computed on its first request; see SimpleMeshCache.
///
/// A getter asks for the stored table, else computes the tables that it stands on by the public
/// getters, then its own, stores and returns it. A table that a caller holds stays alive after the
/// cache has dropped it. One thread at a time.
class TRIMORA_API MeshCache {
public:
    virtual ~MeshCache();

    ko::Reference<MeshAdjTris> getAdjTris(CompactMesh const& mesh);
    ko::Reference<MeshAdjVertices> getAdjVertices(CompactMesh const& mesh);
    /// The octree over the mesh's vertices.
    ///
    /// maxDepth   most points in a leaf, 16 when it is below 1; looked at only when the octree is
    ///            computed: a stored one is returned as it is
    ko::Reference<Octree> getOctree(CompactMesh const& mesh, int maxDepth);
    ko::Reference<OctreeTris> getOctreeTris(CompactMesh const& mesh);
    ko::Reference<OctreeLines> getOctreeLines(CompactMesh const& mesh);
    ko::Reference<MeshBoundaries> getBoundaries(CompactMesh const& mesh);

protected:
    /// The stored table of the mesh, or null.
    virtual ko::Reference<MeshAdjTris> getAdjTrisImpl(CompactMesh const& mesh) = 0;
    virtual ko::Reference<MeshAdjVertices> getAdjVerticesImpl(CompactMesh const& mesh) = 0;
    virtual ko::Reference<Octree> getOctreeImpl(CompactMesh const& mesh) = 0;
    virtual ko::Reference<OctreeTris> getOctreeTrisImpl(CompactMesh const& mesh) = 0;
    virtual ko::Reference<OctreeLines> getOctreeLinesImpl(CompactMesh const& mesh) = 0;
    virtual ko::Reference<MeshBoundaries> getBoundariesImpl(CompactMesh const& mesh) = 0;

    /// Stores a table that was just computed.
    virtual void setAdjTrisImpl(CompactMesh const& mesh, ko::Reference<MeshAdjTris> table) = 0;
    virtual void setAdjVerticesImpl(CompactMesh const& mesh,
                                    ko::Reference<MeshAdjVertices> table) = 0;
    virtual void setOctreeImpl(CompactMesh const& mesh, ko::Reference<Octree> table) = 0;
    virtual void setOctreeTrisImpl(CompactMesh const& mesh, ko::Reference<OctreeTris> table) = 0;
    virtual void setOctreeLinesImpl(CompactMesh const& mesh, ko::Reference<OctreeLines> table) = 0;
    virtual void setBoundariesImpl(CompactMesh const& mesh,
                                   ko::Reference<MeshBoundaries> table) = 0;
};

}  // namespace koGeom
