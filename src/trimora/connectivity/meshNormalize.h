#pragma once

#include "trimora/export.h"

namespace koGeom {

class PointMesh;

/// Brings vectors to unit length.
///
/// vectors   edited in place; count x 3 floats. A squared length of `epsilon2Tol` or less, or
///           NaN, becomes (0, 0, 1)
/// cost      O(count); runs on the shared pool
TRIMORA_API void meshNormalize(float* vectors, int count);

/// Brings a mesh's normals to unit length. Sends one Attributes modification; a mesh without
/// normals is left alone.
TRIMORA_API void meshNormalize(PointMesh& mesh);

}  // namespace koGeom
