#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <vector>

namespace koGeom::detail {

/// Reorders numbers of points so that those near each other in space come near each other in the list: along a Morton
/// curve [morton1966] over the box, 1024 cells an axis, which is the order of an octree's leaves. Queries in that order find
/// what they read in the cache. Points of one cell keep their order; those outside the box, or not finite, fall in any cell.
TRIMORA_API void sortSpatially(std::vector<Point> const& points, BoundingBox const& box,
                               std::vector<int>& listed);

}  // namespace koGeom::detail
