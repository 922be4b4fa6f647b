#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/export.h"

#include <deque>

namespace koGeom {

class MeshAdjTris;
class MeshCurveTopology;

/// What a cut of a `TopoMesh` came to: a status, and where the problem lies.
class TRIMORA_API TopoMeshCutResult {
public:
    enum Status : int {
        CutSuccess = 0,    ///< the cut was made
        CutEndInFace = 1,  ///< a curve ends inside a face; the problem point is that end
        CutNoCurves = 2,   ///< there are no curves, or a curve with fewer than 2 points
        CutInsideFace =
            3,  ///< a piece of curve stays inside one face; the problem point is the face's centre
        CutNothingLeft = 4,  ///< preparation left nothing to cut along (`CompactMesh` form only)
    };

    explicit operator bool() const { return status_ == CutSuccess; }
    Status getStatus() const { return status_; }
    TopoMeshCoord const& getProblemPoint() const { return problemPoint_; }

    void setError(Status status) { status_ = status; }
    void setError(Status status, TopoMeshCoord const& place);
    /// The problem point becomes the centre of the face.
    void setError(Status status, TopoMeshFace face);

private:
    Status status_ = CutSuccess;
    TopoMeshCoord problemPoint_;
};

/// What a cut of a `CompactMesh` came to. The problem point is a position, the origin where there is none.
class TRIMORA_API CompactMeshCutResult {
public:
    enum Status : int {
        CutSuccess = 0,
        CutEndInFace = 1,
        CutNoCurves = 2,
        CutInsideFace = 3,
        CutNothingLeft = 4,
    };

    explicit operator bool() const { return status_ == CutSuccess; }
    Status getStatus() const { return status_; }
    Point const& getProblemPoint() const { return problemPoint_; }

    void setError(Status status) { status_ = status; }
    void setError(Status status, Point const& place);

private:
    Status status_ = CutSuccess;
    Point problemPoint_;
};

/// Cuts the selected part of a mesh along polylines on its surface, so that a new boundary runs along each of them.
///
/// mesh        its selected triangles and vertices are the region: `MeshSelect::selectVerticesFromTriangles` gives the
///             vertices that belong to the triangles. The region is replaced and comes back at the end of the arrays, the
///             selection is consumed; all that lies outside stays. Vertices that come back carry positions only.
/// adj         the triangles of each vertex, out of date afterwards
/// curves      corners of each polyline in order; neighbours must share a triangle (a jump begins a new curve), a closed
///             one ends where it begins. Coordinates outside the region are the caller's to keep out.
/// tolerance   distance in mesh units, >= 0, below which points are one; also how far the outline may give when slivers
///             are taken away
/// returns     the status. Other than 0: the mesh is as it was, and no notice is sent.
/// ends        that stop inside a triangle are led on to its rim; what dangles inside the surface is trimmed
/// notices     one, Topology, from the merge
/// cost        the bridge's, O(n) for n selected triangles, and near linear in the length of the curves; on the calling
///             thread. Where a triangle is crossed many times: pairs of segments within it.
/// polygons    a face that the cut leaves with more than 1000 corners loses ears before the best triangulation is sought
/// limits      an outline that the region shares with the rest of the mesh is not cut on the other side: select a ring of
///             triangles more than the curves touch
TRIMORA_API CompactMeshCutResult meshCut(CompactMesh& mesh, MeshAdjTris const& adj,
                                         std::deque<std::deque<MeshCoord>> const& curves,
                                         double tolerance);

/// Cuts a half-edge mesh along a graph of curves.
///
/// Faces that are crossed are split and, with all other faces of more than 3 corners, made triangles; slivers beside the
/// new boundary are taken away where the outline allows, in at most 5 rounds, and edges there are swapped for better
/// angles.
///
/// mesh            edited in place; new vertices and faces at the end of its lists
/// curves          of this mesh; its points follow the edit, each ends on a vertex of one side of the cut. Of no use for a
///                 second cut.
/// vertexRemoved   raised with each vertex that goes, just before it does; may be null
/// returns         the status. Other than 0: nothing has changed.
/// notices         one of Type 1 at the end, and one for each round of swaps that swapped
/// cost            O(n log n) for n points and faces touched; the rest of the mesh is read once, and only if it has faces
///                 of more than 3 corners
/// order           new elements go by the order of the curves, never by address
TRIMORA_API TopoMeshCutResult meshCut(TopoMesh& mesh, MeshCurveTopology& curves,
                                      koRTB::SignalArg<TopoMeshVertex>* vertexRemoved);

}  // namespace koGeom
