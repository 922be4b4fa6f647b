#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

namespace trimora {

/// How many triangles of an edited mesh cut others, where an edit that splits a triangle which cut another one before is not held
/// against it.
///
/// The pieces of a split triangle cut where it did: a crossing whose middle lies on a crossing of the mesh as it was is that one, and
/// counts for the two triangles that were there. All others count for their own triangles.
///
/// edited    in the same place and size as `before`
/// returns   to be compared with CheckResult::intersectingTriangles of the mesh as it was
/// cost      two tests for intersections, and the product of their numbers of crossings
int numCrossingTriangles(koGeom::CompactMesh const& edited, koGeom::CompactMesh const& before);

}  // namespace trimora
