#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshBoundaries;

/// Sews slits shut, from where they begin: where a seam of meshStitch ended before its two sides part.
///
///      o---o---o---o---o          o---o---o---o---o       From the start both sides are walked along together, as long
///     /                           |               |       as each stays within the distance of the other. The seam ends at
///    s  -  -  -  -  -  +    ->    s---+---o--+--+-+       the last pair of places that are each other's nearest, so
///     \                           |  |    |   \ | |       not beyond a corner; a place within an edge becomes a vertex.
///      o--o----o-----o            o--+----o-----o-o       Where the sides come together again the slit is closed.
///
/// mesh        edited in place
/// adjTris, boundaries   the mesh's own tables, up to date
/// starts      places of vertices on the boundary, to the float; others are passed over
/// distance    above 0, in mesh units
/// tolerance   of MeshStitchSeam
/// lengths     out: for each start the length of the pairs of edges that were joined; 0 where nothing is near
/// limit       a band of surface is no slit: the seam ends where the way across leads through more than half of the height of
///             the triangles on both sides, or both edges are those of one triangle. Sides that overlap by less are sewn
/// returns     whether anything was sewn; the mesh is as it was, and nothing is sent, where not
/// order       starts one after the other; the mesh as meshStitch leaves it
/// sends       one Topology modification
/// cost        linear in the mesh and in the edges that are sewn
/// threads     runs on the calling thread
TRIMORA_API bool meshCloseSlits(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                                ko::Reference<MeshBoundaries> boundaries,
                                ko::vector<Point> const& starts, double distance, double tolerance,
                                ko::vector<double>& lengths);

}  // namespace koGeom
