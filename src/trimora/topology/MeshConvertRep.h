#pragma once

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class BitVector;
class CompactMesh;
class MeshAdjTris;

/// Bridge from a region of an array mesh to a private half-edge mesh, for reading; see MeshModifyRep for the way back.
///
///     MeshConvertRep rep(mesh, triangles, vertices, adjTris);
///     TopoMesh& topo = rep.extract();
///
/// region    the triangles that are copied, and the vertices, which should be those of the triangles at least
///           (MeshSelect::selectVerticesFromTriangles): a triangle with a vertex outside the region is left out
/// carried   positions, widened to doubles, and connectivity; no normals, UVs or other sets
/// lifetime  the TopoMesh belongs to the bridge and dies with it, and its handles do. The mesh must live as long and must
///           not change; the bit vectors are copied; the table is read by extract() at the latest
/// threads   one bridge belongs to one thread
class TRIMORA_API MeshConvertRep {
public:
    class ConvertImpl;

    /// The region is the mesh's selection of triangles. Its bits are taken for the vertices as well, number for number,
    /// so that this form suits selections that hold all triangles and vertices up to some number, like the whole of a
    /// mesh with no more vertices than triangles; for others give both.
    MeshConvertRep(CompactMesh const& mesh, MeshAdjTris const& adj);
    MeshConvertRep(CompactMesh const& mesh, BitVector const& triangles, BitVector const& vertices,
                   MeshAdjTris const& adj);
    MeshConvertRep(MeshConvertRep const&) = delete;
    MeshConvertRep& operator=(MeshConvertRep const&) = delete;
    virtual ~MeshConvertRep();

    /// Builds the half-edge mesh of the region. To be called once; a further call gives the same mesh, as it is then.
    ///
    /// order     vertices and faces are created in ascending order of the mesh's, each face from the triangle's first corner
    /// twins     all edges of the region are linked by meshTwin, which also pairs edges of a badly wound mesh
    /// message   that of meshTwin, "MeshConvertRep::extract: %f s\n"
    /// cost      linear in the region; beside it, the words of the selections are read
    virtual TopoMesh& extract();

    /// The handle of a vertex of the mesh; null when it is not in the region, was removed or has been renumbered.
    TopoMeshVertex getTopoMeshVertex(int vertex);
    /// The same weights in the face of the triangle; all zero when the triangle is not in the region. The faces are those
    /// of extract(): a coordinate says nothing once its face has been edited.
    TopoMeshCoord copy(MeshCoord const& coord);
    void copy(TopoMeshCoord& out, MeshCoord const& coord) const;

    ConvertImpl* getConvert() { return impl_.get(); }

protected:
    /// Takes ownership.
    explicit MeshConvertRep(ConvertImpl* impl);

private:
    std::unique_ptr<ConvertImpl> impl_;
};

/// Turns a whole half-edge mesh into a new array mesh, which the caller owns.
///
/// mesh      read only
/// order     vertices and faces as in their lists. A face of n corners gives n - 2 triangles, a fan from the first one:
///           (v0, v1, v2), (v0, v2, v3), ...
/// carried   positions, narrowed to floats; no normals or other sets. No modification is sent.
/// cost      linear
TRIMORA_API CompactMesh* meshConvertRep(TopoMesh& mesh);

}  // namespace koGeom
