#pragma once

#include "trimora/contract/koGeom/TopoMeshHandles.h"

namespace koGeom {

/// Walks the edges that leave a vertex.
///
///     for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; i.edge; i.next())
///
/// Starts on the vertex's own edge and goes counterclockwise (the twin of the previous edge); at the boundary it returns
/// to the own edge and goes clockwise from there. Every edge of the vertex's own fan comes exactly once. Fans that only
/// touch at the vertex are separate: the walk stays in one. A twin that runs the same way counts as none.
/// An edge that has been passed may be swapped or deleted during the walk; the current one may not.
struct TRIMORA_API TopoMeshEdgeVertexIterator {
    TopoMeshVertex vertex;
    TopoMeshEdge edge;  ///< the current one, null when all are done
    int first = 1;      ///< 1 before the first step; later the walk's own count

    void reset(TopoMeshVertex start);
    void next();
};

/// Walks the boundary loop through a vertex, by the edges without a twin.
///
/// The iterator stands before an edge, which the field names. `nextEdge` returns the edge ahead and passes it,
/// `prevEdge` the one behind. Thus after `reset` the first `nextEdge` returns the edge that leaves the vertex, the first
/// `prevEdge` the one that arrives, both with the field unchanged, and later calls step. At a vertex where fans touch the
/// loop stays with its fan. The loops have no end: the caller compares with the edge it began with.
struct TRIMORA_API TopoMeshBoundaryIterator {
    TopoMeshEdge edge;  ///< null when the vertex is not on the boundary
    int first = 1;      ///< 1 before the first step, 0 after `nextEdge`, 2 after `prevEdge`

    /// Starts on the boundary edge that leaves the vertex.
    /// forward   the way the caller is about to walk; both walks start from the same edge, so it changes nothing
    void reset(TopoMeshVertex vertex, bool forward);
    TopoMeshEdge nextEdge();
    TopoMeshEdge prevEdge();

    /// The boundary edges that arrive at and leave the vertex, of one fan: the vertex's own one if that is open. Both null
    /// for a vertex that is not on the boundary.
    static void getPrevNextEdges(TopoMeshVertex vertex, TopoMeshEdge& previous, TopoMeshEdge& next);
};

}  // namespace koGeom
