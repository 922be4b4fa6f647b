#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class PointMesh;
class TopoMesh;

/// Moves points by a matrix, in 32-bit floats: (y m3 + x m0) + z m6 + m9 and so on.
///
/// vertices   edited in place; count x 3 floats; null or a count below 1: nothing happens
/// matrix     the identity within `epsilonTolFlt` changes nothing
/// cost       O(count); below 10000 points on the calling thread, else on the shared pool
TRIMORA_API void meshTransform(float* vertices, int count, AffineMatrixFlt const& matrix);

/// Moves a mesh: its vertices, and its normals if it has any. Sends one Geometry modification, none
/// for the identity.
TRIMORA_API void meshTransform(PointMesh& mesh, AffineMatrixFlt const& matrix);

/// The same, and the triangle normals if there are any.
TRIMORA_API void meshTransform(CompactMesh& mesh, AffineMatrixFlt const& matrix);

/// Moves every vertex of a half-edge mesh, in double. Sends one Geometry modification.
TRIMORA_API void meshTransform(TopoMesh& mesh, AffineMatrix const& matrix);

/// Moves the vertices that the given vertices, edges and faces reach, each exactly once. Sends one
/// Geometry modification.
TRIMORA_API void meshTransform(TopoMesh& mesh, ko::vector<TopoMeshEntity> const& entities,
                               AffineMatrix const& matrix);

/// Turns normals with a surface that moves by `matrix`: by its normal matrix, then to unit length.
///
/// normals   edited in place; count x 3 floats; null or a count below 1: nothing happens
TRIMORA_API void meshTransformNormals(float* normals, int count, AffineMatrixFlt const& matrix);

}  // namespace koGeom
