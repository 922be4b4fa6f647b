#pragma once

#include "trimora/export.h"

/// The tolerances of the whole library.
///
/// They are variables of the contract library, one copy for the process: a host may set them before
/// a run. Every use reads them anew, without a lock, so nobody changes them while work is running.
namespace koLinear {

/// Length below which two positions are one; mesh units. 1e-12.
extern TRIMORA_API double epsilonTol;

/// The square of `epsilonTol`, for comparisons of squared lengths. 1e-24.
extern TRIMORA_API double epsilon2Tol;

/// Length, or difference of matrix elements, below which values kept in floats are equal. 1e-6.
extern TRIMORA_API float epsilonTolFlt;

/// Cosine from which two unit directions count as parallel. 1 - 1e-8.
extern TRIMORA_API double parallelTol;

/// Squared sine below which two directions count as parallel, and squared cosine below which a
/// line counts as lying along a plane. 1e-12.
extern TRIMORA_API double perpendicular2Tol;

}  // namespace koLinear
