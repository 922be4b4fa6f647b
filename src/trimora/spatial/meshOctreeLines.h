#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Octree;
class OctreeLines;

/// Finds for each voxel of an octree the lines of a mesh that touch it.
///
/// mesh        lines with indices in range
/// octree      the tree that `result` will be used with; without voxels it leaves `result` as it was
/// result      replaced: one set of line numbers a voxel, ascending. Touching counts: a line in a
///             face between voxels is in the sets of both. A line outside the root's box is in none
/// cost        as computeOctreeTris; runs on the shared pool, the result is the same for any number
///             of threads
/// message     one on the debug channel, but none without voxels
TRIMORA_API void meshOctreeLines(CompactMesh const& mesh, Octree const& octree,
                                 OctreeLines& result);

}  // namespace koGeom
