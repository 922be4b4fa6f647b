#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

namespace trimora {

struct SeamMending {
    int swappedEdges = 0;
    int movedVertices = 0;
};

/// Mends folds that an edit made, and triangles with two corners in one place, in two steps, each in rounds until nothing is left or nothing helps.
///
/// First the longest edges of caps are swapped, triangles with next to no height whose third corner lies over that edge: where
/// such a one faces is a matter of rounding, and the neighbour takes its area. Then the vertices of what is left move
/// to the mean of their neighbours. Vertices on borders stay.
///
/// edited   the result, in the same place and size as `before`; what was a fold or flat there stays so
/// angle    degrees, see CheckOptions::foldAngle
/// cost     linear in the mesh for each of at most 20 rounds
SeamMending mendSeams(koGeom::CompactMesh& edited, koGeom::CompactMesh const& before, double angle);

}  // namespace trimora
