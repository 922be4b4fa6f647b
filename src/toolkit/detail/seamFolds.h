#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

namespace trimora {

/// Moves vertices at folds that an edit made to the mean of their neighbours, in rounds, until there are no such folds or
/// nothing helps any more. Vertices on borders stay.
///
/// edited   the result, in the same place and size as `before`; what was a fold there stays one
/// angle    degrees, see CheckOptions::foldAngle
/// returns  how many vertices were moved
/// cost     linear in the mesh for each of at most 10 rounds
int smoothNewFolds(koGeom::CompactMesh& edited, koGeom::CompactMesh const& before, double angle);

}  // namespace trimora
