#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Octree;
class OctreeTris;

/// Finds for each voxel of an octree the triangles of a mesh that touch it.
///
/// mesh        triangles with indices in range
/// octree      the tree that `result` will be used with, usually over the mesh's vertices; without
///             voxels it leaves `result` as it was
/// result      replaced: one set of triangle numbers a voxel, ascending. Touching counts: a triangle
///             in a face between voxels is in the sets of both. A triangle outside the root's box
///             is in no set
/// cost        O(t) where consecutive triangles lie close together, O(t log v) at most; runs on the
///             shared pool, the result is the same for any number of threads
/// message     one on the debug channel, but none without voxels
/// source      separating axes [akenine2001]
TRIMORA_API void computeOctreeTris(CompactMesh const& mesh, Octree const& octree,
                                   OctreeTris& result);

}  // namespace koGeom
