#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

namespace koGeom {

class TopoMesh;
class ExtrudeTopoFaceImpl;

/// Lifts a face by a matrix and joins it to where it was with walls, one quad a side.
///
/// face      of any number of sides. Within a surface it is replaced: its walls stand on the rim that it leaves. A face
///           none of whose edges has a twin stays as the floor, and the walls and the top close it to a prism; the floor
///           keeps its winding and the others follow from it.
/// matrix    applied to each corner; it may be any
/// returns   the new top face; null, and nothing is changed, for a face that is not a living one of this mesh
/// sends     one modification of type Topology
TRIMORA_API TopoMeshFace extrudeFace(TopoMesh& mesh, TopoMeshFace face, AffineMatrix const& matrix);

/// The part of a set of faces that hangs together with its first one, by twins, and one border of it.
///
/// faces     whose first element, in its own order, is the start
/// region    out: the faces reached
/// border    out: appended to. The half-edges without a twin in `faces`, along one border loop in the direction of the
///           faces: the loop of the first such edge that the flood meets. Nothing for a closed surface. Where twins run
///           the same way consecutive edges need not meet.
/// returns   true when all of `faces` were reached; also without faces. False, with an empty region and nothing
///           appended, when one is not a living face of this mesh.
/// cost      linear in the half-edges of `faces`
TRIMORA_API bool expandRegion(TopoMesh& mesh, ko::unordered_set<TopoMeshFace> const& faces,
                              ko::unordered_set<TopoMeshFace>& region,
                              ko::vector<TopoMeshEdge>& border);

/// Lifts a set of faces by a matrix and joins it to where it was with walls along its border.
///
///        copy i ---- copy j          vertices i and j follow each other on the border
///          |  wall i   |
///       vertex i --- vertex j
///
/// A region within a larger surface, one whose border has a twin anywhere, is replaced; its inner vertices stay, without
/// edges. A free one stays as the floor and keeps its winding: its walls then run along the rim the same way as the floor
/// does, and are joined to it by `meshTwin` with twins that run alike. So the result is closed but not consistently
/// wound, and fails the check of directed edges of `MeshVerify`, by design.
///
/// Only the border that `expandRegion` finds gets walls: further border loops, and those of faces that do not hang
/// together with the rest, stay open.
class TRIMORA_API ExtrudeTopoFace {
public:
    /// The mesh must outlive this object.
    explicit ExtrudeTopoFace(TopoMesh& mesh);
    /// Shares the implementation with the other one, which must outlive the copy.
    ExtrudeTopoFace(ExtrudeTopoFace const& other);
    ExtrudeTopoFace& operator=(ExtrudeTopoFace const&) = delete;
    ~ExtrudeTopoFace();

    /// faces     the faces to lift; cleared when they were deleted, as it was when they stay as a floor. Empty, or with
    ///           one that is not a living face of this mesh: nothing happens.
    /// result    out: the lifted faces. Vertices and faces are made in the order in which the old ones were.
    /// matrix    applied to each vertex of the region once
    /// message   that of meshTwin, which ends the work
    /// sends     one modification of type Topology
    /// cost      O(n log n) for the n half-edges of the faces, O(m) for the m of the mesh
    void operator()(ko::unordered_set<TopoMeshFace>& faces, ko::unordered_set<TopoMeshFace>& result,
                    AffineMatrix const& matrix);

private:
    ExtrudeTopoFaceImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
