#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koLinear {
struct AffineMatrix;
}

namespace koGeom {

class Polyline;

/// Moves every vertex of a polyline by a matrix; parameters stay as they are.
TRIMORA_API void polylineTransform(Polyline& polyline, AffineMatrix const& matrix);

}  // namespace koGeom
