#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Vertex to vertices: for each vertex of a mesh the vertices that share a triangle with it.
///
/// A snapshot: the table does not follow its mesh. The record of vertex v starts at
/// `data[offsets[v]]`: first the count c of neighbours, then c neighbours, each once, v itself
/// never among them. Fields are read directly, changed by `swap` only.
class TRIMORA_API MeshAdjVertices : public ko::ReferenceCount {
public:
    /// An empty table: no vertices, null arrays.
    MeshAdjVertices();
    /// Takes over both arrays, which must come from `new[]`.
    ///
    /// maxValence   the largest count of neighbours, 0 without vertices
    /// newOffsets   numVertices ints
    /// newData      (sum of all counts) + numVertices ints
    MeshAdjVertices(int numVertices, int maxValence, int* newOffsets, int* newData);
    MeshAdjVertices(MeshAdjVertices const&) = delete;
    MeshAdjVertices& operator=(MeshAdjVertices const&) = delete;
    ~MeshAdjVertices() override;

    void swap(MeshAdjVertices& other);

    int numNeighbours(int vertex) const { return data[offsets[vertex]]; }
    /// The vertex's neighbours; `numNeighbours(vertex)` ints.
    int const* neighbours(int vertex) const { return data + offsets[vertex] + 1; }

    int const* offsets = nullptr;
    int const* data = nullptr;
    int numVertices = 0;
    int maxValence = 0;
};

/// Computes the neighbours of each vertex.
///
/// adjTris       the mesh's own table, up to date
/// adjVertices   out: replaced, whatever it held
/// cost          O(vertices + triangles); one int a vertex of scratch a thread; runs on the
///               shared pool
/// order         neighbours in the order of first meeting: by ascending triangle, by corner
///               within a triangle
/// errors        std::bad_alloc, the table unchanged, when ints cannot count its entries
TRIMORA_API void meshAdjVertices(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                 MeshAdjVertices& adjVertices);

}  // namespace koGeom
