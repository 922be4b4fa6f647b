#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

/// What is wrong with a surface, in words that begin a sentence; no text: nothing is.
struct SurfaceFault {
    std::string text;
    std::optional<std::array<double, 3>> place;  ///< of the first of its kind, when it has one
    bool isNonfinite = false;                    ///< a coordinate is NaN or infinite

    explicit operator bool() const { return !text.empty(); }
};

/// What makes a part of a mesh unfit for edits that follow its surface, with the first place of it: NaN and infinite
/// coordinates, triangles that name a vertex twice, edges of more than two triangles, vertices where several fans meet,
/// neighbours wound against one another.
///
/// triangles   the part, one bit a triangle; the triangles that touch it are looked at too
/// returns     the first fault, in the order of these kinds
/// cost        linear in the mesh, O(n log n) in the part
TRIMORA_API SurfaceFault faultOfSurface(koGeom::CompactMesh const& mesh,
                                        koGeom::MeshAdjTris const& adjTris,
                                        koGeom::BitVector const& triangles);

}  // namespace trimora
