#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// Unit normals of the triangles at their corners, three a triangle, that are smooth over edges which bend little and break at
/// the others: each is the mean, by area, of those triangles round the vertex whose normals are within an angle of the
/// triangle's own. Zero for triangles without area.
///
/// creaseAngle   degrees
/// large fans    at a vertex of more than 512 triangles each keeps its own normal
/// threads       runs on the shared pool; the result does not depend on the number of threads
TRIMORA_API std::vector<koLinear::VectorFlt> cornerNormals(koGeom::CompactMesh const& mesh,
                                                           double creaseAngle);

}  // namespace trimora
