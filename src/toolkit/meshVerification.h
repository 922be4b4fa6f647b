#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <vector>

namespace trimora {

/// One check of the half-edge form.
struct VerifyCheck {
    char const* name;     ///< as a field of the report, say "corners"
    char const* meaning;  ///< what is sound, in words
    bool passed;
};

struct VerifyOutcome {
    int vertices = 0;
    int faces = 0;
    int halfEdges = 0;
    int openEdges = 0;  ///< half-edges without a twin
    std::array<VerifyCheck, 5> checks;
    bool passed = false;  ///< all five
};

/// Converts a mesh to the half-edge form and verifies it there, each check by itself.
///
/// trianglePolygon   see fillTopoMesh
/// cost              O(n log n), see MeshVerify; on the calling thread
/// throws      std::invalid_argument for a mesh whose arrays do not fit together, see requireSoundMesh
TRIMORA_API VerifyOutcome verifyMesh(koGeom::CompactMesh const& mesh,
                                     std::vector<int> const& trianglePolygon);

}  // namespace trimora
