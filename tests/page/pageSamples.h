#pragma once

#include "toolkit/meshDiagnosis.h"

#include "trimora/contract/koGeom/CompactMesh.h"

namespace pageSamples {

/// A mesh and what a diagnosis could say of it.
struct Sample {
    koGeom::CompactMesh mesh;
    trimora::Diagnosis diagnosis;
};

/// A unit sphere that lacks the fan about its +z pole, with a ring of turned triangles about +x, a fin at -x, a needle, a speck beside it,
/// a vertex that is not a number with a triangle on it, and a vertex that nothing uses. All texts are hostile.
Sample damagedSphere();

/// The sphere as it should be; with one note.
Sample soundSphere();

/// A square of numX x numX x 2 triangles in z = 0 with one finding: its first triangle.
Sample largeGrid(int numX);

/// A small one, of a file with x from 4000000.125 on.
Sample shiftedGrid();

inline constexpr char const* hostileText =
    "</script><script>window.isBroken = true</script><img src=x onerror='isBroken=true'>&lt;\"' "
    "\xe2\x80\xa8 {{data}} \\u003c";

}  // namespace pageSamples
