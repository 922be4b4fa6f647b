#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshBoundaries;
class MeshOffsetImpl;
class Octree;

/// Builds a shell at a fixed distance from a surface: a wall with the surface as its outside.
///
///     a --- b --- c      the surface, seen from the side, its normals upwards
///     |  \  |  \  |      a band joins each border to that of its copy
///     a'--- b'--- c'     each vertex's copy, `distance` against the normal; the triangles turned round
///
/// normal      of a vertex: the sum of the triangle normals on both sides of its edges, each times the angle between the two,
///             so that creases alone count, and count by how sharp they are; where that is 0, as on flat ground, the normal
///             of the first triangle, and (0, 0, 1) without triangles. Worked out in doubles
/// distance    in mesh units; against the normals when positive, along them when negative
/// clean-up    a copy goes when a vertex of the surface is nearer to it than `distance` (by more than epsilonTol in the
///             squares, whatever the size of the mesh: a diagonal of about 1 suits it). Only when any such copy went are
///             the others looked at: one goes when a triangle on it, none of whose corners is a border vertex of the
///             surface, looks along the vertex's normal. Vertices that go leave no gap; edges are swapped down to three of
///             them, and those that were are then swapped so that the sum of the angles opposite to them falls
/// limits      copies that cannot be freed of all edges but three stay, and with them the fold; so does one on the border
///             of the shell. Triangles may come nearer to the surface than `distance`, and may cross each other: only
///             vertices are measured. The shell of a solid thinner than the offset is not empty but tangled
/// lifetime    mesh, tree and tables outlive the object and do not change; a copy of the object shares what its source owns
///             and must not outlive it
/// threads     the calling thread; one call at a time
/// cost        a walk through the octree for each vertex, a second half-edge mesh, linear else
class TRIMORA_API MeshOffset {
public:
    /// All of the mesh, up to date: the octree of its vertices, its boundaries and its triangles by vertex.
    MeshOffset(CompactMesh const& mesh, Octree const& octree, MeshBoundaries const& boundaries,
               MeshAdjTris const& adjTris, double distance);
    MeshOffset(MeshOffset const& other);
    MeshOffset& operator=(MeshOffset const&) = delete;
    ~MeshOffset();

    /// A new mesh with computed normals, which the caller owns: surface and shell, or the shell alone.
    ///
    /// order     the surface's vertices first, by their number, then the copies that are left; the surface's triangles, those
    ///           of the shell in the same order, the bands. Triangles that were swapped stay in their place, one that closed
    ///           a gap stands where the first of those round the vertex stood
    /// carried   positions and triangles; UVs, where the mesh has them, are zero. A mesh without triangles keeps its sets
    /// alone     the triangles with a corner on the surface go, and the vertices that no other triangle uses; vertices of the
    ///           surface that are in no triangle stay
    /// returns   an empty mesh for a mesh without vertices
    /// messages  "   meshClosestVertex: %f s\n" for each vertex, and those of the half-edge bridge
    CompactMesh* calculate(bool both);

    /// Surface and shell, and where the vertices are: for each vertex of the mesh the number in the result, and that of its
    /// copy, -1 when the copy went.
    CompactMesh* calculate(Array<int>& sourceMap, Array<int>& offsetMap);

private:
    MeshOffsetImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
