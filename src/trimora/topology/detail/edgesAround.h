#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"

namespace koGeom::detail {

/// Visits the half-edges that leave the origin of `start`, in the fan that it belongs to: counterclockwise from it, then,
/// unless that came full circle, clockwise. A vertex where several fans touch is more than its fan.
/// returns   true when the fan ends at the boundary
template <typename Visit>
bool forEachEdgeAround(TopoMeshEdge start, Visit const& visit) {
    auto const follows = [start](TopoMeshEdge e) { return e && e.origin() == start.origin(); };
    TopoMeshEdge e = start;
    do {
        visit(e);
        e = e.prev().twin();
    } while (follows(e) && e != start);
    if (e == start)
        return false;
    for (e = start.twin().next(); follows(e); e = e.twin().next())
        visit(e);
    return true;
}

/// True when the fan of the edge, at its origin, ends at the boundary.
inline bool isFanOpen(TopoMeshEdge start) {
    return forEachEdgeAround(start, [](TopoMeshEdge) {});
}

/// The half of an edge that was created first.
inline TopoMeshEdge olderHalf(TopoMeshEdge edge) {
    TopoMeshEdge const twin = edge.twin();
    return twin && ko::less<TopoMeshEdge>()(twin, edge) ? twin : edge;
}

}  // namespace koGeom::detail
