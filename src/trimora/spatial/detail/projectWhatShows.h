#pragma once

#include "trimora/spatial/Clip.h"

namespace koGeom::detail {

/// As Clip::projectVertices, but keeps points only where segments or triangles have to be looked at: for Crossing, and for Inside
/// when `needsAll`. `out` is empty otherwise.
Clip::Result projectWhatShows(float const* xyz, int count, ProjMatrixFlt const& m,
                              ko::vector<Clip::Vertex>& out, bool needsAll);

}  // namespace koGeom::detail
