#include "trimora/contract/koLinear/tolerances.h"

namespace koLinear {

constinit double epsilonTol = 1e-12;
constinit double epsilon2Tol = 1e-24;
constinit float epsilonTolFlt = 1e-6f;
constinit double parallelTol = 1.0 - 1e-8;
constinit double perpendicular2Tol = 1e-12;

}  // namespace koLinear
