#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// Unit normal of a triangle, towards the side from which it runs counter-clockwise; (0, 0, 1) when
/// it has no direction.
TRIMORA_API Normal triNormal(Point const& a, Point const& b, Point const& c);

/// The same for the three vertices that `triangle` names in a flat array of x, y, z.
TRIMORA_API Normal meshTriNormal(float const* vertices, int const* triangle);

}  // namespace koGeom
