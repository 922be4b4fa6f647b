#pragma once

#include "support/builders.h"

#include <array>
#include <cstdint>
#include <string>

namespace support {

/// What can be wrong with a made mesh, in the order of `madeDefectRates`.
enum MadeDefect {
    SelfIntersecting,
    ManyParts,
    NonManifold,
    Degenerate,
    Open,
    BadlyWound,
    NumMadeDefects
};

/// How often each is found in large collections of models that people share.
inline constexpr std::array<double, NumMadeDefects> madeDefectRates = {0.45, 0.26, 0.22,
                                                                       0.16, 0.11, 0.10};
inline constexpr std::array<char const*, NumMadeDefects> madeDefectNames = {
    "self-intersecting", "many parts", "non-manifold", "degenerate faces", "open", "badly wound"};

struct MadeMesh {
    koGeom::CompactMesh mesh;
    std::array<bool, NumMadeDefects> has = {};
    bool isSoup =
        false;  ///< each triangle has corners of its own, as in files that hold no indices
};

/// A mesh as people share them: a bumpy ball, a ring, a block or a few of them, of 20 to some 4000 triangles, in any unit and anywhere, each
/// defect with the rate above and independent of the others. The same seed gives the same mesh on every platform but for the last
/// digits of sine and cosine.
MadeMesh madeMesh(std::uint64_t seed);

/// Which defects are there by a count that knows nothing of how the mesh was made; equal positions are one vertex.
std::array<bool, NumMadeDefects> defectsOf(koGeom::CompactMesh const& mesh);

}  // namespace support
