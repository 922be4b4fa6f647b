#pragma once

#include "trimora/contract/koGeom/TopoMeshHandles.h"

#include <vector>

namespace koOS {
class StopWatch;
}

namespace koGeom {

class TopoMesh;

namespace detail {

/// `meshTwin` as the end of a larger edit: one notice for both.
///
/// hasChanged   the caller has changed connectivity, so that the notice is due even when no pair is linked
void completeTwins(TopoMesh& mesh, bool hasChanged);

/// The same for a caller who knows the half-edges without a twin, in the order of the faces and round each of them.
///
/// watch   runs since the work began that the message is about
void twinOpenEdges(TopoMesh& mesh, std::vector<TopoMeshEdge> const& edges, bool hasChanged,
                   koOS::StopWatch& watch);

}  // namespace detail

}  // namespace koGeom
