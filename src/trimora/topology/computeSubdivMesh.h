#pragma once

#include "trimora/export.h"

namespace koGeom {

class TopoMesh;

/// One step of Catmull-Clark subdivision: every face of k sides becomes k quads, and the surface is smoothed.
///
/// mesh      not changed
/// returns   a new mesh, owned by the caller. Its vertices are the face points, the edge points and the vertex points, in
///           the order of the source's lists; its quads follow the faces and their rings, each as (face point, edge
///           point, vertex point of the edge's end, edge point of the next edge).
/// points    face: the centroid. Edge: the mean of the two ends and the two face points, on the boundary the midpoint.
///           Vertex with n faces: (mean of the face points + 2 mean of the midpoints round it + (n - 3) P) / n; on the
///           boundary 3/4 P + 1/8 of each boundary neighbour; a corner of a single face and an isolated vertex stay.
/// cost      O(n) time; 232 bytes a vertex, edge and face of the result together, and a tenth on the way
/// threads   writes the result on the shared pool when it is large; the outcome does not depend on it
/// message   that of meshTwin, which ends the work
/// source    Catmull and Clark 1978 [catmull1978]; the boundary rule is that of cubic B-spline curves
TRIMORA_API TopoMesh* computeSubdivMesh(TopoMesh& mesh);

}  // namespace koGeom
