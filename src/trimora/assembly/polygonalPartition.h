#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshTriAdjTris;
class Remap;

/// Repairs a partition of a mesh whose triangles come from polygons, so that no polygon lies across two subsets.
///
/// The triangles of such a polygon all go to the first of its subsets. If there was one, all subsets are made anew, one for each part
/// that hangs together through edges.
///
/// mesh               with its polygons, which are getNumPolys()
/// trianglePolygons   the polygon of each triangle, as meshTriangulate() tells it
/// adjacent           of the mesh's triangles
/// subsets            their triangles are read; of a triangle in several the last counts, one in none is passed over. Indices are
///                    not checked
/// returns            the same objects in the same order when no polygon was across; else new subsets, by the old ones and then by
///                    their first triangle: vertices ascending, triangles in the order of a breadth-first walk
/// order              a triangle that leaves is replaced by the last one of its list, and comes last where it goes; polygons in order,
///                    and of each its triangles by subset and number
/// cost               O(vertices + triangles + polygons), but for sorting the vertices of each part; 20 bytes a triangle and 4 a
///                    vertex of scratch beside the lists
TRIMORA_API ko::list<ko::Reference<MeshSubset>>
polygonalPartition(CompactMesh const& mesh, Remap const& trianglePolygons,
                   MeshTriAdjTris const& adjacent,
                   ko::list<ko::Reference<MeshSubset>> const& subsets);

}  // namespace koGeom
