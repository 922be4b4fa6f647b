#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/repair/meshHoleFill.h"

#include <vector>

namespace support {

/// Hole filling as plainly as it can be written down: sets, maps and linear scans, everything walked afresh for each hole, and the
/// general solver for all coordinates at once. Finds the tables and boundaries itself.
///
/// holes     indices into the boundaries, in range
/// returns   how many were filled
int fillHolesSlowly(koGeom::CompactMesh& mesh, std::vector<int> const& holes,
                    koGeom::HoleQuality quality);

}  // namespace support
