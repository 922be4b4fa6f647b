#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/export.h"

namespace koGeom {

class TopoMesh;

/// A sphere of quads: an octahedron, refined `levels` times, each new vertex moved out to the sphere.
///
/// frame     its origin is the centre; the vertices of the octahedron lie along its normal and its two axes
/// levels    below 1: the octahedron, 8 triangles; else 24 x 4^(levels - 1) quads
/// radius    distance of all vertices from the centre
/// returns   a new closed mesh, owned by the caller; faces run counterclockwise seen from outside for a right-handed frame
/// cost      O(size of the result); on the calling thread
TRIMORA_API TopoMesh* constructSubdividedOctahedron(ParamPlane const& frame, int levels,
                                                    double radius);

}  // namespace koGeom
