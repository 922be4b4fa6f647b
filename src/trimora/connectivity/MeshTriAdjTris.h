#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Triangle to triangles: for each triangle of a mesh the others that hold one of its edges.
///
/// A snapshot: the table does not follow its mesh. A set lists the triangles across the edge from
/// corner 0 to corner 1, then across 1 to 2, then across 2 to 0. An open edge contributes nothing
/// and an edge of more than two triangles all the others, so the position in a set does not tell
/// the edge; a triangle that shares two edges stands twice.
class TRIMORA_API MeshTriAdjTris : public ko::ReferenceCount {
public:
    /// An empty table: no triangles.
    MeshTriAdjTris();
    /// Takes over the given sets, one a triangle, and leaves `sets` empty.
    explicit MeshTriAdjTris(ArrayOfSets& sets);
    MeshTriAdjTris(MeshTriAdjTris const&);
    MeshTriAdjTris& operator=(MeshTriAdjTris const&);
    ~MeshTriAdjTris() override;

    void swap(MeshTriAdjTris& other);

    /// Number of entries of the triangle's set; the triangle must be one of the mesh's.
    int numTris(int triangle) const { return sets_.getSetSize(triangle); }
    /// The triangle's neighbours; `numTris(triangle)` ints.
    int const* triIndices(int triangle) const { return sets_.getSet(triangle); }

    /// The underlying table, one set a triangle.
    ArrayOfSets const& getData() const { return sets_; }

private:
    ArrayOfSets sets_;
};

/// Computes the triangles across the edges of each triangle.
///
/// mesh         every triangle index in 0 to getNumVertices() - 1, not checked
/// triAdjTris   out: replaced, whatever it held
/// cost         O(vertices + triangles + the table's size), which is quadratic in the triangles
///              on one edge; 9 ints a triangle of scratch at most; runs on the shared pool
/// order        by edge, ascending across one edge, for any number of threads
/// errors       std::bad_alloc, the table unchanged, when ints cannot count its entries
TRIMORA_API void meshTriAdjTris(CompactMesh const& mesh, MeshTriAdjTris& triAdjTris);

}  // namespace koGeom
