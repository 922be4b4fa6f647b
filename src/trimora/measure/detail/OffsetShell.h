#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/export.h"

#include <cstddef>
#include <vector>

namespace koGeom {

class CompactMesh;
class MeshBoundaries;
class MeshModifyRep;
class Octree;

namespace detail {

/// That of a triangle, its corners counted from the origin of its first edge.
Normal faceNormal(TopoMeshFace face);

/// The shell of one calculation, in the half-edge mesh of the surface: built by MeshOffset_build.cpp, cleaned up by
/// MeshOffset_cleanUp.cpp.
class TRIMORA_API OffsetShell {
public:
    /// topo    what `rep` extracted: the whole of the mesh, its vertices in order
    OffsetShell(CompactMesh const& mesh, MeshModifyRep& rep, TopoMesh& topo, double distance);

    void build(MeshBoundaries const& boundaries);
    void cleanUp(Octree const& octree);
    /// Removes the copy of a vertex, which must be there, if swaps can bring it down to three edges.
    bool remove(std::size_t vertex);

    /// Null when the copy was removed.
    TopoMeshVertex copyOf(std::size_t vertex) const { return copies_[vertex]; }

private:
    std::size_t numVertices() const { return sources_.size(); }

    void allocate(std::vector<Point> const& points, std::vector<int> const& corners);
    std::vector<int> reversedTriangles() const;
    void joinBorder(int const* begin, int const* end);

    int removeTooNear(Octree const& octree);
    void removeFolded();
    bool isFolded(std::size_t vertex) const;
    bool touchesBorder(TopoMeshFace face) const;
    bool swap(TopoMeshEdge edge);
    void markCorners(TopoMeshFace face);
    bool collectSpokes(TopoMeshVertex v);
    void improve();

    CompactMesh const& mesh_;
    MeshModifyRep& rep_;
    TopoMesh& topo_;
    double const distance_;

    std::vector<VectorFlt> normals_;
    std::vector<TopoMeshVertex> sources_;
    std::vector<TopoMeshVertex> copies_;
    std::vector<char> isOnBorder_;  // by vertex of the mesh
    std::vector<char> isPending_;   // by vertex: its copy may still be looked at
    std::vector<char> hasChanged_;  // by vertex: triangles on its copy have, since it was looked at

    // Kept between removals for their memory.
    std::vector<TopoMeshEdge> spokes_;   // of the vertex at hand, in walking order
    std::vector<TopoMeshEdge> swapped_;  // those that were turned away from it, in the same order
};

}  // namespace detail

}  // namespace koGeom
