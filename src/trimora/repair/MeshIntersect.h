#pragma once

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"
#include "trimora/repair/triIntersect.h"

#include <deque>

namespace koGeom {

class CompactMesh;
class MeshIntersectImpl;
class Octree;
class OctreeTris;

/// The two ends of one segment of intersection, both on the same triangle.
struct MeshIntersectPair {
    MeshCoord start;
    MeshCoord end;
};

/// Finds where the triangles of a mesh cut each other, or those of a second mesh.
///
/// A handle: a copy shares the tables of the original and must not outlive it. Mesh, octree and
/// table must outlive it too, unchanged. The runs are on the shared pool; one object serves one
/// thread at a time.
///
/// which      as the triangle with triangle test decides: no touching in a point, no coplanar
///            overlap
/// order      ascending, whatever the number of threads
/// progress   polled once a chunk of work; a cancelled run delivers what it has
class TRIMORA_API MeshIntersect {
public:
    /// Computes the box of each triangle.
    ///
    /// octree   over the mesh's vertices
    /// tris     of that octree and this mesh
    MeshIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& tris);
    MeshIntersect(MeshIntersect const& other);
    MeshIntersect& operator=(MeshIntersect const&) = delete;
    ~MeshIntersect();

    /// The cuts of the mesh with itself. Triangles with a vertex in common are never tested,
    /// whatever their geometry.
    ///
    /// result   out: replaced. For each cutting pair two records, the segment on the triangle with
    ///          the greater number, then on the other one; pairs ascend by the greater number, then
    ///          by the lesser one
    /// cost     about linear for a surface that seldom comes near to itself; 4 bytes a triangle and
    ///          thread of scratch. The first query also inverts the octree's table, which later
    ///          ones find ready
    void selfIntersect(koUtil::Progress& progress, std::deque<MeshIntersectPair>& result);

    /// The cuts of the mesh with another one. Here triangles with common vertex numbers are tested
    /// as well.
    ///
    /// matrix        takes this mesh's coordinates into those of `other`; must have an inverse
    /// result        out: the segments on this mesh's triangles
    /// otherResult   out: the same segments on the other's, record for record. Both ascend by this
    ///               mesh's triangle, then by the other's. When the root boxes do not meet both
    ///               stay as they were
    void intersect(CompactMesh const& other, Octree const& otherOctree, OctreeTris const& otherTris,
                   AffineMatrix const& matrix, koUtil::Progress& progress,
                   std::deque<MeshIntersectPair>& result,
                   std::deque<MeshIntersectPair>& otherResult);

private:
    MeshIntersectImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
