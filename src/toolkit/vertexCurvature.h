#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"
#include "trimora/measure/meshCurvature.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct CurvatureOutcome {
    std::string refusal;  ///< not empty: nothing was measured; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    std::vector<float> values;  ///< one a vertex, see koGeom::meshCurvature
    bool cancelled = false;     ///< there are no values; the other fields mean nothing
};

/// Measures one kind of curvature at each vertex. The mean curvature takes its sign from the mesh's normals, computed where it has
/// none.
///
/// progress   polled between the steps
/// cost       see koGeom::meshCurvature; where normals have to be computed on a copy
TRIMORA_API CurvatureOutcome measureCurvature(koGeom::CompactMesh const& mesh,
                                              koGeom::MeshCurvature kind,
                                              koUtil::Progress& progress);

}  // namespace trimora
