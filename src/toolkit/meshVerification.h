#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// One check of the half-edge form.
struct VerifyCheck {
    char const* name = "";     ///< as a field of the report, say "corners"
    char const* meaning = "";  ///< what is sound, in words
    bool passed = false;
};

struct VerifyOutcome {
    std::string refusal;  ///< not empty: nothing was verified; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    int vertices = 0;
    int faces = 0;
    int halfEdges = 0;
    int openEdges = 0;  ///< half-edges without a twin
    std::array<VerifyCheck, 5> checks;
    bool passed = false;     ///< all five
    bool cancelled = false;  ///< the other fields mean nothing then
};

/// Converts a mesh to the half-edge form and verifies it there, each check by itself.
///
/// trianglePolygon   see fillTopoMesh
/// refuses           meshes and faces that are none, see faultOfMesh and faultOfFaces
/// progress          polled between the checks
/// cost              O(n log n), see MeshVerify; on the calling thread
TRIMORA_API VerifyOutcome verifyMesh(koGeom::CompactMesh const& mesh,
                                     std::vector<int> const& trianglePolygon,
                                     koUtil::Progress& progress);

}  // namespace trimora
