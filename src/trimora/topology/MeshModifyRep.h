#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/topology/ArrayMap.h"
#include "trimora/topology/MeshConvertRep.h"

namespace koGeom {

/// Bridge for editing: takes a region of an array mesh out into a half-edge mesh and puts it back, edited.
///
///     MeshModifyRep rep(mesh, triangles, vertices, adjTris);
///     TopoMesh& topo = rep.extract();
///     ...                              edit; each vertex that is deleted is told: rep.removeVertex(v)
///     rep.merge();
///
/// A vertex is owned by the region when all its triangles belong to it, one without triangles too; the others are its
/// rim, which the rest of the mesh uses.
/// order     of calls: as above, merge() at most once
/// table     should be that of the mesh as it is at extract(): vertices beyond its end count as rim, and one that lacks
///           triangles can take a vertex for owned, which then tears from the rest of the mesh
/// lifetime  as MeshConvertRep; the mesh must not change between extract() and merge()
class TRIMORA_API MeshModifyRep : public MeshConvertRep {
public:
    class ModifyImpl;

    /// The region is the mesh's selection of triangles and vertices.
    MeshModifyRep(CompactMesh& mesh, MeshAdjTris const& adj);
    MeshModifyRep(CompactMesh& mesh, BitVector const& triangles, BitVector const& vertices,
                  MeshAdjTris const& adj);
    ~MeshModifyRep() override;

    /// As MeshConvertRep::extract; a second message follows: "MeshModifyRep::extract: %f s\n".
    TopoMesh& extract() override;

    /// Tells that the caller deletes the vertex from the half-edge mesh, before or after it does. Its old number then has
    /// no successor. One that was not in the region, or was told already, changes nothing. A vertex that is told and kept
    /// comes back as a new one.
    void removeVertex(TopoMeshVertex vertex);

    /// Puts the region back: its old triangles go, the faces are appended.
    ///
    /// triangles  those outside the region keep their order; all faces follow, in the order of their list, each from its
    ///            first edge. Of a face with more than three corners only the first three are written
    /// vertices   rim: kept, with their UVs, in the place that the half-edge mesh gives them. Owned and new: appended in
    ///            the order of their list; nothing but the position is carried. Numbers close up over what is deleted
    /// selection  consumed: empty afterwards. What the mesh has selected at the time plays no part
    /// sends      one Topology modification, by MeshDeleteSelected. Without a triangle in the region nothing is deleted: the
    ///            vertices stay where they are, and only a change is announced, as Topology when the mesh grew, else as
    ///            Geometry
    /// refuses    before extract(), when it was called before, and when the mesh's counts have changed since extract():
    ///            nothing happens
    /// message    those of MeshDeleteSelected, "MeshModifyRep::merge(): %f s\n"
    /// cost       linear in the mesh
    /// errors     std::bad_alloc, also when ints cannot count the vertices or triangles
    void merge();
    /// The same, and tells where everything went. The tables are left alone when the merge is refused.
    ///
    /// vertexMap  out: by number before the merge (old vertices, then those appended), the final number, -1 for what was
    ///            deleted. The old number of an owned vertex leads to its new one, of a removed vertex to -1. All -1 when the
    ///            whole mesh went, the identity when nothing had to go
    /// topoMap    out, may be null: by vertex of the half-edge mesh, its final number
    void merge(Array<int>& vertexMap, ArrayMap<TopoMeshVertex, int>* topoMap);

    ModifyImpl* getModify() { return impl_; }

private:
    explicit MeshModifyRep(ModifyImpl* impl);

    ModifyImpl* impl_;  // owned by the base
};

}  // namespace koGeom
