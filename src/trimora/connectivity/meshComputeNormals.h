#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Computes vertex normals as the unit sum of the unit normals of the triangles around each
/// vertex.
///
/// mesh    its normal array is made or overwritten and marked as computed; sends one Attributes
///         modification. A mesh without vertices is left alone
/// cost    O(vertices + triangles) on each thread of the shared pool, most of it shared out
/// order   triangles count alike, without area or angle weights, and are added in ascending order
///         in 32-bit floats, so that the outcome is the same for any thread count. A vertex
///         without triangles gets (0, 0, 1), and a triangle without a direction counts as (0, 0,
///         1)
TRIMORA_API void meshComputeNormals(CompactMesh& mesh);

/// Computes one unit normal a triangle, (0, 0, 1) for a triangle without a direction.
///
/// mesh   its triangle normals are made or overwritten; sends one Attributes modification. A mesh
///        without triangles is left alone
/// cost   O(triangles); runs on the shared pool
TRIMORA_API void meshComputeTriangleNormals(CompactMesh& mesh);

/// Gives every vertex the same normal: the given vector at unit length. Sends no modification.
TRIMORA_API void addUniformNormals(CompactMesh& mesh, Vector const& vector);

}  // namespace koGeom
