#pragma once

#include "toolkit/meshDiagnosis.h"
#include "toolkit/surfacePaint.h"

namespace trimora {

/// A surface to be drawn with what was found on it.
struct PaintedDiagnosis {
    koGeom::CompactMesh mesh;  ///< positions and triangles alone, exactly welded
    SurfacePaint paint;
};

/// Paints the places of findings in the colors of their severity: triangles, edges as lines, and vertices by the edges round them.
/// What several findings hold has the color of the worst. The key tells each finding by its title. Notes are neither painted nor told.
///
/// diagnosis   of this mesh, with all places and all their elements, see DiagnosisOptions::mostPlaces
TRIMORA_API PaintedDiagnosis paintDiagnosis(koGeom::CompactMesh const& mesh,
                                            Diagnosis const& diagnosis);

}  // namespace trimora
