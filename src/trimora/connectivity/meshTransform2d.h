#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/contract/koUtil/Transform2d.h"
#include "trimora/export.h"

namespace koGeom {

class PointMesh;

/// Scales and shifts pairs of floats.
///
/// pairs       edited in place; count x 2 floats; null or a count below 1: nothing happens
/// transform   mode 0: scale, then add the offset; any other: add, then scale. In mode 1 the
///             identity within `epsilonTolFlt` changes nothing; in mode 0 it is not looked for
/// cost        O(count); below 10000 pairs on the calling thread, else on the shared pool
TRIMORA_API void meshTransform2d(float* pairs, int count, koUtil::Transform2d const& transform);

/// The same for a named set of the mesh that has two floats a vertex; any other set is left alone.
///
/// Sends one Attributes modification for the sets "uvs" and "sts". Under any other name the set
/// changes and no modification is sent.
TRIMORA_API void meshTransform2d(PointMesh& mesh, koString::CString const& name,
                                 koUtil::Transform2d const& transform);

/// Scale and offset that take `source` onto `target` when the scale is applied first.
///
/// returns   a transform in its default mode 1, which adds first: set mode 0 before applying it.
///           Ranges without width give infinite or undefined scales
TRIMORA_API koUtil::Transform2d changeOfBasis2d(Range2d const& source, Range2d const& target);

}  // namespace koGeom
