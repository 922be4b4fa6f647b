#include "trimora/connectivity/testDeterminants.h"

namespace koGeom {

void testDeterminants(ko::list<MeshPlacement> const& placements, ko::vector<bool>& flags) {
    flags.clear();
    for (MeshPlacement const& placement : placements)
        flags.push_back(AffineMatrix(placement.matrix).det3x3() < 0.0);
}

}  // namespace koGeom
