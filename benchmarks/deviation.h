#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

namespace bench {

/// How far two surfaces are apart, relative to the diagonal of the first one's box.
struct Deviation {
    double rms = -1.0;
    double largest = -1.0;
};

/// Distances from 200 k area-uniform samples of each surface to the other; the largest one also looks at the vertices in
/// use. Both are -1 when a mesh has no triangle. The samples are the same in every run, for any number of threads.
Deviation twoSidedDeviation(koGeom::CompactMesh const& a, koGeom::CompactMesh const& b);

}  // namespace bench
