#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/export.h"

namespace koGeom {

class TopoMesh;

/// Walks the edge loop through an edge, both ways, straight on through vertices of valence 4.
///
///        |    |    |
///     ---+----+----+---        at each vertex the next edge shares no face with the one before
///        | e->| -> | ->
///     ---+----+----+---
///
/// edge   where to start; a null edge gives nothing
/// out    the loop's edges are added in walking order, those found backward in front of all; at
///        most 200 in all
/// open   out: false when the walk came back to its start
TRIMORA_API void meshSubsetFromEdge(TopoMesh const& mesh, TopoMeshEdge edge,
                                    ko::vector<TopoMeshEdge>& out, bool& open);

}  // namespace koGeom
