#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/export.h"

namespace koGeom {

class TopoMesh;

/// Completes the adjacency of a half-edge mesh: links the half-edges without a twin that lie on the same two vertices.
///
/// mesh      edited in place; edges that have twins stay as they are, so that the call can be made again after faces were
///           added. One modification of type Topology, if any pair was linked.
/// order     of the half-edges on two vertices, taken in the order of the walk over the faces, each takes the first later
///           one that runs against it; of those left over, which all run the same way, the first takes the second and so
///           on: on a badly wound mesh two half-edges that run alike become twins. An odd one stays without.
/// message   "meshTwin: %d vertices: %f s\n"
/// cost      O(e) for e half-edges, O(n log n) for the n of them without a twin; on the calling thread
TRIMORA_API void meshTwin(TopoMesh& mesh);

/// The same for a mesh that was linked before and has been edited: it does not look where nothing can have changed.
///
/// edges     the half-edges that have been added, or have lost their twin, since; those that have one are passed over
/// cost      O(valence) for each of them; as above when a pair is found
TRIMORA_API void meshTwin(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges);

}  // namespace koGeom
