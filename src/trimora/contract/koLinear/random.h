#pragma once

#include <cmath>
#include <cstdlib>

namespace koLinear {

/// Uniform doubles in [0, 1), the C runtime's generator: its state is hidden and shared by the
/// whole process, so it is called on the calling thread only. `srand48` seeds it; unseeded it
/// starts alike in every run.
using ::drand48;

/// The next float after the first argument in the direction of the second.
using ::nextafterf;

}  // namespace koLinear
