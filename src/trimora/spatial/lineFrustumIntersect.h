#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class Frustum;

/// Does a segment meet a frustum?
///
/// point       out: a when either end lies in the frustum (a too when only b does), else a point
///             where the segment meets its surface; untouched when the result is false
TRIMORA_API bool lineFrustumIntersect(PointFlt const& a, PointFlt const& b, Frustum const& frustum,
                                      PointFlt& point);
TRIMORA_API bool lineFrustumIntersect(PointFlt const& a, PointFlt const& b, Frustum const& frustum);

}  // namespace koGeom
