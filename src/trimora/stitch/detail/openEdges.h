#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshIterators.h"

#include <vector>

/// Boundaries of a half-edge mesh, edge by edge: unlike walks by vertices these stay with their loop where several pass
/// through one vertex.
namespace koGeom::detail {

inline TopoMeshVertex endOf(TopoMeshEdge e) {
    return e.next().origin();
}

/// The boundary edge that leaves the end of a boundary edge.
inline TopoMeshEdge openEdgeAfter(TopoMeshEdge e) {
    TopoMeshBoundaryIterator walk = {e, 0};
    return walk.nextEdge();
}

/// The boundary edge that arrives at the origin of a boundary edge.
inline TopoMeshEdge openEdgeBefore(TopoMeshEdge e) {
    TopoMeshBoundaryIterator walk = {e, 1};
    return walk.prevEdge();
}

/// The whole boundary loop through a vertex, in its own fan first, from the edge that leaves it; empty inside the surface.
std::vector<TopoMeshEdge> openLoop(TopoMeshVertex vertex);

/// The boundary edges from one vertex forward to another; empty when no walk arrives, and from a vertex to itself. Where
/// loops pass through `from` the first that arrives counts, its own fan's before others.
std::vector<TopoMeshEdge> openChain(TopoMeshVertex from, TopoMeshVertex to);

/// Whether splitOpenEdge will do: no twin, and three different corners at the edge.
bool canSplitOpenEdge(TopoMesh const& mesh, TopoMeshEdge e);

/// A new vertex on an edge without twin, joined to the corner before the edge, so that a triangle becomes two.
///
///        c                  c
///       / \               / | \          e keeps its origin and ends at the new vertex; the second half is what
///      / f \      ->     /  |  \         canSplitOpenEdge allows as well, and the edge that leaves the new vertex
///     --e-->            -e-> m -->
///
/// Only where canSplitOpenEdge allows it.
TopoMeshVertex splitOpenEdge(TopoMesh& mesh, TopoMeshEdge e, Point const& point);

}  // namespace koGeom::detail
