#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// A flat map of one part of a surface: its corners from 0, 0 on.
struct ChartBox {
    double width = 0.0;
    double height = 0.0;
    double u = 0.0;  ///< out: where it goes
    double v = 0.0;
};

/// Puts boxes side by side into a square, on shelves, the highest first; none is turned.
///
/// boxes     at least one; their places are set
/// returns   the side of the smallest square round them all; they lie a little apart
TRIMORA_API double packCharts(std::vector<ChartBox>& boxes);

}  // namespace trimora
