#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"

namespace koGeom {

/// A ball, for the volume tests: center, then radius in mesh units.
struct Sphere {
    Point center;
    double radius;
};

}  // namespace koGeom
