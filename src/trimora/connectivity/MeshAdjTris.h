#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Vertex to triangles: for each vertex of a mesh the triangles that use it.
///
/// A snapshot: the table does not follow its mesh. A set lists triangles in ascending order; a
/// triangle that names a vertex twice stands twice in that vertex's set, so the table has 3 items a
/// triangle.
class TRIMORA_API MeshAdjTris : public ko::ReferenceCount {
public:
    /// An empty table: no vertices.
    MeshAdjTris();
    /// Takes over the given sets, one a vertex, and leaves `sets` empty.
    explicit MeshAdjTris(ArrayOfSets& sets);
    MeshAdjTris(MeshAdjTris const&);
    MeshAdjTris& operator=(MeshAdjTris const&);
    ~MeshAdjTris() override;

    void swap(MeshAdjTris& other);

    /// Number of entries of the vertex's set; the vertex must be one of the mesh's.
    int numTris(int vertex) const { return sets_.getSetSize(vertex); }
    /// The vertex's triangles, ascending; `numTris(vertex)` ints.
    int const* triIndices(int vertex) const { return sets_.getSet(vertex); }
    /// Corners of the vertex's triangles in set order.
    ///
    /// out        out: 3 x numTris(vertex) vertex numbers
    /// triangles  the mesh's triangle array, 3 ints each
    void copyTriangles(int vertex, int* out, int const* triangles) const;

    /// The underlying table, one set a vertex.
    ArrayOfSets const& getData() const { return sets_; }

private:
    ArrayOfSets sets_;
};

/// Computes the triangles around each vertex.
///
/// mesh      every triangle index in 0 to getNumVertices() - 1, not checked
/// adjTris   out: replaced, whatever it held
/// cost      O(vertices + triangles): a counting sort in two passes on the shared pool; one int a
///           vertex of scratch a thread
/// order     ascending within a set, for any number of threads
/// errors    std::bad_alloc, the table unchanged, when ints cannot count its entries
TRIMORA_API void meshAdjTris(CompactMesh const& mesh, MeshAdjTris& adjTris);

}  // namespace koGeom
