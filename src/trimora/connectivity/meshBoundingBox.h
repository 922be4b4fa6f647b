#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/export.h"

namespace koGeom {

class BitVector;
struct BoundingBox;
class PointMesh;

/// Axis-aligned box of a mesh's vertices.
///
/// box    out: the tightest box; the invalid box (minima the largest float, maxima its negative)
///        without vertices. A coordinate that is NaN is passed over
/// cost   O(vertices); runs on the shared pool
TRIMORA_API void meshBoundingBox(PointMesh const& mesh, BoundingBox& box);

/// The same for the vertices whose bit is set.
///
/// selection   null for all vertices; missing bits count as clear
TRIMORA_API void meshBoundingBox(PointMesh const& mesh, BitVector const* selection,
                                 BoundingBox& box);

/// The same, widened: `minimum` and `maximum` take 3 doubles each.
TRIMORA_API void meshBoundingBox(PointMesh const& mesh, double* minimum, double* maximum);

/// Box of placed meshes: it bounds the images of the meshes' boxes, so under a rotation it is
/// larger than the tightest.
///
/// placements   no mesh may be null
/// box          out: the invalid box for an empty list
TRIMORA_API void arrangementBoundingBox(ko::list<MeshPlacement> const& placements,
                                        BoundingBox& box);

}  // namespace koGeom
