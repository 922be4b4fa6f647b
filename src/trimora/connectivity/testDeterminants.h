#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/export.h"

namespace koGeom {

/// Tells which placements mirror their mesh: those whose 3 x 3 determinant is negative.
///
/// flags   out: one entry a placement, in order
TRIMORA_API void testDeterminants(ko::list<MeshPlacement> const& placements,
                                  ko::vector<bool>& flags);

}  // namespace koGeom
