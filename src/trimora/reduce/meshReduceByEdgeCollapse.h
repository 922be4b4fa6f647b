#pragma once

#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class TopoMesh;

/// Reduces a half-edge mesh of triangles by collapsing its edges, the one that costs the least first.
///
/// mesh        edited in place. A face with more than three corners anywhere: nothing happens at all
/// fraction    of the faces to keep. The target is their number times this, truncated, and 1 at least; a number that is
///             not below the count of faces leaves the surface as it is, and so does NaN. The target can be missed upwards,
///             where all edges left are refused, and downwards by one face, as most collapses take two
/// progress    not used: the call neither reports nor can be cancelled
/// cost        of an edge: the sum of squared distances from the place of the new vertex to the planes of the faces that
///             went into the two vertices, each face counted once a corner, and to walls that stand on the boundary's
///             edges, weighted by the squared length of the edge. The new vertex goes where that sum is least; where no
///             such place is unique, to the midpoint, the edge's start or its end. NaN counts as the largest double
/// order       ascending cost; equal costs in the order in which they were found: first over the list of edges, then
///             round the start and the end of each collapsed edge
/// refused     what would change the kind of surface or leave something broken: ends with a common neighbour beside the
///             tips of the faces on the edge, two parts of a boundary that would meet in a point, two faces that would
///             come to lie on the same three vertices, the last faces of a piece. A refused edge costs the largest
///             double until a collapse beside it changes that; the call ends early when nothing else is left.
///             So a closed surface of any genus keeps it, down to a tetrahedron for a sphere, and every border stays
/// blind data  of every vertex, slots 0 to 15: the sum of its squared distances as a 4 by 4 matrix, row by row; of every
///             half-edge, slot 0: the cost of the edge, slot 1: true. They are overwritten, reduced or not
/// notice      one of type Topology, if anything was collapsed
/// message     one on the debug channel
/// memory      some 500 bytes a vertex during the call, of which 4 for each thread of the pool, and the blind data: 136 a
///             vertex, 16 a half-edge. When an allocation fails, std::bad_alloc passes through and the mesh is as it was
/// time        a few microseconds a collapse while the valences are bounded; a collapse costs the valence of the new vertex.
///             First costs are found on the shared pool, all else on the calling thread; no outcome depends on threads
/// source      Garland and Heckbert 1997 [garland1997]
TRIMORA_API void meshReduceByEdgeCollapse(TopoMesh& mesh, double fraction,
                                          koUtil::Progress& progress);

}  // namespace koGeom
