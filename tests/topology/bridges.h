#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <vector>

/// What the tests of both bridges begin with.
namespace bridges {

inline koGeom::MeshAdjTris tableOf(koGeom::CompactMesh const& mesh) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    return adjTris;
}

inline koGeom::BitVector bitsOf(int size, std::vector<int> const& set) {
    koGeom::BitVector bits(size);
    bits.setBits(static_cast<int>(set.size()), set.data());
    return bits;
}

inline koGeom::BitVector allOf(int size) {
    koGeom::BitVector bits(size);
    bits.setAllBits();
    return bits;
}

}  // namespace bridges
