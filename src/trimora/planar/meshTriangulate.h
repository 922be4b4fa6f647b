#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Remap;

/// Gives a mesh of polygons its triangles: a fan from the first point of each polygon, whatever its shape.
///
/// mesh      its polygons stay. Nothing happens when it has triangles already, or no polygons. Sends no modification:
///           what the mesh shows is the same. A polygon of fewer than three points gives no triangle. That the lengths
///           are not negative and add up to the number of points, and that the points are vertices, is for the caller to
///           see to: it is not checked
/// order     that of the polygons; q0 q1 q2, q0 q2 q3 and so on
/// cost      linear, on the calling thread
TRIMORA_API void meshTriangulate(CompactMesh& mesh);

/// remap     out: the polygon of each triangle; as it was when nothing happens
TRIMORA_API void meshTriangulate(CompactMesh& mesh, Remap& remap);

}  // namespace koGeom
