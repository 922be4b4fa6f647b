#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstdint>

namespace trimora {

/// A closed, clean, bumpy head-like surface, as a scanner might deliver it: for demonstrations and measurements.
///
/// levels      0 to 10; 8 x 4^levels triangles, 4 x 4^levels + 2 vertices
/// seed        chooses the bumps; the same numbers give the same mesh on every platform with IEEE arithmetic
/// returns     triangles counter-clockwise seen from outside, extent about 2 in each axis
TRIMORA_API koGeom::CompactMesh makeScan(int levels, std::uint64_t seed);

/// makeScan gone wrong in every way that repair knows: each triangle has vertices of its own, whole patches are wound
/// backwards, triangles are doubled and collapsed, a fin hangs on an edge, a second part touches at one vertex (a
/// bow-tie), a Moebius strip floats beside it, and there are holes.
///
/// levels      2 to 10; the triangle count is about that of makeScan
/// seed        chooses where the damage falls
TRIMORA_API koGeom::CompactMesh makeDamagedScan(int levels, std::uint64_t seed);

}  // namespace trimora
